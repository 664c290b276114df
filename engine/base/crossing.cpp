#include "engine/base/crossing.h"

#include <array>
#include <cstdint>
#include <cstdio>
#include <utility>

#include "engine/base/failure.h"

using namespace std::string_view_literals;

namespace engine {
namespace {

// Signs that Unicode keeps apart and Japanese texts use for one another, and their code in code page 932, by
// code point. They come before the system's conversion, which makes a backslash of the yen sign and a tilde
// of the overline.
constexpr std::array<std::pair<char32_t, std::uint16_t>, 16> same_signs = {{
    {0x00A0, 0x0020},  // no-break space
    {0x00A2, 0x8191},  // cent
    {0x00A3, 0x8192},  // pound
    {0x00A5, 0x818F},  // yen
    {0x00A6, 0xFA55},  // broken bar
    {0x00AC, 0x81CA},  // not
    {0x00AF, 0x8150},  // macron
    {0x00B5, 0x83CA},  // micro
    {0x00C5, 0x81F0},  // angstrom, as the letter
    {0x2011, 0x002D},  // non-breaking hyphen
    {0x2014, 0x815C},  // em dash
    {0x2016, 0x8161},  // double vertical line
    {0x203E, 0x8150},  // overline
    {0x2126, 0x83B6},  // ohm
    {0x2212, 0x817C},  // minus
    {0x301C, 0x8160},  // wave dash
}};

struct Decoded {
    char32_t point;
    std::size_t size;  // bytes; 0 for bytes that are no UTF-8
};

// The character at the start of `text`.
Decoded DecodeOne(std::string_view text) {
    std::size_t size = 0;
    char32_t const point = platform::TakeUtf8(text, size);
    return point == platform::not_a_character ? Decoded{0, 0} : Decoded{point, size};
}

std::uint16_t CodeOf(char32_t point) {
    if (point >= same_signs.front().first && point <= same_signs.back().first)
        for (auto const& [sign, code] : same_signs)
            if (sign == point) return code;
    return point <= 0xFFFF ? platform::Cp932Of(static_cast<std::uint16_t>(point)) : 0;
}

// か + U+3099 and は + U+309A, as file names of some systems hold them, in one character; 0 where there is
// none.
char32_t Composed(char32_t base, char32_t mark) {
    constexpr std::u32string_view voiced =
        U"かきくけこさしすせそたちつてとはひふへほカキクケコサシスセソタチツテトハヒフヘホ";
    if (mark == 0x3099 && (base == U'う' || base == U'ウ')) return 0x3094 + (base == U'ウ' ? 0x60 : 0);
    if (mark == 0x3099 && voiced.find(base) != voiced.npos) return base + 1;
    char32_t const row = base >= 0x30A0 ? base - 0x60 : base;
    if (mark == 0x309A && row >= U'は' && row <= U'ほ' && (row - U'は') % 3 == 0) return base + 2;
    return 0;
}

// A character with the mark that it joins.
struct Taken {
    char32_t point;
    std::uint16_t code;  // 0 for one without a form
    std::size_t size;    // bytes; 0 for bytes that are no UTF-8
};

// The one at the start of `text`.
Taken TakeOne(std::string_view text) {
    Decoded one = DecodeOne(text);
    if (one.point >= 0x3046 && one.point <= 0x30DB && one.size < text.size()) {
        Decoded const mark = DecodeOne(text.substr(one.size));
        if (char32_t const composed = Composed(one.point, mark.point)) one = {composed, one.size + mark.size};
    }
    return {one.point, one.point == 0 ? std::uint16_t{0} : CodeOf(one.point), one.size};
}

void Append(std::string& text, std::uint16_t code) {
    if (code > 0xFF) text += static_cast<char>(code >> 8);
    text += static_cast<char>(code & 0xFF);
}

bool IsControl(char32_t point) {
    return (point < 0x20 && point != '\t' && point != '\r' && point != '\n') ||
           (point >= 0x7F && point < 0xA0);
}

bool HasNoLooks(char32_t point) {
    return (point >= 0x200B && point <= 0x200F) || point == 0x2060 || (point >= 0xFE00 && point <= 0xFE0F) ||
           point == 0xFEFF || (point >= 0xE0100 && point <= 0xE01EF);
}

// Bytes at the start of `text` that are one piece of damage: what begins no character, and what is left of
// one behind it.
std::size_t DamageSize(std::string_view text) {
    std::size_t size = 1;
    while (size < text.size() && (text[size] & 0xC0) == 0x80) ++size;
    return size;
}

NoForm PlaceOf(std::string_view before, std::string_view from, std::size_t size) {
    NoForm place{1, 1, {}};
    for (char const c : before) {
        if (c == '\n') {
            ++place.line;
            place.column = 1;
        } else if ((c & 0xC0) != 0x80) {
            ++place.column;
        }
    }
    if (size > 0) {
        place.character = from.substr(0, size);
    } else {
        char hex[8];
        std::snprintf(hex, sizeof hex, "\\x%02X", static_cast<unsigned>(static_cast<unsigned char>(from[0])));
        place.character = hex;
    }
    return place;
}

}  // namespace

Crossed IntoLibrary(std::string_view utf8) {
    Crossed result;
    result.text.reserve(utf8.size());
    for (std::size_t at = 0; at < utf8.size();) {
        Taken const one = TakeOne(utf8.substr(at));
        if (one.code == 0) {
            result.no_form = PlaceOf(utf8.substr(0, at), utf8.substr(at), one.size);
            return result;
        }
        Append(result.text, one.code);
        at += one.size;
    }
    return result;
}

CString IntoWithGeta(std::string_view utf8) {
    constexpr std::uint16_t geta_mark = 0x81AC;
    std::string text;
    text.reserve(utf8.size());
    for (std::size_t at = 0; at < utf8.size();) {
        Taken const one = TakeOne(utf8.substr(at));
        if (one.size > 0 && IsControl(one.point))
            text += ' ';
        else if (one.size == 0 || !HasNoLooks(one.point))
            Append(text, one.code ? one.code : geta_mark);
        at += one.size > 0 ? one.size : DamageSize(utf8.substr(at));
    }
    return CString(std::string_view(text));
}

bool IsUtf8(std::string_view text) {
    for (std::size_t at = 0; at < text.size();)
        if (platform::TakeUtf8(text, at) == platform::not_a_character) return false;
    return true;
}

void AppendUtf8(char32_t point, std::string& text) {
    char bytes[4];
    if (point < 0x10000) {
        text.append(bytes, platform::PutUtf8(static_cast<std::uint16_t>(point), bytes));
        return;
    }
    text += static_cast<char>(0xF0 | point >> 18);
    for (int const shift : {12, 6, 0}) text += static_cast<char>(0x80 | (point >> shift & 0x3F));
}

std::string Describe(NoForm const& place) {
    std::string const sign = place.character == std::string(1, '\0') ? "NUL" : place.character;
    return std::to_string(place.line) + "行" + std::to_string(place.column) + "文字目の「" + sign + "」";
}

CString Into(std::string_view utf8, std::string_view what) {
    Crossed const crossed = IntoLibrary(utf8);
    if (crossed.no_form) {
        throw Failure(Failure::text_without_form,
                      std::string(what) + "に使えない文字があります: " + Describe(*crossed.no_form) +
                          "。Shift_JISにある文字に置き換えてください。",
                      {.line = crossed.no_form->line, .column = crossed.no_form->column});
    }
    return CString(std::string_view(crossed.text));
}

CString IntoSecret(std::string_view utf8, std::string_view what) {
    std::string text(utf8);
    for (auto const& [sign, byte] : {std::pair{"¥"sv, "\\"sv}, {"‾"sv, "~"sv}})
        for (std::size_t at = 0; (at = text.find(sign, at)) != text.npos; at += byte.size())
            text.replace(at, sign.size(), byte);
    return Into(text, what);
}

std::string Out(std::string_view cp932) {
    std::string result;
    result.reserve(cp932.size() * 3 / 2);
    for (std::size_t at = 0; at < cp932.size();) {
        auto const b = static_cast<unsigned char>(cp932[at]);
        if (b < 0x80) {
            result += cp932[at++];
            continue;
        }
        std::uint16_t code = b;
        std::size_t size = 1;
        if (platform::IsLeadByte(b) && at + 1 < cp932.size()) {
            code = static_cast<std::uint16_t>(b << 8 | static_cast<unsigned char>(cp932[at + 1]));
            size = 2;
        }
        std::uint16_t unit = platform::UnicodeOf(code);
        if (unit == 0) {
            unit = 0xFFFD;
            size = 1;
        }
        if (unit < 0x800) {
            result += static_cast<char>(0xC0 | unit >> 6);
        } else {
            result += static_cast<char>(0xE0 | unit >> 12);
            result += static_cast<char>(0x80 | (unit >> 6 & 0x3F));
        }
        result += static_cast<char>(0x80 | (unit & 0x3F));
        at += size;
    }
    return result;
}

std::string OnOneLine(std::string_view text) {
    text = text.substr(0, text.find_last_not_of("\r\n") + 1);
    std::string result;
    for (std::size_t at = 0; at < text.size(); ++at) {
        if (text.substr(at).starts_with("\r\n")) ++at;
        auto const c = static_cast<unsigned char>(text[at]);
        result += c < 0x20 || c == 0x7F ? ' ' : text[at];
    }
    return result;
}

CString IntoPath(std::string const& host_path) {
    bool exact = true;
    CString path = platform::LibraryPath(host_path, &exact);
    if (!exact) {
        throw Failure(Failure::text_without_form, "ファイル名に使えない文字があります: " + host_path +
                                                      "\nShift_JISにある文字だけの名前に変えてください。");
    }
    return path;
}

}  // namespace engine
