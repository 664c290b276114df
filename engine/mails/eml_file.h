#pragma once

#include <string>
#include <vector>

#include "engine/mails/eml_parts.h"
#include "engine/mails/mail_changes.h"
#include "engine/mails/mail_content.h"

// Mails as .eml files, as other mail programs write and read them.
namespace engine {

// A mail whole, with its merge words, pictures and attachments, but for sender, recipient and date.
CString EmlOf(MailVersion const& version);

// An .eml file divided into the files that a mail is made from, in a folder that the destructor removes.
// Throws Failure for one that cannot be read.
class UnpackedEml {
  public:
    explicit UnpackedEml(std::string const& file);
    ~UnpackedEml();
    UnpackedEml(UnpackedEml const&) = delete;
    UnpackedEml& operator=(UnpackedEml const&) = delete;

    MailArguments const& Texts() const { return texts_; }
    // What of it is not kept, or not as it was, for the sender.
    std::vector<std::string> const& Notices() const { return notices_; }

  private:
    void Unpack(std::string const& file);
    std::string Write(std::string const& name, std::string_view content) const;
    void UnpackHtml(EmlParts& parts);
    void UnpackAttachments(EmlParts const& parts);

    std::string folder_;
    MailArguments texts_;
    std::vector<std::string> notices_;
};

}  // namespace engine
