#include <cstdint>
#include <cstring>

#include "tessaly/text/kanji_codes.h"
#include "text/byte_runs.h"
#include "text/kanji_arithmetic.h"

namespace {

using text::Byte;
using text::ByteRange;

constexpr bool IsControl(Byte c) noexcept {
    return c == text::escape || c == text::shift_out || c == text::shift_in;
}

// The two ways to read and write: the result of each kind of character, and whether ESC ( I and ESC ) D shift
// at once and the other designations end a shift.
struct ToSj {
    static constexpr bool designation_shifts = true;
    static char* Kana(Byte c, char* out) noexcept {
        *out = static_cast<char>(c | 0x80);
        return out + 1;
    }
    static char* Supplementary(Byte, Byte, char* out) noexcept { return out; }
    static char* Kanji(Byte j1, Byte j2, char* out) noexcept { return text::PutSj(j1, j2, out); }
};

struct ToEuc {
    static constexpr bool designation_shifts = false;
    static char* Kana(Byte c, char* out) noexcept { return Kanji(text::euc_kana, c, out); }
    static char* Supplementary(Byte j1, Byte j2, char* out) noexcept {
        *out = static_cast<char>(text::euc_supplementary);
        return Kanji(j1, j2, out + 1);
    }
    static char* Kanji(Byte j1, Byte j2, char* out) noexcept {
        out[0] = static_cast<char>(j1 | 0x80);
        out[1] = static_cast<char>(j2 | 0x80);
        return out + 2;
    }
};

// The kind of the bytes up to the next control function.
enum class Run { single, kanji, kana, supplementary, dropped };

template <class To>
class Jis7Reader {
  public:
    explicit Jis7Reader(ByteRange in) noexcept : in_(in) {}

    char* Convert(char* out) noexcept {
        while (!in_.Empty()) {
            if (IsControl(*in_.at)) {
                if (!TakeControl()) break;
            } else {
                out = TakeRun(out);
            }
        }
        return out;
    }

  private:
    // false at a cut escape sequence.
    bool TakeControl() noexcept {
        Byte const control = *in_.at;
        if (control != text::escape) {
            run_ = control == text::shift_in ? set_ : designated_;
            shifted_ = control == text::shift_out;
            ++in_.at;
            return true;
        }
        if (!in_.Holds(3)) return false;
        Designate(in_.at[1], in_.at[2]);
        in_.at += 3;
        return true;
    }

    void Designate(Byte intermediate, Byte final) noexcept {
        if (intermediate == '(' && final == 'I') return DesignateShift(Run::kana);
        if (intermediate == ')' && final == 'D') return DesignateShift(Run::supplementary);
        if (intermediate == '(' && (final == 'B' || final == 'J')) return EnterSet(Run::single);
        if (intermediate == '$' && (final == '@' || final == 'B')) return EnterSet(Run::kanji);
        set_ = Run::dropped;
        if (!shifted_) run_ = set_;
    }
    void DesignateShift(Run run) noexcept {
        designated_ = run;
        if (!To::designation_shifts) return;
        shifted_ = true;
        run_ = run;
    }
    void EnterSet(Run set) noexcept {
        set_ = set;
        if (To::designation_shifts) shifted_ = false;
        if (!shifted_) run_ = set;
    }

    // The bytes up to the next control function, or the end of the text. The present byte is no control
    // function.
    char* TakeRun(char* out) noexcept {
        switch (run_) {
            case Run::single: return CopySingles(out);
            case Run::kanji: return TakePairs<To::Kanji>(out);
            case Run::supplementary: return TakePairs<To::Supplementary>(out);
            case Run::kana:
                do out = To::Kana(*in_.at++ | 0x80, out);
                while (!AtControlOrEnd());
                return out;
            case Run::dropped:
                do ++in_.at;
                while (!AtControlOrEnd());
        }
        return out;
    }

    template <char* (*Put)(Byte, Byte, char*) noexcept>
    char* TakePairs(char* out) noexcept {
        do {
            if (!in_.Holds(2)) {
                in_.at = in_.end;
                return out;
            }
            out = Put(in_.at[0], in_.at[1], out);
            in_.at += 2;
        } while (!AtControlOrEnd());
        return out;
    }

    char* CopySingles(char* out) noexcept {
        do *out++ = static_cast<char>(*in_.at++);
        while (!AtControlOrEnd());
        return out;
    }

    bool AtControlOrEnd() const noexcept { return in_.Empty() || IsControl(*in_.at); }

    ByteRange in_;
    Run set_ = Run::single;
    Run designated_ = Run::dropped;  // takes effect through SO
    bool shifted_ = false;
    Run run_ = Run::single;
};

}  // namespace

char* jis7touj_core(char* out, char const* text) {
    if (!out) return nullptr;
    *Jis7Reader<ToEuc>(ByteRange(text)).Convert(out) = '\0';
    return out;
}

char* jis7tosj_core(char* out, char const* text) {
    if (!out) return nullptr;
    *Jis7Reader<ToSj>(ByteRange(text)).Convert(out) = '\0';
    return out;
}
