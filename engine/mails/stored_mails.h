#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "engine/mails/mail_changes.h"
#include "engine/mails/states.h"

// Showing and changing the stored mails of an environment. All texts UTF-8; every operation throws Failure,
// and then nothing is changed.
namespace engine {

// A mail in the list of mails.
struct MailRow {
    int mail = -1;
    std::string title, address_name;
    StoredState<MailStatus> status;
    std::string sent, errors, opened;  // numbers, as the list holds them
    std::string changed;               // date and time of the last change
};
// In the order of the list: the deleted mails, or the others.
enum class MailView { kept, deleted };
std::vector<MailRow> ListMails(Session& session, MailView view);

// One text of a mail, with what comes with it.
struct MailText {
    TermType terminal = pc;
    bool has_body = false;      // false: only attachments of its own
    std::string subject, text;  // line ends LF; merge words as they were written
    std::optional<std::size_t> html_bytes;
    std::vector<std::string> pictures;
    struct Attachment {
        std::string name, media_type;
    };
    std::vector<Attachment> attachments;
};
struct StoredMail {
    int mail = -1;
    std::string title, address_name, honorific;
    StoredState<MailStatus> status;
    int recipients = 0;
    std::vector<MailText> texts;  // by terminal, those that have anything
};
// A deleted one too.
StoredMail DescribeMail(Session& session, int mail);

// The arguments are read and checked before the environment is opened, so that a bad request fails before the
// password is asked for. Result: the number of the mail.
int CreateMail(Access const& access, std::string const& env_file, MailArguments const& arguments);
// Result: the mail as NameOfMail tells it.
std::string ChangeMail(Access const& access, std::string const& env_file, int mail,
                       MailArguments const& arguments);
// A new mail from an .eml file; `anyway`: whatever is found in its texts.
int ImportMail(Access const& access, std::string const& env_file, std::string const& eml_file, bool anyway);
// The text for the PC, of a deleted mail too, as an .eml file. A file of that name is only replaced if
// `overwrite`.
void ExportMail(Access const& access, std::string const& env_file, int mail, std::string const& eml_file,
                bool overwrite);

// All mails or none. The session is one for changing.
void DeleteMails(Session& session, std::vector<int> const& mails);
// Deleted mails become drafts.
void RestoreMails(Session& session, std::vector<int> const& mails);

}  // namespace engine
