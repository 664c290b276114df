#include <cstdint>

#include "tessaly/text/kanji_codes.h"
#include "text/byte_runs.h"
#include "text/jis7_output.h"

namespace {

using text::Byte;
using text::ByteRange;
using text::Jis7Output;

constexpr bool OpensSjPair(Byte c) noexcept { return c >= 0x80 && !text::IsHalfKana(c); }

void WriteSjPairs(ByteRange& in, Jis7Output& jis) noexcept {
    char* out = jis.At();
    do {
        out = text::PutJis(in.at[0], in.at[1], out);
        in.at += 2;
    } while (in.Holds(2) && OpensSjPair(*in.at));
    jis.MoveTo(out);
}

void WriteSjKana(Byte c, bool full_width, Jis7Output& jis) noexcept {
    jis.Enter(full_width ? Jis7Output::kanji : Jis7Output::kana);
    if (full_width)
        jis.FullWidth(c);
    else
        jis.Single(c & 0x7F);
}

// Half-width kana of EUC-JP between SO and SI, in addition to the state of Jis7Output. Their single-byte set
// is ASCII or JIS-Roman.
class EucToJis7 {
  public:
    EucToJis7(char* out, bool kana_to_full_width) noexcept : jis_(out), full_width_(kana_to_full_width) {}

    char* Convert(ByteRange in) noexcept {
        while (!in.Empty() && Character(in)) continue;
        EndShift();
        if (!InSingleByteSet()) jis_.Enter(Jis7Output::ascii);
        return jis_.At();
    }

  private:
    // One character, or a run of them; false when it is cut.
    bool Character(ByteRange& in) noexcept {
        Byte const c = *in.at;
        if (c < 0x80) {
            Ascii(in);
            return true;
        }
        int const size = c == text::euc_supplementary ? 3 : 2;
        if (!in.Holds(size)) return false;
        if (c == text::euc_kana) {
            Kana(in.at[1]);
            in.at += size;
        } else if (c == text::euc_supplementary) {
            Enter(Jis7Output::supplementary);
            jis_.Pair(in.at[1] & 0x7F, in.at[2] & 0x7F);
            in.at += size;
        } else {
            Pairs(in);
        }
        return true;
    }

    void Ascii(ByteRange& in) noexcept {
        EndShift();
        if (!InSingleByteSet()) jis_.Enter(Jis7Output::ascii);
        jis_.MoveTo(text::CopyAscii(in, jis_.At()));
    }

    void Pairs(ByteRange& in) noexcept {
        Enter(Jis7Output::kanji);
        char* out = jis_.At();
        do {
            *out++ = static_cast<char>(in.at[0] & 0x7F);
            *out++ = static_cast<char>(in.at[1] & 0x7F);
            in.at += 2;
        } while (in.Holds(2) && *in.at > text::euc_supplementary);
        jis_.MoveTo(out);
    }

    void Kana(Byte c) noexcept {
        if (full_width_ && text::IsHalfKana(c | 0x80)) {
            Enter(Jis7Output::kanji);
            jis_.FullWidth(c | 0x80);
            return;
        }
        if (!InSingleByteSet()) jis_.Enter(Jis7Output::roman);
        if (!shifted_) jis_.Single(text::shift_out);
        shifted_ = true;
        jis_.Single(c & 0x7F);
    }

    bool InSingleByteSet() const noexcept {
        return jis_.Current() == Jis7Output::ascii || jis_.Current() == Jis7Output::roman;
    }
    void Enter(Jis7Output::Set set) noexcept {
        EndShift();
        jis_.Enter(set);
    }
    void EndShift() noexcept {
        if (shifted_) jis_.Single(text::shift_in);
        shifted_ = false;
    }

    Jis7Output jis_;
    bool full_width_;
    bool shifted_ = false;
};

// Header text: Shift-JIS to JIS with a count of the columns since the text was last in ASCII.
class HeaderToJis7 {
  public:
    HeaderToJis7(char* out, bool kana_to_full_width, int limit) noexcept
        : jis_(out), full_width_(kana_to_full_width), limit_(limit) {}

    char* Convert(ByteRange in) noexcept {
        while (!in.Empty()) {
            if (columns_ > limit_) {
                jis_.Enter(Jis7Output::ascii);
                columns_ = 0;
            }
            if (!Character(in)) break;
        }
        jis_.Enter(Jis7Output::ascii);
        return jis_.At();
    }

  private:
    static constexpr int escape_columns = 3;

    // false when the character is cut.
    bool Character(ByteRange& in) noexcept {
        Byte const c = *in.at;
        if (c < 0x80 || text::IsHalfKana(c)) {
            SingleByte(c);
            ++in.at;
            return true;
        }
        if (!in.Holds(2)) return false;
        Enter(Jis7Output::kanji);
        jis_.FromSj(c, in.at[1]);
        columns_ += 2;
        in.at += 2;
        return true;
    }

    void SingleByte(Byte c) noexcept {
        if (c >= 0x80 && full_width_) {
            Enter(Jis7Output::kanji);
            jis_.FullWidth(c);
            columns_ += 2;
        } else {
            Enter(c < 0x80 ? Jis7Output::roman : Jis7Output::kana);
            jis_.Single(c & 0x7F);
            columns_ += 1;
        }
    }

    void Enter(Jis7Output::Set set) noexcept {
        if (jis_.Enter(set)) columns_ += escape_columns;
    }

    Jis7Output jis_;
    bool full_width_;
    std::int64_t limit_;
    std::int64_t columns_ = 0;
};

}  // namespace

char* sjtojis7_core(char* out, char const* text, int hanToZen) {
    if (!out) return nullptr;
    ByteRange in(text);
    Jis7Output jis(out);
    while (!in.Empty()) {
        Byte const c = *in.at;
        if (c < 0x80) {
            jis.Enter(Jis7Output::ascii);
            jis.MoveTo(text::CopyAscii(in, jis.At()));
        } else if (text::IsHalfKana(c)) {
            WriteSjKana(c, hanToZen != 0, jis);
            ++in.at;
        } else {
            if (!in.Holds(2)) break;
            jis.Enter(Jis7Output::kanji);
            WriteSjPairs(in, jis);
        }
    }
    jis.Enter(Jis7Output::ascii);
    *jis.At() = '\0';
    return out;
}

char* ujtojis7_core(char* out, char const* text, int hanToZen) {
    if (!out) return nullptr;
    *EucToJis7(out, hanToZen != 0).Convert(ByteRange(text)) = '\0';
    return out;
}

char* sjtojis7_for_header(char* out, char const* text, int hanToZen, int limit) {
    if (!out) return nullptr;
    *HeaderToJis7(out, hanToZen != 0, limit).Convert(ByteRange(text)) = '\0';
    return out;
}
