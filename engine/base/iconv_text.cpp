#include "engine/base/iconv_text.h"

#include <iconv.h>

#include <array>
#include <cerrno>

namespace engine {
namespace {

// A converter of the system to UTF-8. Not made for a name that the system does not know.
class Converter {
  public:
    explicit Converter(char const* name) : handle_(iconv_open("UTF-8", name)) {}
    ~Converter() {
        if (*this) iconv_close(handle_);
    }
    Converter(Converter const&) = delete;
    Converter& operator=(Converter const&) = delete;
    explicit operator bool() const { return handle_ != reinterpret_cast<iconv_t>(-1); }

    // Bytes that make no character are skipped one by one.
    void Append(std::string_view bytes, DecodedText& text) {
        iconv(handle_, nullptr, nullptr, nullptr, nullptr);
        std::array<char, 4096> block;
        char* in = const_cast<char*>(bytes.data());
        std::size_t left = bytes.size();
        for (bool flushed = false; !flushed;) {
            char* out = block.data();
            std::size_t room = block.size();
            bool const at_end = left == 0;
            std::size_t const result = at_end ? iconv(handle_, nullptr, nullptr, &out, &room)
                                              : iconv(handle_, &in, &left, &out, &room);
            int const error = result == static_cast<std::size_t>(-1) ? errno : 0;
            text.utf8.append(block.data(), block.size() - room);
            flushed = at_end && error != E2BIG;
            if (at_end || error == 0 || error == E2BIG) continue;
            text.utf8 += replacement_sign;
            ++text.errors;
            ++in;
            --left;
        }
    }

  private:
    iconv_t handle_;
};

}  // namespace

std::optional<DecodedText> FromIconv(char const* name, std::string_view bytes) {
    Converter converter(name);
    if (!converter) return {};
    DecodedText text;
    text.utf8.reserve(bytes.size());
    converter.Append(bytes, text);
    return text;
}

bool IsKnownToIconv(char const* name) { return static_cast<bool>(Converter(name)); }

}  // namespace engine
