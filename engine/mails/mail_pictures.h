#pragma once

#include <map>
#include <string>
#include <string_view>

namespace engine {

// The pictures of a mail by the addresses that its HTML has for them: "cid:" with a Content-ID (RFC 2392), or
// a Content-Location (RFC 2557). Each has an address of its own outside the mail, in which a quote, blank or
// bracket does not occur.
class MailPictures {
  public:
    // `content_id` with or without its angle brackets; empty for none, as `location`.
    void Add(std::string_view content_id, std::string_view location, std::string const& address);
    // Null for an address of something else. Its value is that of an attribute, with "&amp;" and "%41".
    std::string const* Find(std::string_view address) const;
    bool IsEmpty() const { return addresses_.empty(); }

  private:
    std::map<std::string, std::string, std::less<>> addresses_;
};

}  // namespace engine
