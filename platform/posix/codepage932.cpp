#include <iconv.h>

#include <bit>
#include <cstddef>

#include "platform/codepage932_tables.h"
#include "tessaly/platform/mbcs.h"

namespace platform {
namespace {

constexpr char const* code_page = "CP932";
constexpr char const* utf16 = std::endian::native == std::endian::little ? "UTF-16LE" : "UTF-16BE";

class Converter {
  public:
    Converter(char const* to, char const* from) noexcept : handle_(iconv_open(to, from)) {}
    ~Converter() {
        if (IsOpen()) iconv_close(handle_);
    }
    Converter(Converter const&) = delete;
    Converter& operator=(Converter const&) = delete;
    bool IsOpen() const noexcept { return handle_ != reinterpret_cast<iconv_t>(-1); }
    // Bytes of one converted character; 0 if it has no form on the other side.
    std::size_t Convert(char* in, std::size_t in_size, char* out, std::size_t out_size) noexcept {
        std::size_t const room = out_size;
        bool const whole = iconv(handle_, &in, &in_size, &out, &out_size) != static_cast<std::size_t>(-1);
        return whole && in_size == 0 ? room - out_size : 0;
    }

  private:
    iconv_t handle_;
};

void FillUnicode(Converter& from_code_page, Codepage932Tables& tables) noexcept {
    auto const fill = [&](unsigned code) {
        char bytes[] = {static_cast<char>(code >> 8), static_cast<char>(code)};
        std::size_t const size = code > 0xFF ? 2 : 1;
        std::uint16_t unit = 0;
        if (from_code_page.Convert(bytes + 2 - size, size, reinterpret_cast<char*>(&unit), sizeof unit) == 2)
            tables.unicode_of[code] = unit;
    };
    for (unsigned first = 0x80; first <= 0xFF; ++first) {
        if (!IsLeadByte(static_cast<unsigned char>(first))) {
            fill(first);
            continue;
        }
        for (unsigned second = 0x40; second <= 0xFC; ++second) fill(first << 8 | second);
    }
}

void FillCodes(Converter& to_code_page, Codepage932Tables& tables) noexcept {
    for (unsigned unit = 0x80; unit <= 0xFFFF; ++unit) {
        if (unit >= 0xD800 && unit <= 0xDFFF) continue;  // surrogates are no characters alone
        auto value = static_cast<std::uint16_t>(unit);
        unsigned char bytes[2] = {};
        std::size_t const size = to_code_page.Convert(reinterpret_cast<char*>(&value), sizeof value,
                                                      reinterpret_cast<char*>(bytes), sizeof bytes);
        if (size == 1) tables.code_of[unit] = bytes[0];
        if (size == 2) tables.code_of[unit] = static_cast<std::uint16_t>(bytes[0] << 8 | bytes[1]);
    }
}

}  // namespace

void FillCodepage932(Codepage932Tables& tables) noexcept {
    Converter from_code_page(utf16, code_page);
    if (from_code_page.IsOpen()) FillUnicode(from_code_page, tables);
    Converter to_code_page(code_page, utf16);
    if (to_code_page.IsOpen()) FillCodes(to_code_page, tables);
}

}  // namespace platform
