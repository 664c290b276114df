#include "platform/codepage932.h"

#include <algorithm>
#include <cstring>

#include "platform/codepage932_tables.h"
#include "platform/mbcs.h"
#include "platform/utf8.h"

namespace platform {
namespace {

constexpr std::size_t step_size = 1024;  // bytes of input that are converted before they join the result

// Bytes of ASCII at the start of `text`.
std::size_t AsciiRun(std::string_view text) noexcept {
    std::size_t run = 0;
    for (std::uint64_t eight; text.size() - run >= sizeof eight; run += sizeof eight) {
        std::memcpy(&eight, text.data() + run, sizeof eight);
        if (eight & 0x8080808080808080U) break;
    }
    while (run < text.size() && static_cast<unsigned char>(text[run]) < 0x80) ++run;
    return run;
}

// Collects a result in steps, so that it costs one growth a step and no more room than it needs.
class Output {
  public:
    Output(std::string& result) noexcept : result_(result) {}
    ~Output() = default;
    Output(const Output&) = delete;
    Output& operator=(const Output&) = delete;
    // Room for what one character gives.
    char* Place() {
        if (end_ > room_ + sizeof room_ - 4) Flush();
        return end_;
    }
    void Advance(char* end) noexcept { end_ = end; }
    void Flush() {
        result_.append(room_, static_cast<std::size_t>(end_ - room_));
        end_ = room_;
    }
    void Append(std::string_view text) {
        Flush();
        result_.append(text);
    }

  private:
    std::string& result_;
    char room_[step_size];
    char* end_ = room_;
};

}  // namespace

Codepage932Tables::Codepage932Tables() noexcept {
    for (std::uint16_t c = 1; c < 0x80; ++c) unicode_of[c] = code_of[c] = c;
    FillCodepage932(*this);
}

const Codepage932Tables& Codepage932() noexcept {
    static const Codepage932Tables tables;
    return tables;
}

std::uint16_t UnicodeOf(std::uint16_t code) noexcept { return Codepage932().unicode_of[code]; }

std::uint16_t Cp932Of(std::uint16_t unit) noexcept { return Codepage932().code_of[unit]; }
