#pragma once

#include <optional>
#include <string>
#include <vector>

#include "engine/mails/html_source.h"
#include "engine/mails/mail_store.h"

namespace engine {

// The texts and attachments that are given for a stored mail.
struct MailArguments {
    std::string draft;
    std::string html;
    std::vector<std::string> pictures;
    bool no_html = false;
    std::string terminal = terminal_names[pc];
    std::vector<std::string> attach;
    std::vector<std::string> detach;
    std::optional<std::string> honorific;
    std::optional<std::string> address_name;
    bool clear_text = false;
    bool force = false;

    bool ChangeNothing() const {
        return draft.empty() && html.empty() && pictures.empty() && !no_html && attach.empty() &&
               detach.empty() && !honorific && !address_name && !clear_text;
    }
};

// The same, read from its files and checked. The constructor tells the front end the findings, and throws
// Failure.
class MailChanges {
  public:
    MailChanges(FrontEnd& front, MailArguments const& arguments);

    std::vector<NewAttachment> const& Added() const { return added_; }
    // The kind that a mail of kind `present` becomes. Throws Failure when the changes do not go with it.
    char KindFor(char present) const;
    void Make(OneMail& mail, char present) const;

  private:
    void ReadTexts();
    CString BodyFor(CString const& present, char kind) const;
    bool Take(OneMail& mail, CString const& name) const;
    void Detach(OneMail& mail, std::string const& name) const;

    FrontEnd& front_;
    MailArguments const& arguments_;
    TermType terminal_;
    std::vector<NewAttachment> added_;
    Draft draft_;
    std::optional<HtmlSource> html_;
    std::optional<CString> honorific_, address_name_;
};

}  // namespace engine
