#pragma once

#include <iconv.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

// Code page 932 by a conversion of its own, to test the tables and the multi-byte functions against.
class IconvPeer {
  public:
    IconvPeer(char const* to, char const* from) : handle_(iconv_open(to, from)) {}
    ~IconvPeer() { iconv_close(handle_); }
    IconvPeer(IconvPeer const&) = delete;
    IconvPeer& operator=(IconvPeer const&) = delete;

    // false when the text does not go over whole.
    bool Convert(std::string text, std::string& result) {
        iconv(handle_, nullptr, nullptr, nullptr, nullptr);
        result.resize(text.size() * 4);
        char *in = text.data(), *out = result.data();
        std::size_t in_left = text.size(), out_left = result.size();
        bool const whole = iconv(handle_, &in, &in_left, &out, &out_left) != static_cast<std::size_t>(-1);
        result.resize(result.size() - out_left);
        return whole && in_left == 0;
    }

  private:
    iconv_t handle_;
};

inline std::string BytesOf(unsigned code) {
    std::string bytes;
    if (code > 0xFF) bytes += static_cast<char>(code >> 8);
    return bytes += static_cast<char>(code);
}

struct Codepage932Character {
    std::string bytes;
    unsigned code;
    char16_t unit;
};

// Every character of code page 932 but NUL, in the order of the codes.
inline std::vector<Codepage932Character> AllCharacters() {
    IconvPeer to_utf16("UTF-16LE", "CP932");
    std::vector<Codepage932Character> all;
    for (unsigned code = 1; code <= 0xFFFF; ++code) {
        if (code == 0x100) code = 0x8140;
        std::string unit;
        if (!to_utf16.Convert(BytesOf(code), unit) || unit.size() != 2) continue;
        auto const low = static_cast<unsigned char>(unit[0]), high = static_cast<unsigned char>(unit[1]);
        all.push_back({BytesOf(code), code, static_cast<char16_t>(high << 8 | low)});
    }
    return all;
}
