#include "engine/mails/received_text.h"

#include <algorithm>
#include <cstdio>
#include <map>
#include <optional>

#include "engine/base/charset.h"
#include "engine/base/crossing.h"
#include "engine/base/lower_case.h"
#include "engine/base/trimmed.h"
#include "engine/base/whole_number.h"
#include "tessaly/text.h"

namespace engine {
namespace {

constexpr auto npos = std::string_view::npos;

// An encoded word (RFC 2047 2).
struct Word {
    std::string charset;
    std::string bytes;
    std::size_t size;  // of the word
};

// The one at the start of `text`; none for one of an unknown charset, and for one that is none.
std::optional<Word> WordAt(std::string_view text) {
    constexpr std::size_t charset_start = 2;  // behind "=?"
    std::size_t const charset_end = text.find('?', charset_start);
    if (charset_end == npos || text.size() < charset_end + 3 || text[charset_end + 2] != '?') return {};
    std::string_view const name = text.substr(charset_start, charset_end - charset_start);
    std::string charset = LowerCase(Trimmed(name.substr(0, name.find('*'))));  // RFC 2231 5: charset*language
    char const encoding = static_cast<char>(text[charset_end + 1] | 0x20);
    if (!IsKnownCharset(charset) || (encoding != 'b' && encoding != 'q')) return {};
    std::size_t const begin = charset_end + 3, end = text.find("?=", begin);
    if (end == npos) return {};
    std::string content(text.substr(begin, end - begin));
    if (encoding == 'q') std::replace(content.begin(), content.end(), '_', ' ');
    int const mode = encoding == 'b' ? mime::MAIL_BODY_BASE64 : mime::MAIL_BODY_QUOTED_PRINTABLE;
    return Word{charset, mime::DecodedBody(content.c_str(), mode), end + 2};
}

// Without the quotes around it, of which the second may lack, and without the backslashes in front of those
// in it.
std::string Unquoted(std::string_view text) {
    if (text.starts_with('"'))
        text = text.substr(1, text.size() - (text.size() > 1 && text.ends_with('"') ? 2 : 1));
    std::string unquoted;
    for (std::size_t at = 0; at < text.size(); ++at) {
        if (text.substr(at, 2) == "\\\"") ++at;
        unquoted += text[at];
    }
    return unquoted;
}

// The library finds a single parameter by its name; the forms of RFC 2231 need all of them.
// Calls `take(key, value)` for each parameter of a header's value, in UTF-8, the value without its quotes.
template <class Take>
void ForEachParameter(std::string_view value, Take take) {
    std::string const text = GuessedText(value);
    for (std::string_view header = text; !header.empty();) {
        bool quoted = false;
        std::size_t end = 0;
        for (; end < header.size() && (quoted || header[end] != ';'); ++end) {
            if (quoted && header.substr(end, 2) == "\\\"")
                ++end;
            else
                quoted ^= header[end] == '"';
        }
        std::string_view parameter = Trimmed(header.substr(0, end));
        if (parameter.starts_with('('))
            parameter.remove_prefix(std::min(parameter.find(')'), parameter.size() - 1) + 1);
        header.remove_prefix(std::min(end + 1, header.size()));
        std::size_t const equals = parameter.find('=');
        if (equals == npos) continue;
        std::string const content = Unquoted(Trimmed(parameter.substr(equals + 1)));
        take(LowerCase(Trimmed(parameter.substr(0, equals))), content);
    }
}

// name*=..., or name*0*=... name*1=... and so on.
std::string ExtendedParameter(std::string_view header, std::string const& name) {
    std::map<int, std::string> pieces;
    std::string charset;
    ForEachParameter(header, [&](std::string_view key, std::string_view value) {
        if (!key.starts_with(name + "*")) return;
        key.remove_prefix(name.size() + 1);
        int const number = LeadingNumber(key).value_or(0);
        bool const extended = key.empty() || key.ends_with('*');
        if (extended && number == 0) {
            std::size_t const first = value.find('\''),
                              second = value.find('\'', std::min(first, value.size() - 1) + 1);
            if (first == npos || second == npos) return;
            charset = value.substr(0, first);
            value.remove_prefix(second + 1);
        }
        pieces[number] = extended ? PercentDecoded(value) : std::string(value);
    });
    std::string bytes;
    for (auto const& [number, piece] : pieces) bytes += piece;
    return TextIn(charset, bytes);
}

std::string PlainParameter(std::string_view header, std::string_view name) {
    std::string found;
    ForEachParameter(header, [&](std::string_view key, std::string_view value) {
        if (key == name && found.empty()) found = DecodedHeader(value);
    });
    return found;
}

}  // namespace

std::string PercentDecoded(std::string_view text) {
    std::string decoded;
    for (std::size_t at = 0; at < text.size(); ++at) {
        std::string_view const digits = text.substr(std::min(at + 1, text.size()), 2);
        auto const byte =
            text[at] == '%' && digits.size() == 2 ? WholeNumber<unsigned>(digits, 16) : std::nullopt;
        decoded += byte ? static_cast<char>(*byte) : text[at];
        if (byte) at += 2;
    }
    return decoded;
}

std::string PercentEncoded(std::string_view text, std::string_view unescaped) {
    std::string encoded;
    for (char const c : text) {
        bool const plain = (c >= '0' && c <= '9') || (LowerCase(c) >= 'a' && LowerCase(c) <= 'z') ||
                           unescaped.find(c) != npos;
        char escape[4];
        std::snprintf(escape, sizeof escape, "%%%02X", static_cast<unsigned>(static_cast<unsigned char>(c)));
        encoded += plain ? std::string(1, c) : escape;
    }
    return encoded;
}

// Blanks between two words are none; the words of one charset may divide a character among them, though they
// should not.
std::string DecodedHeader(std::string_view value) {
    std::size_t const last_end = value.rfind("?=");
    std::string result, bytes, charset;
    std::size_t done = 0;
    auto const end_words = [&] {
        result += TextIn(charset, bytes);
        bytes.clear();
    };
    for (std::size_t at = 0; (at = value.find("=?", at)) != npos && last_end != npos && at < last_end;) {
        std::optional<Word> const word = WordAt(value.substr(at));
        if (!word) {
            at += 2;
            continue;
        }
        std::string_view const between = value.substr(done, at - done);
        bool const joined = done > 0 && Trimmed(between).empty();
        if (!joined || charset != word->charset) end_words();
        if (!joined) result += GuessedText(between);
        charset = word->charset;
        bytes += word->bytes;
        at = done = at + word->size;
    }
    end_words();
    return result + GuessedText(value.substr(done));
}

std::string NameOfPart(std::string_view disposition, std::string_view type) {
    std::pair<std::string_view, std::string> const places[] = {{disposition, "filename"}, {type, "name"}};
    for (auto const& [header, name] : places)
        if (std::string plain = PlainParameter(header, name); !plain.empty()) return plain;
    for (auto const& [header, name] : places)
        if (std::string extended = ExtendedParameter(header, name); !extended.empty()) return extended;
    return {};
}

}  // namespace engine
