#include "engine/mails/mail_text.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <string>
#include <string_view>

#include "tessaly/delivery.h"
#include "tessaly/mime.h"
#include "tessaly/text.h"

namespace engine {
namespace {

// Lead bytes of code page 932 whose characters lie outside the 94 rows of JIS X 0208: user-defined ones, then
// IBM's.
constexpr unsigned first_outside = 0xF0, first_ibm = 0xFA, last_ibm = 0xFC;
constexpr std::uint16_t geta_mark = 0x81AC;
// Where the same characters stand inside the 94 rows: NEC's row 13 and NEC's selection of IBM's characters.
constexpr std::pair<std::uint16_t, std::uint16_t> nec_rows[] = {
    {0x8140, 0x81FC}, {0x8740, 0x879C}, {0xED40, 0xEEFC}};

// A header line with an encoded word has 76 bytes at most (RFC 2047 2).
constexpr std::size_t longest_plain_header = 200, longest_line_of_words = 76;
constexpr std::string_view word_start = "=?ISO-2022-JP?B?", word_end = "?=", fold = "\r\n ";
// Around words that are the value of a parameter.
constexpr std::size_t opening_quote = 1, closing_quote = 1;
// Two characters need eight bytes in ISO-2022-JP with their escapes, twelve in Base64; a line with less room
// for a word than that is left.
constexpr std::size_t shortest_word = word_start.size() + 12 + word_end.size() + closing_quote;

using IbmTable = std::array<std::uint16_t, (last_ibm - first_ibm + 1) * 256>;

IbmTable MakeIbmTable() {
    std::array<std::uint16_t, 65536> inside{};
    for (auto const& [first, last] : nec_rows)
        for (unsigned code = first; code <= last; ++code)
            if (auto const unit = platform::UnicodeOf(static_cast<std::uint16_t>(code));
                unit != 0 && inside[unit] == 0)
                inside[unit] = static_cast<std::uint16_t>(code);
    IbmTable table{};
    for (unsigned i = 0; i < table.size(); ++i) {
        auto const unit = platform::UnicodeOf(static_cast<std::uint16_t>((first_ibm << 8) + i));
        table[i] = unit != 0 ? inside[unit] : 0;
    }
    return table;
}

std::uint16_t Inside(unsigned code) {
    static IbmTable const table = MakeIbmTable();
    std::uint16_t const moved = code >= first_ibm << 8 ? table[code - (first_ibm << 8)] : 0;
    return moved ? moved : geta_mark;
}

// A lead byte with a byte behind it that makes no character must not reach the conversion to ISO-2022-JP,
// whose arithmetic could make a line end of it.
std::uint16_t MailableCode(unsigned code) {
    if (code >= first_outside << 8) return Inside(code);
    return platform::UnicodeOf(static_cast<std::uint16_t>(code)) != 0 ? static_cast<std::uint16_t>(code)
                                                                      : geta_mark;
}

void AppendMailable(std::string& out, std::string_view character, bool one_line) {
    auto const lead = static_cast<unsigned char>(character[0]);
    if (character.size() == 2) {
        std::uint16_t const code = MailableCode(lead << 8U | static_cast<unsigned char>(character[1]));
        out += static_cast<char>(code >> 8);
        out += static_cast<char>(code & 0xFF);
    } else if (lead >= 0x7F) {
        out += '?';
    } else if (lead < 0x20 && (one_line || (lead != '\r' && lead != '\n' && lead != '\t'))) {
        out += ' ';
    } else {
        out += character;
    }
}

// Bytes of half-width kana at the start of `text`.
std::size_t KanaRun(std::string_view text) {
    auto const end = std::find_if(text.begin(), text.end(), [](char c) {
        auto const byte = static_cast<unsigned char>(c);
        return byte < 0xA1 || byte > 0xDF;
    });
    return static_cast<std::size_t>(end - text.begin());
}

void AppendWidened(std::string& out, std::string_view kana) {
    std::string wide(kana.size() * 2 + 1, '\0');
    xc_han2zen_sjis_kana(wide.data(), std::string(kana).c_str());
    out += wide.c_str();  // to its NUL  NOLINT(readability-redundant-string-cstr)
}

// How many bytes a text takes in ISO-2022-JP, as its characters come.
class JisSize {
  public:
    // With one more character of `bytes` bytes, and the way back to ASCII behind it.
    std::size_t With(std::size_t bytes) const {
        return size_ + bytes + (bytes != last_ ? escape : 0) + (bytes == 2 ? escape : 0);
    }
    void Add(std::size_t bytes) {
        size_ += bytes + (bytes != last_ ? escape : 0);
        last_ = bytes;
    }

  private:
    static constexpr std::size_t escape = 3;
    std::size_t size_ = 0, last_ = 1;
};

// The bytes of `text`, from its start, that make at most `limit` bytes in ISO-2022-JP: whole characters, and
// at least one.
std::size_t Fitting(std::string_view text, std::size_t limit) {
    JisSize size;
    for (std::size_t at = 0; at < text.size();) {
        std::size_t const bytes = platform::CharacterSize(text, at);
        if (at > 0 && size.With(bytes) > limit) return at;
        size.Add(bytes);
        at += bytes;
    }
    return text.size();
}

// Whether a text stands in a header as it is.
bool IsPlainHeader(std::string_view text) {
    return IsStrAscii(CString(text)) == 1 && text.size() <= longest_plain_header &&
           text.find("=?") == text.npos;
}

// Bytes of ISO-2022-JP that a word of at most `size` characters holds, when a quote may follow it.
std::size_t WordText(std::size_t size) {
    return (size - word_start.size() - word_end.size() - closing_quote) / 4 * 3;
}

// As a quoted string (RFC 5322 3.2.4).
CString Quoted(CString text) {
    text.Replace("\\", "\\\\");
    text.Replace("\"", "\\\"");
    return "\"" + text + "\"";
}

std::string EncodedWord(std::string_view text) {
    KCodeC code;
    std::string const jis = code.sjtojis7(CString(text), KCodeC::keep_kana);
    std::string base64(mime::Base64BodyRoom(jis.size(), -1), '\0');
    base64encoding(reinterpret_cast<unsigned char*>(base64.data()),
                   reinterpret_cast<unsigned char const*>(jis.data()), static_cast<int>(jis.size()), -1);
    base64.resize(base64.find('\0'));
    return std::string(word_start) + base64 + std::string(word_end);
}

CString WithShortLines(CString const& body) {
    std::string result;
    for (std::string_view rest = body.View(); !rest.empty();) {
        std::size_t const end = std::min(rest.find("\r\n"), rest.size());
        for (std::string_view line = rest.substr(0, end); !line.empty();) {
            std::size_t const fitting = Fitting(line, longest_mailable_line);
            result.append(line.substr(0, fitting)).append(fitting < line.size() ? "\r\n" : "");
            line.remove_prefix(fitting);
        }
        result.append(rest.substr(end, 2));
        rest.remove_prefix(std::min(end + 2, rest.size()));
    }
    return CString(std::string_view(result));
}

}  // namespace

CString Mailable(CString const& text, bool one_line) {
    std::string result;
    std::string_view const view = text.View();
    for (std::size_t at = 0; at < view.size();) {
        std::size_t size = KanaRun(view.substr(at));
        if (size > 0) {
            AppendWidened(result, view.substr(at, size));
        } else {
            size = platform::WholeCharacterSize(view, at);
            AppendMailable(result, view.substr(at, size), one_line);
        }
        at += size;
    }
    return CString(std::string_view(result));
}

CString MailableBody(CString const& text) { return WithShortLines(CrLfConverter(Mailable(text, false))); }

CString HeaderText(CString const& text, std::size_t used) {
    std::string_view const view = text.View();
    if (IsPlainHeader(view)) return text;
    std::string words;
    for (std::string_view rest = view; !rest.empty();) {
        if (!words.empty() || used + shortest_word > longest_line_of_words) {
            words.append(fold);
            used = 1;
        }
        std::size_t const size = Fitting(rest, WordText(longest_line_of_words - used));
        words.append(EncodedWord(rest.substr(0, size)));
        rest.remove_prefix(size);
    }
    return CString(std::string_view(words));
}

CString HeaderLine(char const* name, CString const& text) {
    CString const start = CString(name) + ": ";
    return start + HeaderText(text, start.View().size());
}

CString HeaderLine(char const* name, Mailbox const& mailbox) {
    CString line = CString(name) + ": ";
    if (mailbox.name.IsEmpty()) return line + mailbox.address;
    line += IsPlainHeader(mailbox.name.View()) ? Quoted(mailbox.name)
                                               : HeaderText(mailbox.name, line.View().size());
    std::size_t const last_line = line.View().size() - (line.View().rfind('\n') + 1);
    CString const address = " <" + mailbox.address + ">";
    bool const fits = last_line + address.View().size() <= longest_line_of_words;
    return line + (fits ? "" : "\r\n") + address;
}

CString NameParameter(char const* parameter, CString const& name) {
    constexpr std::string_view line_start = "\t ";
    CString const start = CString(parameter) + "=";
    if (IsPlainHeader(name.View())) return start + Quoted(name);
    return start + "\"" + HeaderText(name, line_start.size() + start.View().size() + opening_quote) + "\"";
}

}  // namespace engine
