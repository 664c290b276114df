#include "tessaly/mime/encoded_words.h"

#include <gtest/gtest.h>
#include <iconv.h>

#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <string_view>

#include "tessaly/text/kcodec.h"

using enum mime::EncodedWordMode;

namespace {

using std::string;
using Allocated = std::unique_ptr<char[]>;

string ToJis(string const& shift_jis) { return KCodeC().sjtojis7(shift_jis.c_str(), 0); }

string Encode(string const& jis) {
    char* out = nullptr;
    EXPECT_EQ(MIMEBase64EncodeForJIS(&out, jis.c_str()), 1);
    return Allocated(out).get();
}

string EncodeRuns(string const& jis) {
    Allocated const out(new char[mime::JisWordsRoom(jis.size())]);
    base64encoding(out.get(), jis.c_str());
    return out.get();
}

string Decode(string const& in) {
    Allocated const out(new char[mime::DecodedWordsRoom(in.size())]);
    MIMEbase64decoding(out.get(), in.c_str());
    char* allocated = nullptr;
    MIMEBase64DecodeForJIS(&allocated, in.c_str());
    EXPECT_STREQ(Allocated(allocated).get(), out.get());
    return out.get();
}

string DecodeMode(string const& in, int mode) {
    char* out = nullptr;
    MIMEDecodeVersion2(&out, in.c_str(), mode);
    return Allocated(out).get();
}

string DecodeParam(string const& in) {
    CString out("old");
    EXPECT_EQ(DecodeMimeHeaderParam(CString(in.c_str()), out), 1);
    return static_cast<char const*>(out);
}

// A converter of the system. A text that is not well-formed is recorded as a failure and becomes empty.
class Converter {
  public:
    Converter(char const* from, char const* to) : from_(from), handle_(iconv_open(to, from)) {}
    Converter(Converter const&) = delete;
    Converter& operator=(Converter const&) = delete;
    ~Converter() { iconv_close(handle_); }

    string operator()(string const& in) const {
        iconv(handle_, nullptr, nullptr, nullptr, nullptr);
        string out(in.size() * 4 + 16, '\0');
        char *source = const_cast<char*>(in.data()), *target = out.data();
        std::size_t source_left = in.size(), target_left = out.size();
        std::size_t const bad = iconv(handle_, &source, &source_left, &target, &target_left);
        EXPECT_NE(bad, static_cast<std::size_t>(-1)) << from_ << ": " << in;
        return source_left == 0 ? out.substr(0, out.size() - target_left) : string();
    }

  private:
    char const* const from_;
    iconv_t const handle_;
};

string PlainBase64Decode(string const& in) {
    static string const alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    EXPECT_EQ(in.size() % 4, 0U) << in;
    string out;
    unsigned bits = 0;
    int held = 0;
    for (char const c : in.substr(0, in.find('='))) {
        EXPECT_NE(alphabet.find(c), string::npos) << in;
        bits = bits << 6 | static_cast<unsigned>(alphabet.find(c));
        held += 6;
        if (held < 8) continue;
        held -= 8;
        out += static_cast<char>(bits >> held);
    }
    return out;
}

string Without(string text, std::string_view part) {
    for (std::size_t place; (place = text.find(part)) != string::npos;) text.erase(place, part.size());
    return text;
}

// A mail reader written for this test: every word is decoded alone by the system's converter, then the folds
// are removed. `longest` becomes the longest line that holds a word.
string ReadHeader(string const& header, Converter const& convert, std::size_t& longest) {
    string const start = "=?iso-2022-jp?B?";
    string out;
    longest = 0;
    for (std::size_t line = 0, end; line < header.size(); line = end + 2) {
        end = std::min(header.find("\r\n", line), header.size());
        if (header.substr(line, end - line).find(start) != string::npos)
            longest = std::max(longest, end - line);
    }
    for (std::size_t place = 0;;) {
        std::size_t const word = header.find(start, place);
        out += Without(header.substr(place, word - place), "\r\n\t");
        if (word == string::npos) return out;
        std::size_t const text = word + start.size(), end = header.find("?=", text);
        string const jis = PlainBase64Decode(header.substr(text, end - text));
        EXPECT_TRUE(jis.starts_with("\x1B$B") || jis.starts_with("\x1B(I")) << header;
        EXPECT_TRUE(jis.ends_with("\x1B(B")) << header;
        out += convert(jis);
        place = end + 2;
    }
}

class RandomText {
  public:
    explicit RandomText(unsigned seed) : random_(seed) {}
    unsigned Below(unsigned limit) { return static_cast<unsigned>(random_()) % limit; }
    // Kanji rows 16 to 46 of JIS X 0208 have a character in every cell.
    string Kanji(unsigned count) {
        string out;
        for (; count > 0; --count) {
            unsigned const row = 16 + Below(31), cell = 1 + Below(94);
            out += static_cast<char>(0x81 + (row - 1) / 2);
            unsigned const second = row % 2 ? cell + 0x3F + (cell > 63) : cell + 0x9E;
            out += static_cast<char>(second);
        }
        return out;
    }
    string Kana(unsigned count) {
        string out;
        for (; count > 0; --count) out += static_cast<char>(0xA1 + Below(63));
        return out;
    }
    string Ascii(unsigned count) {
        string out;
        for (; count > 0; --count) out += static_cast<char>(Below(12) == 0 ? '\t' : ' ' + Below(95));
        return out;
    }

  private:
    std::mt19937 random_;
};

TEST(HeaderEncoder, KnownValues) {
    string const long_ascii(300, 'x'), a41(41, 'a'), a40(40, 'a');
    const struct {
        string in, out;
    } rows[] = {
        {"", ""},
        {"plain text", "plain text"},
        {long_ascii, long_ascii},
        {ToJis("あ"), "=?iso-2022-jp?B?GyRCJCIbKEI=?="},
        {ToJis("Re: あ ok"), "Re: =?iso-2022-jp?B?GyRCJCIbKEI=?= ok"},
        {a40 + ToJis("あ"), a40 + "=?iso-2022-jp?B?GyRCJCIbKEI=?="},
        {a41 + ToJis("あ"), a41 + "\r\n\t=?iso-2022-jp?B?GyRCJCIbKEI=?="},
        {ToJis("あ") + a40, "=?iso-2022-jp?B?GyRCJCIbKEI=?=" + a40},
        {ToJis("あ") + a41, "=?iso-2022-jp?B?GyRCJCIbKEI=?=\r\n\t" + a41},
        {ToJis("あいうえおかきくけこさしすせそた"),
         "=?iso-2022-jp?B?GyRCJCIkJCQmJCgkKiQrJC0kLyQxJDMkNSQ3JDkkOyQ9JD8bKEI=?="},
        {ToJis("あいうえおかきくけこさしすせそたち"),
         "=?iso-2022-jp?B?GyRCJCIkJCQmJCgkKiQrJC0kLyQxJDMkNSQ3JDkkOyQ9JD8bKEI=?=\r\n\t=?iso-2022-jp?B?"
         "GyRCJEEbKEI=?="},
        // A run that just fills the tail of a word on a line of its own is followed by a word with no
        // characters.
        {a41 + ToJis("あいうえおかきくけこさしすせそ"),
         a41 + "\r\n\t=?iso-2022-jp?B?GyRCJCIkJCQmJCgkKiQrJC0kLyQxJDMkNSQ3JDkkOyQ9GyhC?=\r\n\t=?iso-2022-jp?"
               "B?GyRCGyhC?="},
        {"\x1B$@$\"\x1B(J-", "=?iso-2022-jp?B?GyRAJCIbKEI=?=-"}};
    for (auto const& row : rows) EXPECT_EQ(Encode(row.in), row.out) << row.in;
}

TEST(HeaderEncoder, RefusesWrongCalls) {
    char held[] = "held", *out = held;
    EXPECT_EQ(MIMEBase64EncodeForJIS(&out, "a"), 0);
    EXPECT_EQ(out, held);
    out = nullptr;
    EXPECT_EQ(MIMEBase64EncodeForJIS(&out, nullptr), 0);
    EXPECT_EQ(out, nullptr);
    EXPECT_EQ(MIMEBase64EncodeForJIS(nullptr, "a"), 0);
}

// Any mixture: no line with a word is too long, every word can be decoded alone, and the decoded text is the
// same.
TEST(HeaderEncoder, EveryMixtureComesBack) {
    Converter const jis("ISO-2022-JP", "UTF-8"), jis_with_kana("ISO-2022-JP-3", "UTF-8"),
        shift_jis("CP932", "UTF-8");
    RandomText random(5);
    for (int round = 0; round < 12000; ++round) {
        bool const with_kana = round % 3 == 0;
        string text;
        for (unsigned piece = random.Below(7); piece > 0; --piece) {
            unsigned const size = random.Below(random.Below(5) == 0 ? 90 : 9);
            unsigned const kind = random.Below(with_kana ? 3 : 2);
            text += kind == 0 ? random.Ascii(size) : kind == 1 ? random.Kanji(size) : random.Kana(size);
        }
        string const header = Encode(ToJis(text));
        std::size_t longest = 0;
        EXPECT_EQ(ReadHeader(header, with_kana ? jis_with_kana : jis, longest), shift_jis(text));
        EXPECT_LE(longest, mime::header_line_limit) << header;
        EXPECT_EQ(Without(Decode(header), "\r\n\t"), text) << header;
        if (HasFailure()) break;
    }
}

// Folds in the value begin lines of their own; a TAB inside the text does not.
TEST(HeaderEncoder, MeasuresTheRealLine) {
    string const a30(30, 'a'), word = "=?iso-2022-jp?B?GyRCJCIbKEI=?=";
    EXPECT_EQ(Encode(a30 + "\t" + a30 + ToJis("あ")), a30 + "\t" + a30 + "\r\n\t" + word);
    EXPECT_EQ(Encode(a30 + "\r\n\t" + a30 + ToJis("あ")), a30 + "\r\n\t" + a30 + word);
}

// Escapes, halves of characters and hostile bytes in any order: nothing is written past the allocated room
// (the address sanitizer checks), and the time is linear.
TEST(HeaderEncoder, HostileText) {
    char const* const parts[] = {"\x1B$B", "\x1B$@", "\x1B(B",  "\x1B(J", "\x1B(I", "\x1B", "\x1B$",
                                 "\x1B(",  "\x1B(@", "\x1B$(D", "$\"",    "$",      "\xFF", "a",
                                 "\t",     "\r\n\t", "\x0E",    "B",      "(B"};
    RandomText random(6);
    for (int round = 0; round < 30000; ++round) {
        string in;
        for (unsigned left = random.Below(30); left > 0; --left) in += parts[random.Below(std::size(parts))];
        string const header = Encode(in);
        EncodeRuns(in);
        EXPECT_LE(Decode(in).size(), in.size());
        Decode(header);
    }
    for (char const* const part : parts) {
        string in;
        for (int i = 0; i < 60000; ++i) in += part;
        Decode(Encode(in));
        EncodeRuns(in);
    }
    EXPECT_EQ(Encode("\x1B$B$\"$"), "=?iso-2022-jp?B?GyRCJCIbKEI=?=");
    EXPECT_EQ(Encode("\x1B$B$\"$\x1B(Bz"), "=?iso-2022-jp?B?GyRCJCIbKEI=?=z");
    EXPECT_EQ(Encode("\x1B$Bz\x1B.A"), "=?iso-2022-jp?B?GyRCGyhC?=\x1B.A");
}

TEST(RunEncoder, EveryPlaceOfTheClosingEscape) {
    const struct {
        string in, out;
    } rows[] = {{"", ""},
                {"a.txt", "a.txt"},
                {"\x1B(Ba\x1B(B", "a"},
                {"\x1B$B\x1B(B", "=?ISO-2022-JP?B?GyRCGyhC?="},
                {"\x1B$B$\"\x1B(B", "=?ISO-2022-JP?B?GyRCJCIbKEI=?="},
                {"\x1B(Ja\x1B(Bb", "=?ISO-2022-JP?B?GyhKYRsoQg==?=\r\n\tb"},
                {"\x1B(Jabc\x1B(B\x1B$B$\"\x1B(B",
                 "=?ISO-2022-JP?B?GyhKYWJjGyhC?=\r\n\t=?ISO-2022-JP?B?GyRCJCIbKEI=?="},
                {"\x1B$B$\"", "=?ISO-2022-JP?B?GyRCJCI=?="},
                {"\x1B$B", "=?ISO-2022-JP?B?GyRC?="},
                {"\x1B$", "\x1B$"}};
    for (auto const& row : rows) EXPECT_EQ(EncodeRuns(row.in), row.out) << row.in;
    EXPECT_EQ(EncodeRuns(string(3, 'x')), "xxx");
}

TEST(FileNames, WordsForEverythingButAscii) {
    EXPECT_TRUE(EncodeFileName(nullptr).IsEmpty());
    EXPECT_TRUE(EncodeFileName("").IsEmpty());
    EXPECT_STREQ(EncodeFileName("a.txt"), "a.txt");
    EXPECT_STREQ(EncodeFileName(string(500, 'n').c_str()), string(500, 'n').c_str());
    string const name = "平成十六年度第三四半期営業成績一覧表（関東甲信越地区・改訂第二版）ｶﾅ final.xls";
    string const encoded = static_cast<char const*>(EncodeFileName(name.c_str()));
    EXPECT_NE(encoded.find("?=\r\n\t=?ISO-2022-JP?B?"), string::npos) << encoded;
    for (char const c : encoded) EXPECT_LT(static_cast<unsigned char>(c), 0x80);
    EXPECT_EQ(Without(Decode(encoded), "\r\n\t"), name);
    EXPECT_EQ(Without(DecodeParam(encoded), "\r\n\t"), name);
}

TEST(Decoders, WordsAndWhatIsNone) {
    string const a = "=?iso-2022-jp?B?GyRCJCIbKEI=?=";
    const struct {
        string in, out;
    } rows[] = {{"", ""},
                {"plain", "plain"},
                {a, "あ"},
                {"=?ISO-2022-jp?b?GyRCJCIbKEI=?=", "あ"},
                {"Re: " + a + "!", "Re: あ!"},
                {a + "\r\n\t" + a, "あ\r\n\tあ"},
                {a + a, "ああ"},
                {"=?iso-2022-jp?Q?=1B$B=24=22=1b(B_?=", "あ_"},
                {"=?iso-2022-jp?Q?=41?=x", "Ax"},
                {"=?iso-2022-jp?Q?ab=4?=x", "abx"},
                {"=?iso-2022-jp?B?GyRCJCI?=", "あ"},
                {a + "=?iso-2022-jp?X?QUJD?=" + a, "あ=?iso-2022-jp?X?QUJD?=" + a},
                {a + "=?iso-2022-jp?B?QUJD", "あ=?iso-2022-jp?B?QUJD"},
                {"=?iso-2022-jp?B?QUJD" + a + "z", "ABCz"},
                {"=?iso-2022-jp?B", "=?iso-2022-jp?B"},
                {"=?iso-2022-jp?", "=?iso-2022-jp?"},
                {"=?=?iso-2022-jp?B?QUJD?=", "=?ABC"},
                {"=?utf-8?B?44GC?=", "=?utf-8?B?44GC?="}};
    for (auto const& row : rows) {
        EXPECT_EQ(Decode(row.in), row.out) << row.in;
        EXPECT_EQ(DecodeMode(row.in, ENCODED_WORD_JIS), row.out) << row.in;
    }
    MIMEBase64DecodeForJIS(nullptr, "a");
    MIMEbase64decoding(nullptr, "a");
    EXPECT_EQ(Decode(string(2, '=') + string(100000, '=')).size(), 100002U);
}

TEST(Decoders, ModesAndParameters) {
    string const jis = "=?iso-2022-jp?B?GyRCJCIbKEI=?=", sjis = "=?shift_jis?B?gqA=?=",
                 hyphen = "=?Shift-JIS?Q?=82=A0?=", utf8 = "=?UTF-8?B?44GC?=", strange = "unknown_start_tagx";
    EXPECT_EQ(DecodeMode(jis + sjis + utf8, ENCODED_WORD_SHIFT_JIS), jis + "あ" + utf8);
    EXPECT_EQ(DecodeMode(hyphen, ENCODED_WORD_SHIFT_JIS), hyphen);
    EXPECT_EQ(DecodeMode(jis + sjis + utf8, ENCODED_WORD_UTF8), jis + sjis + "あ");
    for (int const mode : {0, 4, -1})
        EXPECT_EQ(DecodeMode(jis + sjis + utf8 + strange, mode), jis + sjis + utf8 + strange);

    const struct {
        string in, out;
    } rows[] = {{jis + sjis, "あ" + sjis},
                {sjis, "あ"},
                {hyphen, "あ"},
                {hyphen + sjis, "ああ"},
                {utf8, "あ"},
                {"表.txt", "表.txt"},
                {"", ""},
                {"a.txt", "a.txt"},
                {"\x1B$B$\"\x1B(B.txt", "あ.txt"},
                {"\xC6\xFC\xCB\xDC\xB8\xEC", "日本語"}};
    for (auto const& row : rows) EXPECT_EQ(DecodeParam(row.in), row.out) << row.in;
}

}  // namespace
