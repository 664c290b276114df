#pragma once

#include "text/kana_forms.h"
#include "text/kanji_arithmetic.h"

namespace text {

// Writes ISO-2022-JP: keeps the present character set of the text, and writes the escape sequence in front of
// a character of another set. The buffer must be large enough.
class Jis7Output {
  public:
    enum Set { ascii, roman, kana, kanji, supplementary };

    explicit Jis7Output(char* out) noexcept : out_(out) {}
    Set Current() const noexcept { return set_; }
    char* At() const noexcept { return out_; }
    void MoveTo(char* out) noexcept { out_ = out; }

    // Result: whether an escape sequence was written.
    bool Enter(Set set) noexcept {
        if (set == set_) return false;
        WriteEscape(set);
        return true;
    }
    void Single(Byte c) noexcept { *out_++ = static_cast<char>(c); }
    void Pair(Byte first, Byte second) noexcept {
        Single(first);
        Single(second);
    }
    void FromSj(Byte first, Byte second) noexcept { out_ = PutJis(first, second, out_); }
    // The full-width form of a half-width kana 0xA1-0xDF.
    void FullWidth(Byte half_kana) noexcept {
        char const* form = jis_kana_forms.plain[half_kana - first_kana];
        Pair(static_cast<Byte>(form[0]), static_cast<Byte>(form[1]));
    }

  private:
    void WriteEscape(Set set) noexcept {
        struct Designation {
            char text[5];
            unsigned char size;
        };
        static constexpr Designation designations[] = {
            {"\x1B(B", 3}, {"\x1B(J", 3}, {"\x1B(I", 3}, {"\x1B$B", 3}, {"\x1B$(D", 4}};
        for (int i = 0; i < designations[set].size; ++i) *out_++ = designations[set].text[i];
        set_ = set;
    }

    char* out_;
    Set set_ = ascii;
};

}  // namespace text
