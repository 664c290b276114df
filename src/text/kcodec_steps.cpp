#include <cstdlib>
#include <cstring>

#include "tessaly/platform/utf8.h"
#include "tessaly/text/kcodec.h"
#include "text/unicode_codes.h"

// The conversions with UTF-8 by way of 16-bit units, one step after the other.
namespace {

// A zeroed block; null without memory.
template <class Item>
Item* NewBlock(std::size_t items) noexcept {
    return static_cast<Item*>(std::calloc(items, sizeof(Item)));
}

int UnitCount(unsigned short const* text) noexcept {
    int count = 0;
    while (text[count]) ++count;
    return count;
}

}  // namespace

unsigned short* KCodeC::utf8toutf16be(char const* text, int hostOrder) {
    if (!text) return nullptr;
    int const length = static_cast<int>(std::strlen(text));
    int const count = utf8toutf16be(nullptr, text, length, 1, hostOrder);
    auto* const units = NewBlock<unsigned short>(static_cast<std::size_t>(count) + 1);
    if (units) utf8toutf16be(units, text, length, 0, hostOrder);
    return units;
}

int KCodeC::utf8toutf16be(unsigned short* out, char const* text, int length, int countOnly, int hostOrder) {
    text::ByteRange in(std::string_view(text, static_cast<std::size_t>(length)));
    int count = 0;
    for (std::uint16_t unit = 0; !in.Empty() && text::TakeUnit(in, unit); ++count) {
        if (countOnly) continue;
        out[count] = static_cast<unsigned short>(hostOrder ? unit : unit << 8 | unit >> 8);
    }
    return count;
}

char* KCodeC::utf16betosj(unsigned short const* text) {
    if (!text) return nullptr;
    if (text::IsByteOrderMark(*text)) ++text;
    auto* const block = NewBlock<char>(2 * static_cast<std::size_t>(UnitCount(text)) + 1);
    if (!block) return nullptr;
    for (char* out = block; *text; ++text) out = text::PutCode(text::SjCodeOfUnit(*text), out);
    return block;
}

unsigned short* KCodeC::sjtoutf16be(char const* text) {
    if (!text) return nullptr;
    auto* const units = NewBlock<unsigned short>(std::strlen(text) + 1);
    if (!units) return nullptr;
    text::ByteRange in(text);
    for (unsigned short* out = units; !in.Empty() && text::TakeSjUnit(in, *out); ++out) continue;
    return units;
}

char* KCodeC::utf16betoutf8(unsigned short const* text) {
    if (!text) return nullptr;
    int const length = UnitCount(text);
    int const count = utf16betoutf8(nullptr, text, length, 1);
    auto* const block = NewBlock<char>(static_cast<std::size_t>(count) + 3);
    if (block) utf16betoutf8(block, text, length, 0);
    return block;
}

int KCodeC::utf16betoutf8(char* out, unsigned short const* text, int length, int countOnly) {
    int count = 0;
    for (int i = 0; i < length; ++i) {
        char bytes[3];
        auto const size = static_cast<int>(platform::PutUtf8(text[i], bytes) - bytes);
        if (!countOnly) std::memcpy(out + count, bytes, static_cast<std::size_t>(size));
        count += size;
    }
    return count;
}
