// The guess of a kanji code, and every conversion among Shift-JIS, EUC-JP, JIS and UTF-8.

#include "fuzz_target.h"
#include "shift_jis.h"
#include "tests/text/conversions.h"

namespace {

void EveryResultFits(std::string const& text) {
    for (Conversion const& conversion : conversions) {
        std::string const result = Converted(conversion, text);
        fuzz::Check(result.size() < conversion.size(text.size()), "the result fits the size that is told");
        fuzz::Check(Converted(conversion, text) == result, "a conversion keeps no state");
    }
}

void ClassGivesTheSame(std::string const& text) {
    fuzz::ExactText const in(text);
    KCodeC codec;
    fuzz::Check(codec.sjtojis7(in, 1) == Converted("sjtojis7 full", text), "sjtojis7");
    fuzz::Check(codec.ujtojis7(in, 0) == Converted("ujtojis7", text), "ujtojis7");
    fuzz::Check(codec.jis7touj(in) == Converted("jis7touj", text), "jis7touj");
    fuzz::Check(codec.jis7tosj(in) == Converted("jis7tosj", text), "jis7tosj");
    fuzz::Check(codec.ujtosj(in) == Converted("ujtosj", text), "ujtosj");
    fuzz::Check(codec.sjtouj(in) == Converted("sjtouj", text), "sjtouj");
}

void GuessDecides(std::string const& text) {
    fuzz::ExactText const in(text);
    KCodeC codec;
    int const code = codec.CheckCode(reinterpret_cast<unsigned char const*>(static_cast<char const*>(in)));
    fuzz::Check(code >= KCodeC::code_ascii && code <= KCodeC::code_euc, "the guess is a known code");
    if (std::none_of(text.begin(), text.end(), [](char c) { return c < ' ' || c == '\x7F'; }))
        fuzz::Check(code == KCodeC::code_ascii, "printable ASCII is ASCII");
    fuzz::Check(codec.ToSJIS(in) == (code == KCodeC::code_jis   ? Converted("jis7tosj", text)
                                     : code == KCodeC::code_euc ? Converted("ujtosj", text)
                                                                : text),
                "ToSJIS follows the guess");
}

void WholeCharactersComeBack(std::string const& text) {
    fuzz::Check(Converted("jis7tosj", Converted("sjtojis7", text)) == text, "there and back by JIS");
    fuzz::Check(Converted("ujtosj", Converted("sjtouj", text)) == text, "there and back by EUC-JP");
    fuzz::Check(Converted("jis7tosj", Converted("header 30", text)) == text, "there and back by header JIS");
    for (char const c : Converted("sjtojis7", text)) fuzz::Check((c & 0x80) == 0, "JIS has seven bits");
}

void Utf8IsStable(std::string const& text) {
    std::string const utf8 = Converted("sjtoutf8", text);
    fuzz::Check(Converted("sjtoutf8", Converted("utf8tosj", utf8)) == utf8,
                "what has a form in UTF-8 keeps it");
    KCodeC codec;
    std::unique_ptr<char, void (*)(void*)> const block(
        const_cast<char*>(codec.sjtoutf8(fuzz::ExactText(text))), std::free);
    fuzz::Check(utf8 == block.get(), "both forms of sjtoutf8 give the same");
}

}  // namespace

void FuzzOne(std::string_view bytes) {
    std::string const text = fuzz::TextOf(bytes);
    EveryResultFits(text);
    ClassGivesTheSame(text);
    GuessDecides(text);
    Utf8IsStable(text);
    WholeCharactersComeBack(fuzz::WholeCharacters(bytes));
}
