#include "tessaly/storage/split_string.h"

#include <cstddef>

namespace storage {
namespace {

// Wider than the lead bytes of code page 932 by 0x80.
constexpr bool IsLead(char c) noexcept {
    auto const byte = static_cast<unsigned char>(c);
    return (byte >= 0x80 && byte <= 0x9F) || (byte >= 0xE0 && byte <= 0xFC);
}

// Bytes of the character at `position`.
std::size_t StepAt(std::string_view text, std::size_t position) noexcept {
    return IsLead(text[position]) && position + 1 < text.size() ? 2 : 1;
}

class Splitter {
  public:
    Splitter(std::string_view text, std::string_view delimiters, char quote, std::vector<SplitField>& out)
        : text_(text), quote_(quote), out_(out) {
        for (char const c : delimiters) delimiter_[static_cast<unsigned char>(c)] = true;
    }

    void Run() {
        out_.clear();
        for (bool more = true; more;) more = IsQuote(at_) ? TakeQuoted() : TakePlain();
    }

  private:
    bool IsDelimiter(std::size_t at) const {
        return at < text_.size() && delimiter_[static_cast<unsigned char>(text_[at])];
    }
    bool IsQuote(std::size_t at) const {
        return quote_ && at < text_.size() && text_[at] == quote_ && !IsDelimiter(at);
    }

    // Each takes the field at `at_`, and the delimiter behind it. Result: whether another field follows.
    bool TakePlain() {
        std::size_t const start = at_;
        while (at_ < text_.size() && !IsDelimiter(at_)) at_ += StepAt(text_, at_);
        return End(start, false);
    }

    bool TakeQuoted() {
        std::size_t const start = ++at_;
        while (at_ < text_.size()) {
            if (text_[at_] != quote_) {
                at_ += StepAt(text_, at_);
            } else if (at_ + 1 < text_.size() && text_[at_ + 1] == quote_) {
                at_ += 2;
            } else if (at_ + 1 == text_.size() || IsDelimiter(at_ + 1)) {
                out_.push_back({text_.substr(start, at_ - start), true});
                at_ += 2;
                return at_ <= text_.size();
            } else {
                ++at_;
            }
        }
        return End(start, true);
    }

    bool End(std::size_t start, bool quoted) {
        out_.push_back({text_.substr(start, at_ - start), quoted});
        return at_++ < text_.size();
    }

    std::string_view text_;
    char quote_;
    std::vector<SplitField>& out_;
    bool delimiter_[256] = {};
    std::size_t at_ = 0;
};

}  // namespace

void SplitFields(std::string_view text, std::string_view delimiters, char quote,
                 std::vector<SplitField>& out) {
    Splitter(text, delimiters, quote, out).Run();
}

CString FieldText(SplitField const& field, char quote) {
    std::string_view const text = field.text;
    if (!field.quoted || text.find(quote) == std::string_view::npos) return CString(text);
    CString plain;
    char* out = plain.GetBuffer(static_cast<int>(text.size()));
    int length = 0;
    for (std::size_t at = 0; at < text.size();) {
        if (text[at] == quote) {
            out[length++] = quote;
            at += at + 1 < text.size() && text[at + 1] == quote ? 2 : 1;
            continue;
        }
        for (std::size_t step = StepAt(text, at); step > 0; --step) out[length++] = text[at++];
    }
    plain.ReleaseBuffer(length);
    return plain;
}

}  // namespace storage

void SplitString(CString text, CArray<CString, CString>& out, CString delimiters, char quote) {
    std::vector<storage::SplitField> fields;
    storage::SplitFields(text.View(), delimiters.View(), quote, fields);
    out.RemoveAll();
    out.Reserve(static_cast<int>(fields.size()));
    for (storage::SplitField const& field : fields) out.Add(storage::FieldText(field, quote));
}
