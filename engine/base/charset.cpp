#include "engine/base/charset.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "engine/base/crossing.h"
#include "engine/base/iconv_text.h"
#include "engine/base/jis_text.h"
#include "engine/base/lower_case.h"

namespace engine {
namespace {

constexpr auto npos = std::string_view::npos;

DecodedText FromUtf8(std::string_view bytes) {
    if (bytes.starts_with(byte_order_mark)) bytes.remove_prefix(byte_order_mark.size());
    DecodedText text;
    text.utf8.reserve(bytes.size());
    for (std::size_t at = 0; at < bytes.size();) {
        std::size_t const begin = at;
        if (platform::TakeUtf8(bytes, at) != platform::not_a_character) {
            text.utf8 += bytes.substr(begin, at - begin);
            continue;
        }
        while (at < bytes.size() && (bytes[at] & 0xC0) == 0x80) ++at;  // what is left of the character
        text.utf8 += replacement_sign;
        ++text.errors;
    }
    return text;
}

// Without a byte order mark, the byte of each pair that is more often zero is the high one: Latin letters and
// line ends stand in every text.
char const* OrderOfUtf16(std::string_view bytes) {
    if (bytes.starts_with("\xFE\xFF")) return "UTF-16BE";
    if (bytes.starts_with("\xFF\xFE")) return "UTF-16LE";
    std::size_t zeros[2] = {};
    for (std::size_t at = 0; at < bytes.size(); ++at) zeros[at % 2] += bytes[at] == 0;
    return zeros[1] > zeros[0] ? "UTF-16LE" : "UTF-16BE";
}

DecodedText FromUtf16(std::string_view bytes) {
    char const* const order = OrderOfUtf16(bytes);
    if (bytes.starts_with("\xFE\xFF") || bytes.starts_with("\xFF\xFE")) bytes.remove_prefix(2);
    return FromIconv(order, bytes).value_or(DecodedText{});
}

DecodedText FromCp932(std::string_view bytes) {
    DecodedText text{Out(bytes), 0};
    for (std::size_t at = 0; (at = text.utf8.find(replacement_sign, at)) != npos;
         at += replacement_sign.size())
        ++text.errors;
    return text;
}

bool IsSevenBit(std::string_view bytes) {
    return std::none_of(bytes.begin(), bytes.end(),
                        [](char c) { return static_cast<unsigned char>(c) > 0x7F; });
}

struct Charset {
    enum class Kind { guessed, utf8, utf16, jis, cp932, several_bytes, one_byte } kind;
    std::string name{};  // for iconv
};

constexpr std::pair<std::string_view, Charset::Kind> own_charsets[] = {
    {"utf-8", Charset::Kind::utf8},
    {"utf8", Charset::Kind::utf8},
    {"unicode-1-1-utf-8", Charset::Kind::utf8},
    {"utf-16", Charset::Kind::utf16},
    {"utf-16le", Charset::Kind::utf16},
    {"utf-16be", Charset::Kind::utf16},
    {"unicode", Charset::Kind::utf16},
    {"ucs-2", Charset::Kind::utf16},
    {"jis", Charset::Kind::jis},
    {"csiso2022jp", Charset::Kind::jis},
    {"cp50220", Charset::Kind::jis},
    {"cp50221", Charset::Kind::jis},
    {"cp50222", Charset::Kind::jis},
    {"shift_jis", Charset::Kind::cp932},
    {"shift-jis", Charset::Kind::cp932},
    {"shiftjis", Charset::Kind::cp932},
    {"sjis", Charset::Kind::cp932},
    {"x-sjis", Charset::Kind::cp932},
    {"ms_kanji", Charset::Kind::cp932},
    {"csshiftjis", Charset::Kind::cp932},
    {"windows-31j", Charset::Kind::cp932},
    {"cswindows31j", Charset::Kind::cp932},
    {"windows-932", Charset::Kind::cp932},
    {"cp932", Charset::Kind::cp932},
    {"ms932", Charset::Kind::cp932},
    {"x-ms-cp932", Charset::Kind::cp932},
    {"us-ascii", Charset::Kind::guessed},
    {"ascii", Charset::Kind::guessed},
};

// Labels that the system does not know, or reads more strictly than the programs that write them.
constexpr std::pair<std::string_view, std::string_view> names_for_iconv[] = {
    {"euc-jp", "EUC-JP-MS"},  {"eucjp", "EUC-JP-MS"},   {"x-euc-jp", "EUC-JP-MS"},
    {"x-euc", "EUC-JP-MS"},   {"cp51932", "EUC-JP-MS"}, {"iso-8859-1", "CP1252"},
    {"iso8859-1", "CP1252"},  {"latin1", "CP1252"},     {"iso-8859-9", "CP1254"},
    {"iso-8859-11", "CP874"}, {"tis-620", "CP874"},     {"gb2312", "GB18030"},
    {"gbk", "GB18030"},       {"x-gbk", "GB18030"},     {"ks_c_5601-1987", "CP949"},
    {"euc-kr", "CP949"},      {"big5", "BIG5-HKSCS"},   {"unicode-1-1-utf-7", "UTF-7"},
};

// Families that the system converts.
constexpr std::string_view one_byte_families[] = {"iso-8859-", "iso8859-", "windows-12", "windows-874",
                                                  "cp125",     "cp8",      "koi8-",      "macintosh",
                                                  "ibm8",      "latin"};
constexpr std::string_view several_byte_families[] = {
    "euc-",        "gb18030",        "utf-7",          "utf-32", "iso-2022-kr",
    "iso-2022-cn", "shift_jisx0213", "shift_jis-2004", "hz-gb",  "johab"};

Charset CharsetNamed(std::string_view label) {
    constexpr std::size_t longest = 40;
    std::string const name = LowerCase(
        label.substr(0, std::min(label.find_first_of("* \t"), longest)));  // RFC 2231 5: charset*language
    for (auto const& [known, kind] : own_charsets)
        if (name == known) return {kind, {}};
    if (name.starts_with("iso-2022-jp") || name.starts_with("iso2022jp")) return {Charset::Kind::jis};
    for (auto const& [known, iconv_name] : names_for_iconv)
        if (name == known)
            return {iconv_name.starts_with("CP1") || iconv_name == "CP874" ? Charset::Kind::one_byte
                                                                           : Charset::Kind::several_bytes,
                    std::string(iconv_name)};
    auto const is_of = [&](std::string_view family) { return name.starts_with(family); };
    bool const plain = name.find_first_not_of("abcdefghijklmnopqrstuvwxyz0123456789-_.") == npos;
    if (plain && std::any_of(std::begin(one_byte_families), std::end(one_byte_families), is_of) &&
        IsKnownToIconv(name.c_str()))
        return {Charset::Kind::one_byte, name};
    if (plain && std::any_of(std::begin(several_byte_families), std::end(several_byte_families), is_of) &&
        IsKnownToIconv(name.c_str()))
        return {Charset::Kind::several_bytes, name};
    return {Charset::Kind::guessed, {}};
}

DecodedText Converted(Charset const& charset, std::string_view bytes) {
    switch (charset.kind) {
        case Charset::Kind::utf8: return FromUtf8(bytes);
        case Charset::Kind::utf16: return FromUtf16(bytes);
        case Charset::Kind::jis: return FromJis(bytes);
        case Charset::Kind::cp932: return FromCp932(bytes);
        case Charset::Kind::several_bytes:
        case Charset::Kind::one_byte:
            if (auto text = FromIconv(charset.name.c_str(), bytes)) return *std::move(text);
            break;
        case Charset::Kind::guessed: break;
    }
    return {std::string(bytes), 1};
}

// Every text of some length in EUC-JP has kana, whose rows are A4 and A5. In Shift_JIS these bytes are signs
// between half-width kana.
bool LooksLikeEuc(std::string_view bytes) {
    for (std::size_t at = 0; at < bytes.size(); ++at) {
        auto const byte = static_cast<unsigned char>(bytes[at]);
        if (byte < 0x80) continue;
        if (byte == 0xA4 || byte == 0xA5) return true;
        at += byte == 0x8F ? 2 : 1;
    }
    return false;
}

// What the bytes are beyond doubt; none if several are possible.
std::optional<std::string> Evident(std::string_view bytes) {
    if (IsSevenBit(bytes)) return HasJisEscapes(bytes) ? std::optional(FromJis(bytes).utf8) : std::nullopt;
    if (IsUtf8(bytes)) return FromUtf8(bytes).utf8;
    return {};
}

// Such bytes would in Shift_JIS be rare kanji with half-width kana between them.
bool IsKanaOrKanjiOfUtf8(std::string_view bytes) {
    return std::any_of(bytes.begin(), bytes.end(),
                       [](char c) { return static_cast<unsigned char>(c) >= 0xE0; }) &&
           IsUtf8(bytes);
}

}  // namespace

std::string GuessedText(std::string_view bytes) {
    if (auto evident = Evident(bytes)) return *std::move(evident);
    if (IsSevenBit(bytes)) return std::string(bytes);
    DecodedText mixed = FromJis(bytes);
    if (HasJisEscapes(bytes) && mixed.errors == 0) return std::move(mixed.utf8);
    auto euc = FromIconv("EUC-JP-MS", bytes);
    DecodedText shift_jis = FromCp932(bytes);
    if (euc && euc->errors == 0 && (shift_jis.errors > 0 || LooksLikeEuc(bytes))) return std::move(euc->utf8);
    if (shift_jis.errors == 0) return std::move(shift_jis.utf8);
    if (HasJisEscapes(bytes) && mixed.errors < shift_jis.errors) return std::move(mixed.utf8);
    DecodedText utf8 = FromUtf8(bytes);
    if (utf8.errors < shift_jis.errors && (!euc || utf8.errors < euc->errors)) return std::move(utf8.utf8);
    if (euc && euc->errors < shift_jis.errors) return std::move(euc->utf8);
    return std::move(shift_jis.utf8);
}

std::string TextIn(std::string_view charset, std::string_view bytes) {
    Charset const named = CharsetNamed(charset);
    if (named.kind == Charset::Kind::guessed) return GuessedText(bytes);
    if (named.kind == Charset::Kind::one_byte)
        if (auto evident = Evident(bytes)) return *std::move(evident);
    if (named.kind == Charset::Kind::cp932 && IsKanaOrKanjiOfUtf8(bytes)) return FromUtf8(bytes).utf8;
    DecodedText text = Converted(named, bytes);
    if (text.errors > 0 && named.kind != Charset::Kind::utf16) {
        std::string guessed = GuessedText(bytes);
        if (guessed.find(replacement_sign) == npos) return guessed;
    }
    return std::move(text.utf8);
}

bool IsKnownCharset(std::string_view charset) {
    return CharsetNamed(charset).kind != Charset::Kind::guessed || charset.empty() ||
           CString(charset).CompareNoCase("us-ascii") == 0 || CString(charset).CompareNoCase("ascii") == 0;
}

}  // namespace engine
