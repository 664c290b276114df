#pragma once

#include <memory>
#include <random>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "tessaly/text/kanji_codes.h"
#include "tessaly/text/kcodec.h"

// Every conversion of kanji codes with its size function, in one form, so that a test can run them all.
struct Conversion {
    std::string_view name;
    char const* (*convert)(char* out, char const* text);
    std::size_t (*size)(std::size_t n) noexcept;
    // A length for which some text needs all of the size.
    std::size_t full_length;
};

inline constexpr Conversion conversions[] = {
    {"sjtojis7", [](char* o, char const* t) -> char const* { return sjtojis7_core(o, t, 0); }, SizeOfSjToJis7,
     0},
    {"sjtojis7 full", [](char* o, char const* t) -> char const* { return sjtojis7_core(o, t, 1); },
     SizeOfSjToJis7, 3},
    {"ujtojis7", [](char* o, char const* t) -> char const* { return ujtojis7_core(o, t, 0); }, SizeOfUjToJis7,
     2},
    {"ujtojis7 full", [](char* o, char const* t) -> char const* { return ujtojis7_core(o, t, 1); },
     SizeOfUjToJis7, 2},
    {"jis7touj", [](char* o, char const* t) -> char const* { return jis7touj_core(o, t); }, SizeOfJis7ToUj,
     3},
    {"jis7tosj", [](char* o, char const* t) -> char const* { return jis7tosj_core(o, t); }, SizeOfJis7ToSj,
     3},
    {"ujtosj", [](char* o, char const* t) -> char const* { return ujtosj_core(o, t); }, SizeOfUjToSj, 3},
    {"sjtouj", [](char* o, char const* t) -> char const* { return sjtouj_core(o, t); }, SizeOfSjToUj, 3},
    {"header", [](char* o, char const* t) -> char const* { return sjtojis7_for_header(o, t, 1, -1); },
     SizeOfSjToJis7ForHeader, 3},
    {"header 30", [](char* o, char const* t) -> char const* { return sjtojis7_for_header(o, t, 0, 30); },
     SizeOfSjToJis7ForHeader, 0},
    {"utf8tosj", [](char* o, char const* t) { return KCodeC().utf8tosj(o, t); }, SizeOfUtf8ToSj, 3},
    {"sjtoutf8", [](char* o, char const* t) { return KCodeC().sjtoutf8(o, t); }, SizeOfSjToUtf8, 3},
};

// The result in a heap block of exactly the promised size, so that the address sanitizer detects a byte too
// many.
inline std::string Converted(Conversion const& conversion, std::string const& text) {
    auto const in = std::make_unique<char[]>(text.size() + 1);
    text.copy(in.get(), text.size());
    auto const out = std::make_unique<char[]>(conversion.size(text.size()));
    return conversion.convert(out.get(), in.get());
}

inline std::string Converted(std::string_view name, std::string const& text) {
    for (Conversion const& conversion : conversions)
        if (conversion.name == name) return Converted(conversion, text);
    throw std::invalid_argument("no such conversion");
}

// Random texts of the elements of the codes, whole, cut and out of place.
class BrokenTexts {
  public:
    explicit BrokenTexts(unsigned seed) : random_(seed) {}

    std::string Next() {
        static std::vector<std::string> const pieces = {
            "\x1B$B",   "\x1B$@",       "\x1B(B",       "\x1B(J", "\x1B(I",   "\x1B)D",
            "\x1B$(D",  "\x1B",         "\x1B(",        "\x0E",   "\x0F",     "a",
            "Z9",       "\r\n",         "0!",           "漢",     "カ",       "ｶ",
            "ﾞ",        "\x81",         "\xF0",         "\x80",   "\x8E\xB6", "\x8F\xB0\xA1",
            "\xB4\xC1", "\xE6\xBC\xA2", "\xEF\xBD\xB6", "\xC3",   "\xFF",     "\x7F"};
        std::string text;
        for (unsigned left = Below(24); left > 0; --left) {
            if (Below(8) == 0)
                text += static_cast<char>(1 + Below(255));
            else
                text += pieces[Below(static_cast<unsigned>(pieces.size()))];
        }
        return text;
    }
    unsigned Below(unsigned limit) { return static_cast<unsigned>(random_() % limit); }

  private:
    std::mt19937 random_;
};
