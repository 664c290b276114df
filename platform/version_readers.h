#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

class CFile;

// The two forms in which a program carries its version information. Both readers take any bytes: one that has
// another form, is cut or points outside of the file gives nothing, at a cost that does not grow with the
// file.
namespace platform {

// The value of an item in code page 932; nothing when the file has no such block or the block no such item.
std::optional<std::string> ItemOfElf(CFile& file, std::string_view item);
std::optional<std::string> ItemOfPortableExecutable(CFile& file, std::string_view item);

// `size` bytes at `offset` of a file; fewer where it ends.
std::string ReadAt(CFile& file, std::uint64_t offset, std::size_t size);

// The unsigned number of that type at an offset, lowest byte first; 0 where the bytes end before.
template <class Number>
Number NumberAt(std::string_view bytes, std::size_t at) noexcept {
    if (at > bytes.size() || bytes.size() - at < sizeof(Number)) return 0;
    std::uint64_t number = 0;
    for (std::size_t i = sizeof(Number); i > 0; --i)
        number = number << 8 | static_cast<unsigned char>(bytes[at + i - 1]);
    return static_cast<Number>(number);
}

// The bytes from an offset to the end; empty behind the end.
inline std::string_view From(std::string_view bytes, std::size_t at) noexcept {
    return bytes.substr(at < bytes.size() ? at : bytes.size());
}

constexpr std::size_t RoundedUp(std::size_t size, std::size_t step) noexcept {
    return (size + step - 1) / step * step;
}

}  // namespace platform
