#include "engine/base/jis_text.h"

#include <cstdint>
#include <string>
#include <utility>

#include "engine/base/crossing.h"

namespace engine {
namespace {

constexpr char escape = '\x1B';

// The character sets that the escapes of ISO-2022-JP and its successors invoke.
enum class Set { ascii, kana, jis0208, jis0212, jis0213_1, jis0213_2, gb2312, ksc5601, latin1 };

struct Escape {
    std::string_view sequence;  // behind the ESC
    Set set;
};

// JIS X 0201 Roman is shown as ASCII: its yen sign is the backslash of Japanese systems.
constexpr Escape escapes[] = {
    {"(B", Set::ascii},      {"(J", Set::ascii},    {"(H", Set::ascii},         {"(I", Set::kana},
    {"$@", Set::jis0208},    {"$B", Set::jis0208},  {"&@\x1B$B", Set::jis0208}, {"$(@", Set::jis0208},
    {"$(B", Set::jis0208},   {"$(D", Set::jis0212}, {"$(O", Set::jis0213_1},    {"$(Q", Set::jis0213_1},
    {"$(P", Set::jis0213_2}, {"$A", Set::gb2312},   {"$(A", Set::gb2312},       {"$(C", Set::ksc5601},
    {".A", Set::latin1},
};

// A kanji of JIS X 0208 as a code of code page 932, whose rows 13 and 89 to 92 hold the characters of NEC and
// IBM that mail programs send as ISO-2022-JP.
std::uint16_t Cp932OfJis(unsigned char row, unsigned char cell) {
    unsigned const lead = (row - 0x21u) / 2 + (row < 0x5F ? 0x81u : 0xC1u);
    unsigned const trail = row % 2 == 0 ? cell + 0x7Eu : cell + (cell < 0x60 ? 0x1Fu : 0x20u);
    return static_cast<std::uint16_t>(lead << 8 | trail);
}

class JisReader {
  public:
    explicit JisReader(std::string_view bytes) : rest_(bytes), has_escapes_(HasJisEscapes(bytes)) {
        text_.utf8.reserve(bytes.size() * 3 / 2);
    }

    DecodedText Read() {
        while (!rest_.empty()) {
            if (rest_.front() == escape && TakeEscape()) continue;
            if (rest_.front() == '\x0E' || rest_.front() == '\x0F')  // shifts to kana and back (JIS X 0202)
                shifted_ = Take(1) == "\x0E";
            else
                TakeCharacter();
        }
        EndRun();
        return std::move(text_);
    }

  private:
    std::string_view Take(std::size_t size) {
        std::string_view const taken = rest_.substr(0, size);
        rest_.remove_prefix(taken.size());
        return taken;
    }

    bool TakeEscape() {
        std::string_view const behind = rest_.substr(1);
        if (behind.starts_with('N') && upper_ == Set::latin1 && behind.size() > 1) {  // ISO 2022 single shift
            EndRun();
            AppendUtf8(static_cast<unsigned char>(behind[1]) | 0x80u, text_.utf8);
            Take(3);
            return true;
        }
        for (auto const& [sequence, set] : escapes) {
            if (!behind.starts_with(sequence)) continue;
            Take(1 + sequence.size());
            EndRun();
            (set == Set::latin1 ? upper_ : set_) = set;
            return true;
        }
        return false;
    }

    // A line end closes what was left open.
    void TakeCharacter() {
        auto const first = static_cast<unsigned char>(rest_.front());
        if (first == '\n' || first == '\r') {
            EndRun();
            set_ = Set::ascii;
            shifted_ = false;
        }
        if (first <= 0x20 || first == 0x7F || (set_ == Set::ascii && !shifted_ && first < 0x80)) {
            EndRun();
            text_.utf8 += Take(1);
        } else if (first >= 0x80) {
            bool const kana = has_escapes_ && first > 0xA0 && first < 0xE0;
            kana ? TakeKana(first & 0x7F) : Damage();
        } else if (shifted_ || set_ == Set::kana) {
            TakeKana(first);
        } else {
            TakePair(first);
        }
    }

    void TakeKana(int code) {
        constexpr char32_t kana_of_0x21 = 0xFF61;
        if (code > 0x5F) return Damage();
        EndRun();
        AppendUtf8(kana_of_0x21 + static_cast<char32_t>(code - 0x21), text_.utf8);
        Take(1);
    }

    void TakePair(unsigned char first) {
        auto const second = static_cast<unsigned char>(rest_.size() > 1 ? rest_[1] : 0);
        if (second < 0x21 || second > 0x7E) return Damage();
        if (set_ == Set::jis0208) {
            std::uint16_t const unit = platform::UnicodeOf(Cp932OfJis(first, second));
            text_.errors += unit == 0;
            AppendUtf8(unit ? unit : U'\uFFFD', text_.utf8);
        } else {
            if (set_ == Set::jis0212 || set_ == Set::jis0213_2) run_ += '\x8F';
            run_ += static_cast<char>(first | 0x80);
            run_ += static_cast<char>(second | 0x80);
        }
        Take(2);
    }

    void Damage() {
        EndRun();
        text_.utf8 += replacement_sign;
        ++text_.errors;
        Take(1);
    }

    // What the system converts waits in the EUC form of its set.
    void EndRun() {
        if (run_.empty()) return;
        char const* const name = set_ == Set::jis0212   ? "EUC-JP"
                                 : set_ == Set::gb2312  ? "GB2312"
                                 : set_ == Set::ksc5601 ? "EUC-KR"
                                                        : "EUC-JISX0213";
        if (auto const converted = FromIconv(name, run_)) {
            text_.utf8 += converted->utf8;
            text_.errors += converted->errors;
        }
        run_.clear();
    }

    std::string_view rest_;
    bool const has_escapes_;
    DecodedText text_;
    Set set_ = Set::ascii, upper_ = Set::ascii;
    bool shifted_ = false;
    std::string run_;
};

}  // namespace

bool HasJisEscapes(std::string_view bytes) {
    for (std::size_t at = 0; (at = bytes.find(escape, at)) != bytes.npos; ++at) {
        std::string_view const behind = bytes.substr(at + 1, 2);
        if (behind.starts_with('$') || behind == "(I" || behind == "(J") return true;
    }
    return false;
}

DecodedText FromJis(std::string_view bytes) { return JisReader(bytes).Read(); }

}  // namespace engine
