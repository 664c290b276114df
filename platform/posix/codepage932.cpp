#include <iconv.h>

#include <bit>
#include <vector>

#include "platform/codepage932_tables.h"
#include "platform/mbcs.h"

namespace platform {
namespace {

constexpr const char* utf16 = std::endian::native == std::endian::little ? "UTF-16LE" : "UTF-16BE";

class Converter {
  public:
    Converter(const char* to, const char* from) noexcept : handle_(iconv_open(to, from)) {}
    ~Converter() {
        if (IsOpen()) iconv_close(handle_);
    }
    Converter(const Converter&) = delete;
    Converter& operator=(const Converter&) = delete;
    bool IsOpen() const noexcept { return handle_ != reinterpret_cast<iconv_t>(-1); }
    // Converts up to the first character that has no form on the other side; moves both places forward.
    void Run(char*& in, const char* in_end, char*& out, const char* out_end) noexcept {
        auto in_left = static_cast<std::size_t>(in_end - in);
        auto out_left = static_cast<std::size_t>(out_end - out);
        iconv(handle_, &in, &in_left, &out, &out_left);
    }

  private:
    iconv_t handle_;
};

// All codes of one size in one run: `codes` holds them, `input` their bytes. A code that the conversion stops at has
// no character and is stepped over.
void FillFromCodes(Converter& converter, const std::vector<std::uint16_t>& codes, std::string& input,
                   Codepage932Tables& tables) {
    const std::size_t size = input.size() / codes.size();
    std::vector<std::uint16_t> units(codes.size());
    char* in = input.data();
    const char* const in_end = in + input.size();
    while (in < in_end) {
        std::size_t index = static_cast<std::size_t>(in - input.data()) / size;
        char* out = reinterpret_cast<char*>(units.data());
        const char* const out_start = out;
        converter.Run(in, in_end, out, reinterpret_cast<char*>(units.data() + units.size()));
        for (std::ptrdiff_t unit = 0; unit < (out - out_start) / 2; ++unit)
            tables.unicode_of[codes[index++]] = units[unit];
        in = input.data() + (index + 1) * size;
    }
}

}  // namespace
