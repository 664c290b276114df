#pragma once

#include <mutex>
#include <string>
#include <string_view>

namespace postbox {

// A folder of mails, one .eml file each, numbered as they come. A file appears under its name only when it is
// whole.
class MailFolder {
  public:
    // Makes the folder if it is missing. Numbers continue after the highest one in it. Throws Error.
    explicit MailFolder(std::string path);
    // false when the mail could not be stored; nothing of it is left then.
    bool Store(std::string_view mail);
    std::string const& Path() const { return path_; }

  private:
    std::string path_;
    std::mutex lock_;
    unsigned long next_ = 1;
};

}  // namespace postbox
