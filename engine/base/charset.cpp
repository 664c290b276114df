#include "engine/base/charset.h"

#include <iconv.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <optional>

#include "engine/base/crossing.h"
#include "engine/base/lower_case.h"

namespace engine {
namespace {

constexpr auto npos = std::string_view::npos;
constexpr std::string_view replacement = "\uFFFD";
constexpr char escape = '\x1B';

struct Text {
    std::string utf8;
    std::size_t errors = 0;
};

// ---- by iconv

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
    void Append(std::string_view bytes, Text& text) {
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
            text.utf8 += replacement;
            ++text.errors;
            ++in;
            --left;
        }
    }

  private:
    iconv_t handle_;
};

std::optional<Text> FromIconv(char const* name, std::string_view bytes) {
    Converter converter(name);
    if (!converter) return {};
    Text text;
    text.utf8.reserve(bytes.size());
    converter.Append(bytes, text);
    return text;
}

// ---- Unicode

Text FromUtf8(std::string_view bytes) {
    if (bytes.starts_with(byte_order_mark)) bytes.remove_prefix(byte_order_mark.size());
    Text text;
    text.utf8.reserve(bytes.size());
    for (std::size_t at = 0; at < bytes.size();) {
        std::size_t const begin = at;
        if (platform::TakeUtf8(bytes, at) != platform::not_a_character) {
            text.utf8 += bytes.substr(begin, at - begin);
            continue;
        }
        while (at < bytes.size() && (bytes[at] & 0xC0) == 0x80) ++at;  // what is left of the character
        text.utf8 += replacement;
        ++text.errors;
    }
    return text;
}

// Without a byte order mark, the byte of each pair that is more often zero is the high one: Latin letters and
// line ends stand in every text.
char const* OrderOfUtf16(std::string_view bytes) {
    if (bytes.starts_with("\xFE\xFF")) return "UTF-16BE";
    if (bytes.starts_with("\xFF\xFE")) return "UTF-16LE";
    std::size_t zeros[2] = {};
    for (std::size_t at = 0; at < bytes.size(); ++at) zeros[at % 2] += bytes[at] == 0;
    return zeros[1] > zeros[0] ? "UTF-16LE" : "UTF-16BE";
}

Text FromUtf16(std::string_view bytes) {
    char const* const order = OrderOfUtf16(bytes);
    if (bytes.starts_with("\xFE\xFF") || bytes.starts_with("\xFF\xFE")) bytes.remove_prefix(2);
    return FromIconv(order, bytes).value_or(Text{});
}

// ---- Shift_JIS and the sets of ISO 2022

Text FromCp932(std::string_view bytes) {
    Text text{Out(bytes), 0};
    for (std::size_t at = 0; (at = text.utf8.find(replacement, at)) != npos; at += replacement.size())
        ++text.errors;
    return text;
}

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
    explicit JisReader(std::string_view bytes) : rest_(bytes) { text_.utf8.reserve(bytes.size() * 3 / 2); }

    Text Read() {
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
            Damage();
        } else if (shifted_ || set_ == Set::kana) {
            TakeKana(first);
        } else {
            TakePair(first);
        }
    }

    void TakeKana(unsigned char code) {
        constexpr char32_t kana_of_0x21 = 0xFF61;
        if (code > 0x5F) return Damage();
        AppendUtf8(kana_of_0x21 + (code - 0x21u), text_.utf8);
        Take(1);
    }

    void TakePair(unsigned char first) {
        auto const second = static_cast<unsigned char>(rest_.size() > 1 ? rest_[1] : 0);
        if (second < 0x21 || second > 0x7E) return Damage();
        std::uint16_t const unit =
            set_ == Set::jis0208 ? platform::UnicodeOf(Cp932OfJis(first, second)) : std::uint16_t{0};
        if (set_ != Set::jis0208 && set_ != run_set_) EndRun();
        if (set_ == Set::jis0208) {
            if (unit == 0) ++text_.errors;
            AppendUtf8(unit ? unit : U'\uFFFD', text_.utf8);
        } else {
            run_set_ = set_;
            if (set_ == Set::jis0212 || set_ == Set::jis0213_2) run_ += '\x8F';
            run_ += static_cast<char>(first | 0x80);
            run_ += static_cast<char>(second | 0x80);
        }
        Take(2);
    }

    void Damage() {
        EndRun();
        text_.utf8 += replacement;
        ++text_.errors;
        Take(1);
    }

    // Characters of a set that the system converts wait in its EUC form.
    void EndRun() {
        if (run_.empty()) return;
        char const* const name = run_set_ == Set::jis0212   ? "EUC-JP"
                                 : run_set_ == Set::gb2312  ? "GB2312"
                                 : run_set_ == Set::ksc5601 ? "EUC-KR"
                                                            : "EUC-JISX0213";
        if (auto const converted = FromIconv(name, run_)) {
            text_.utf8 += converted->utf8;
            text_.errors += converted->errors;
        }
        run_.clear();
    }

    std::string_view rest_;
    Text text_;
    Set set_ = Set::ascii, upper_ = Set::ascii, run_set_ = Set::ascii;
    bool shifted_ = false;
    std::string run_;
};

bool IsSevenBit(std::string_view bytes) {
    return std::none_of(bytes.begin(), bytes.end(),
                        [](char c) { return static_cast<unsigned char>(c) > 0x7F; });
}

// Whether there is an escape that only ISO-2022-JP writes.
bool HasJisEscapes(std::string_view bytes) {
    for (std::size_t at = 0; (at = bytes.find(escape, at)) != npos; ++at) {
        std::string_view const behind = bytes.substr(at + 1, 2);
        if (behind.starts_with('$') || behind == "(I" || behind == "(J") return true;
    }
    return false;
}

// ---- labels

struct Charset {
    enum class Kind { guessed, utf8, utf16, jis, cp932, several_bytes, one_byte } kind;
    std::string name{};  // for iconv
};

constexpr std::pair<std::string_view, Charset::Kind> own_charsets[] = {
    {"utf-8", Charset::Kind::utf8},
    {"utf8", Charset::Kind::utf8},
    {"unicode-1-1-utf-8", Charset::Kind::utf8},
    {"utf-16", Charset::Kind::utf16},
    {"utf-16le", Charset::Kind::utf16},
    {"utf-16be", Charset::Kind::utf16},
    {"unicode", Charset::Kind::utf16},
    {"ucs-2", Charset::Kind::utf16},
    {"jis", Charset::Kind::jis},
    {"csiso2022jp", Charset::Kind::jis},
    {"cp50220", Charset::Kind::jis},
    {"cp50221", Charset::Kind::jis},
    {"cp50222", Charset::Kind::jis},
    {"shift_jis", Charset::Kind::cp932},
    {"shift-jis", Charset::Kind::cp932},
    {"shiftjis", Charset::Kind::cp932},
    {"sjis", Charset::Kind::cp932},
    {"x-sjis", Charset::Kind::cp932},
    {"ms_kanji", Charset::Kind::cp932},
    {"csshiftjis", Charset::Kind::cp932},
    {"windows-31j", Charset::Kind::cp932},
    {"cswindows31j", Charset::Kind::cp932},
    {"windows-932", Charset::Kind::cp932},
    {"cp932", Charset::Kind::cp932},
    {"ms932", Charset::Kind::cp932},
    {"x-ms-cp932", Charset::Kind::cp932},
    {"us-ascii", Charset::Kind::guessed},
    {"ascii", Charset::Kind::guessed},
};

// Labels that the system does not know, or reads more strictly than the programs that write them.
constexpr std::pair<std::string_view, std::string_view> names_for_iconv[] = {
    {"euc-jp", "EUC-JP-MS"},  {"eucjp", "EUC-JP-MS"},   {"x-euc-jp", "EUC-JP-MS"},
    {"x-euc", "EUC-JP-MS"},   {"cp51932", "EUC-JP-MS"}, {"iso-8859-1", "CP1252"},
    {"iso8859-1", "CP1252"},  {"latin1", "CP1252"},     {"iso-8859-9", "CP1254"},
    {"iso-8859-11", "CP874"}, {"tis-620", "CP874"},     {"gb2312", "GB18030"},
    {"gbk", "GB18030"},       {"x-gbk", "GB18030"},     {"ks_c_5601-1987", "CP949"},
    {"euc-kr", "CP949"},      {"big5", "BIG5-HKSCS"},   {"unicode-1-1-utf-7", "UTF-7"},
};

// Families that the system converts.
constexpr std::string_view one_byte_families[] = {"iso-8859-", "iso8859-", "windows-12", "windows-874",
                                                  "cp125",     "cp8",      "koi8-",      "macintosh",
                                                  "ibm8",      "latin"};
constexpr std::string_view several_byte_families[] = {
    "euc-",        "gb18030",        "utf-7",          "utf-32", "iso-2022-kr",
    "iso-2022-cn", "shift_jisx0213", "shift_jis-2004", "hz-gb",  "johab"};

Charset CharsetNamed(std::string_view label) {
    constexpr std::size_t longest = 40;
    std::string const name = LowerCase(
        label.substr(0, std::min(label.find_first_of("* \t"), longest)));  // RFC 2231 5: charset*language
    for (auto const& [known, kind] : own_charsets)
        if (name == known) return {kind, {}};
    if (name.starts_with("iso-2022-jp") || name.starts_with("iso2022jp")) return {Charset::Kind::jis};
    for (auto const& [known, iconv_name] : names_for_iconv)
        if (name == known)
            return {iconv_name.starts_with("CP1") || iconv_name == "CP874" ? Charset::Kind::one_byte
                                                                           : Charset::Kind::several_bytes,
                    std::string(iconv_name)};
    auto const is_of = [&](std::string_view family) { return name.starts_with(family); };
    bool const plain = name.find_first_not_of("abcdefghijklmnopqrstuvwxyz0123456789-_.") == npos;
    if (plain && std::any_of(std::begin(one_byte_families), std::end(one_byte_families), is_of) &&
        Converter(name.c_str()))
        return {Charset::Kind::one_byte, name};
    if (plain && std::any_of(std::begin(several_byte_families), std::end(several_byte_families), is_of) &&
        Converter(name.c_str()))
        return {Charset::Kind::several_bytes, name};
    return {Charset::Kind::guessed, {}};
}

Text Converted(Charset const& charset, std::string_view bytes) {
    switch (charset.kind) {
        case Charset::Kind::utf8: return FromUtf8(bytes);
        case Charset::Kind::utf16: return FromUtf16(bytes);
        case Charset::Kind::jis: return JisReader(bytes).Read();
        case Charset::Kind::cp932: return FromCp932(bytes);
        case Charset::Kind::several_bytes:
        case Charset::Kind::one_byte:
            if (auto text = FromIconv(charset.name.c_str(), bytes)) return *std::move(text);
            break;
        case Charset::Kind::guessed: break;
    }
    return {std::string(bytes), 1};
}

// Every text of some length in EUC-JP has kana, whose rows are A4 and A5. In Shift_JIS these bytes are signs
// between half-width kana.
bool LooksLikeEuc(std::string_view bytes) {
    for (std::size_t at = 0; at < bytes.size(); ++at) {
        auto const byte = static_cast<unsigned char>(bytes[at]);
        if (byte < 0x80) continue;
        if (byte == 0xA4 || byte == 0xA5) return true;
        at += byte == 0x8F ? 2 : 1;
    }
    return false;
}

// What the bytes are beyond doubt; none if several are possible.
std::optional<std::string> Evident(std::string_view bytes) {
    if (IsSevenBit(bytes))
        return HasJisEscapes(bytes) ? std::optional(JisReader(bytes).Read().utf8) : std::nullopt;
    if (IsUtf8(bytes)) return FromUtf8(bytes).utf8;
    return {};
}

// Such bytes would in Shift_JIS be rare kanji with half-width kana between them.
bool IsKanaOrKanjiOfUtf8(std::string_view bytes) {
    return std::any_of(bytes.begin(), bytes.end(),
                       [](char c) { return static_cast<unsigned char>(c) >= 0xE0; }) &&
           IsUtf8(bytes);
}

}  // namespace

std::string GuessedText(std::string_view bytes) {
    if (auto evident = Evident(bytes)) return *std::move(evident);
    if (IsSevenBit(bytes)) return std::string(bytes);
    auto euc = FromIconv("EUC-JP-MS", bytes);
    Text shift_jis = FromCp932(bytes);
    if (euc && euc->errors == 0 && (shift_jis.errors > 0 || LooksLikeEuc(bytes))) return std::move(euc->utf8);
    if (shift_jis.errors == 0) return std::move(shift_jis.utf8);
    Text mixed = JisReader(bytes).Read();
    if (HasJisEscapes(bytes) && mixed.errors < shift_jis.errors) return std::move(mixed.utf8);
    Text utf8 = FromUtf8(bytes);
    if (utf8.errors < shift_jis.errors && (!euc || utf8.errors < euc->errors)) return std::move(utf8.utf8);
    if (euc && euc->errors < shift_jis.errors) return std::move(euc->utf8);
    return std::move(shift_jis.utf8);
}

std::string TextIn(std::string_view charset, std::string_view bytes) {
    Charset const named = CharsetNamed(charset);
    if (named.kind == Charset::Kind::guessed) return GuessedText(bytes);
    if (named.kind == Charset::Kind::one_byte)
        if (auto evident = Evident(bytes)) return *std::move(evident);
    if (named.kind == Charset::Kind::cp932 && IsKanaOrKanjiOfUtf8(bytes)) return FromUtf8(bytes).utf8;
    Text text = Converted(named, bytes);
    if (text.errors > 0 && named.kind != Charset::Kind::utf16) {
        std::string guessed = GuessedText(bytes);
        if (guessed.find(replacement) == npos) return guessed;
    }
    return std::move(text.utf8);
}

bool IsKnownCharset(std::string_view charset) {
    return CharsetNamed(charset).kind != Charset::Kind::guessed || charset.empty() ||
           CString(charset).CompareNoCase("us-ascii") == 0 || CString(charset).CompareNoCase("ascii") == 0;
}

}  // namespace engine
