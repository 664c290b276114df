#include "tessaly/text/kcodec.h"

#include <cstdlib>
#include <cstring>
#include <functional>
#include <string_view>

#include "platform/view_of.h"
#include "tessaly/text/kanji_codes.h"
#include "text/code_guess.h"
#include "text/unicode_codes.h"

namespace {

using platform::ViewOf;

// A block of a conversion with UTF-8 that wastes more than this is shrunk.
constexpr std::size_t tolerated_waste = 4096;

using UnicodeConversion = char* (*)(std::string_view, char*) noexcept;

// The result as a block of its own; `size` is its upper limit. Null without memory.
char* ConvertToBlock(UnicodeConversion convert, std::string_view text, std::size_t size) noexcept {
    auto* const block = static_cast<char*>(std::malloc(size));
    if (!block) return nullptr;
    char* const end = convert(text, block);
    *end = '\0';
    auto const used = static_cast<std::size_t>(end - block) + 1;
    if (size - used <= tolerated_waste) return block;
    void* const fitted = std::realloc(block, used);
    return fitted ? static_cast<char*>(fitted) : block;
}

char const* ConvertTo(char* out, UnicodeConversion convert, std::string_view text,
                      std::size_t size) noexcept {
    if (!out) return nullptr;
    std::less<char const*> const before;
    bool const apart = before(text.data() + text.size(), out) || before(out + size - 1, text.data());
    if (apart) {
        *convert(text, out) = '\0';
    } else if (char* const block = ConvertToBlock(convert, text, size)) {
        std::strcpy(out, block);
        std::free(block);
    } else {
        *out = '\0';
    }
    return out;
}

char const* CopyTo(char* out, char const* result) { return out ? std::strcpy(out, result) : nullptr; }

}  // namespace

KCodeC::KCodeC() = default;
KCodeC::KCodeC(KCodeC const&) {}
KCodeC& KCodeC::operator=(KCodeC const&) { return *this; }
KCodeC::~KCodeC() = default;

int KCodeC::CheckCode(unsigned char const* text) {
    std::string_view const bytes = ViewOf(reinterpret_cast<char const*>(text));
    switch (text::FindControlSigns(bytes)) {
        case text::ControlSigns::none: return code_ascii;
        case text::ControlSigns::jis: return code_jis;
        case text::ControlSigns::binary: return code_binary;
        case text::ControlSigns::eight_bit_or_escape: break;
    }
    std::size_t const sjis = text::CountSjisBytes(bytes);
    std::size_t const euc = text::CountEucBytes(bytes);
    if (sjis == euc) return code_ascii;
    return sjis > euc ? code_sjis : code_euc;
}

char const* KCodeC::ToEUC(char const* text) {
    switch (CheckCode(reinterpret_cast<unsigned char const*>(text))) {
        case code_jis: return jis7touj(text);
        case code_sjis: return sjtouj(text);
        default: return KeepCopy(text);
    }
}

char const* KCodeC::ToSJIS(char const* text) {
    switch (CheckCode(reinterpret_cast<unsigned char const*>(text))) {
        case code_jis: return jis7tosj(text);
        case code_euc: return ujtosj(text);
        default: return KeepCopy(text);
    }
}

char const* KCodeC::ToJIS(char const* text, int hanToZen) {
    switch (CheckCode(reinterpret_cast<unsigned char const*>(text))) {
        case code_sjis: return sjtojis7(text, hanToZen);
        case code_euc: return ujtojis7(text, hanToZen);
        default: return KeepCopy(text);
    }
}

// The old result is freed only when the new one exists, since it may be the source.
template <class Convert>
char const* KCodeC::Keep(std::size_t size, Convert convert) {
    auto result = std::make_unique_for_overwrite<char[]>(size);
    convert(result.get());
    result_ = std::move(result);
    return result_.get();
}

char const* KCodeC::KeepCopy(char const* text) {
    std::string_view const bytes = ViewOf(text);
    return Keep(bytes.size() + 1, [bytes](char* out) { out[bytes.copy(out, bytes.size())] = '\0'; });
}

char const* KCodeC::sjtojis7(char const* text, int hanToZen) {
    return Keep(SizeOfSjToJis7(ViewOf(text).size()), [=](char* out) { sjtojis7_core(out, text, hanToZen); });
}
char const* KCodeC::ujtojis7(char const* text, int hanToZen) {
    return Keep(SizeOfUjToJis7(ViewOf(text).size()), [=](char* out) { ujtojis7_core(out, text, hanToZen); });
}
char const* KCodeC::jis7touj(char const* text) {
    return Keep(SizeOfJis7ToUj(ViewOf(text).size()), [=](char* out) { jis7touj_core(out, text); });
}
char const* KCodeC::ujtosj(char const* text) {
    return Keep(SizeOfUjToSj(ViewOf(text).size()), [=](char* out) { ujtosj_core(out, text); });
}
char const* KCodeC::sjtouj(char const* text) {
    return Keep(SizeOfSjToUj(ViewOf(text).size()), [=](char* out) { sjtouj_core(out, text); });
}
char const* KCodeC::jis7tosj(char const* text) {
    return Keep(SizeOfJis7ToSj(ViewOf(text).size()), [=](char* out) { jis7tosj_core(out, text); });
}

char const* KCodeC::sjtojis7(char* out, char const* text, int hanToZen) {
    return CopyTo(out, sjtojis7(text, hanToZen));
}
char const* KCodeC::ujtojis7(char* out, char const* text, int hanToZen) {
    return CopyTo(out, ujtojis7(text, hanToZen));
}
char const* KCodeC::jis7touj(char* out, char const* text) { return CopyTo(out, jis7touj(text)); }
char const* KCodeC::ujtosj(char* out, char const* text) { return CopyTo(out, ujtosj(text)); }
char const* KCodeC::sjtouj(char* out, char const* text) { return CopyTo(out, sjtouj(text)); }
char const* KCodeC::jis7tosj(char* out, char const* text) { return CopyTo(out, jis7tosj(text)); }

char const* KCodeC::utf8tosj(char const* text) {
    return text ? ConvertToBlock(text::SjFromUtf8, text, SizeOfUtf8ToSj(std::strlen(text))) : nullptr;
}
char const* KCodeC::sjtoutf8(char const* text) {
    return text ? ConvertToBlock(text::Utf8FromSj, text, SizeOfSjToUtf8(std::strlen(text))) : nullptr;
}
char const* KCodeC::utf8tosj(char* out, char const* text) {
    return ConvertTo(out, text::SjFromUtf8, ViewOf(text), SizeOfUtf8ToSj(ViewOf(text).size()));
}
char const* KCodeC::sjtoutf8(char* out, char const* text) {
    return ConvertTo(out, text::Utf8FromSj, ViewOf(text), SizeOfSjToUtf8(ViewOf(text).size()));
}
