#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "tessaly/storage.h"

namespace engine {

struct IncomingField {
    std::string name;
    std::string value;  // unfolded and trimmed, otherwise as it came: encoded words stay
};

// The mail, or one that it holds: forwarded, returned, or its header alone.
struct IncomingMessage {
    std::vector<IncomingField> fields;
    int parent = -1;  // the message that holds it; -1: the mail itself

    // The value of the first field of that name, in any case. Empty for none.
    std::string_view Field(std::string_view name) const;
    // The same with its encoded words decoded, in UTF-8, on one line.
    std::string Decoded(std::string_view name) const;
};

// A part that holds no other.
struct IncomingPart {
    std::size_t message = 0;  // the message that it belongs to
    std::string type;         // "text/plain", in lower case
    std::string name;         // of the file that it is, UTF-8; empty for none
    bool attached = false;    // Content-Disposition: attachment
    bool text = false;        // text/*, message/delivery-status and the like: content is UTF-8 with LF
    std::string content;  // without transfer encoding; none of a part that is no text and larger than 1 MiB
    std::uint64_t size = 0;  // bytes without transfer encoding
};

// One received mail, of any program and however broken: parts without an end are closed, folded lines joined,
// transfer encodings and character sets removed.
//
// Read are at most 1,000 parts, those that hold others included, in 50 levels, 10,000 fields of a header, 256
// KiB of a field and 4 MiB of all, and the first 4 MiB of text. Time is linear in the size of the mail. With
// the raw text itself, reading needs at most three times the memory of that text, and some MiB whatever its
// size.
class IncomingMail {
  public:
    // Any bytes. Throws nothing but std::bad_alloc. Nothing of `raw` is kept.
    explicit IncomingMail(std::string_view raw);
    ~IncomingMail();
    IncomingMail(IncomingMail&&) noexcept;
    IncomingMail& operator=(IncomingMail&&) noexcept;

    // [0]: the mail itself, also if it has no header. A text/rfc822-headers gives one without parts.
    std::vector<IncomingMessage> const& Messages() const;
    // In their order.
    std::vector<IncomingPart> const& Parts() const;
    // false: parts or fields beyond the limits were left out.
    bool Whole() const;

    // The mail as the library's analysis reads it: closed, unfolded, without transfer encodings, texts in
    // code page 932 with one 〓 for each character without a form. Of texts the first 4 MiB; files have no
    // content.
    CString ForAnalysis() const;

  private:
    struct Content;
    std::unique_ptr<Content> content_;
};

}  // namespace engine
