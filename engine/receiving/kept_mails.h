#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "engine/environment/session.h"
#include "engine/mails/states.h"

// The received mails that an environment keeps for the sender to read. Texts are UTF-8 and safe for a
// terminal; the operations throw Failure.
namespace engine {

struct KeptMailRow {
    int number = 0;
    std::optional<AnswerKind> kind{};  // as it was received, or decided since; none of earlier versions
    std::string date;                  // local time; empty if the mail has none that can be read
    std::string from;                  // "name <address>", or what there is of it
    std::string subject;
};
// By number.
std::vector<KeptMailRow> ListKeptMails(Session const& session);

// A file or a mail that a mail holds.
struct KeptAttachment {
    std::string name;        // a file's; else its type, or the subject of the mail
    std::uint64_t size = 0;  // bytes; of a mail those of its parts
};

struct KeptMailText {
    KeptMailRow head;
    std::string file;  // host path of the mail as received
    std::vector<KeptAttachment> attachments;
    std::string body;  // line ends LF; of a mail with HTML alone, the text of the page
    bool whole = true;
};
KeptMailText ReadKeptMail(Session const& session, int number);

}  // namespace engine
