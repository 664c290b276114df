#include "tessaly/mime/transfer_encodings.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "mime/quoted_printable.h"
#include "tessaly/platform/base64_codec.h"

using enum mime::MailBodyEncoding;

namespace {

using std::string;

// A buffer of exactly the room that a header promises, so that the address sanitizer detects a byte too many.
class Buffer {
  public:
    explicit Buffer(std::size_t size) : bytes_(new char[size]), size_(size) {
        std::memset(bytes_.get(), '#', size);
    }
    char* data() { return bytes_.get(); }
    string Text() const { return bytes_.get(); }
    string First(std::size_t count) const { return string(bytes_.get(), std::min(count, size_)); }

  private:
    std::unique_ptr<char[]> bytes_;
    std::size_t size_;
};

string RandomBytes(std::mt19937& random, std::size_t size) {
    string bytes(size, '\0');
    for (char& c : bytes) c = static_cast<char>(random());
    return bytes;
}

// Bit by bit, so that it shares nothing with the encoder under test.
string PlainBase64(string const& bytes, string const& alphabet) {
    string out;
    for (std::size_t bit = 0; bit < bytes.size() * 8; bit += 6) {
        std::size_t value = 0;
        for (std::size_t k = bit; k < bit + 6; ++k)
            value =
                value * 2 +
                (k / 8 < bytes.size() ? static_cast<unsigned char>(bytes[k / 8]) >> (7 - k % 8) & 1U : 0U);
        out += alphabet[value];
    }
    while (out.size() % 4 != 0) out += '=';
    return out;
}

string const standard = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

string EncodeLines(string const& bytes, int line) {
    Buffer out(mime::Base64BodyRoom(bytes.size(), line));
    base64encoding(reinterpret_cast<unsigned char*>(out.data()),
                   reinterpret_cast<unsigned char const*>(bytes.data()), static_cast<int>(bytes.size()),
                   line);
    return out.Text();
}

string DecodeForgiving(string const& in) {
    Buffer out(mime::Base64DecodedRoom(in.size()));
    long const size = normal_base64decoding(out.data(), in.c_str());
    EXPECT_EQ(out.data()[size], '\0');
    return out.First(static_cast<std::size_t>(size));
}

string DecodeBody(string const& in, int mode) {
    Buffer out(mime::MailBodyRoom(in.size()));
    int size = -1;
    DecodeMailBody(in.c_str(), mode, out.data(), size);
    return out.First(static_cast<std::size_t>(size));
}

TEST(Base64, EveryLengthAlphabetAndLine) {
    std::mt19937 random(1);
    string const reversed(standard.rbegin(), standard.rend());
    std::vector<std::size_t> sizes{3071, 3072, 3073, 6145};
    for (std::size_t size = 0; size < 60; ++size) sizes.push_back(size);
    for (std::size_t const size : sizes) {
        string const bytes = RandomBytes(random, size), expected = PlainBase64(bytes, standard);
        auto const* in = reinterpret_cast<unsigned char const*>(bytes.data());
        Buffer out(platform::Base64EncodedSize(size));
        EXPECT_EQ(platform::Base64Encode(in, size, out.data()), expected.size());
        EXPECT_EQ(out.First(expected.size()), expected) << size;
        platform::Base64Encode(in, size, out.data(), reversed.c_str());
        EXPECT_EQ(out.First(expected.size()), PlainBase64(bytes, reversed)) << size;
        EXPECT_EQ(EncodeLines(bytes, -1), expected);
        EXPECT_EQ(EncodeLines(bytes, 0), expected);
        for (int const line : {1, 2, 3, 4, 7, 76}) {
            string lines;
            for (std::size_t i = 0; i < expected.size(); ++i) {
                lines += expected[i];
                if ((i + 1) % static_cast<std::size_t>(line) == 0) lines += "\r\n";
            }
            EXPECT_EQ(EncodeLines(bytes, line), lines) << size << " bytes, lines of " << line;
            EXPECT_EQ(DecodeBody(lines, MAIL_BODY_BASE64), bytes);
        }
        EXPECT_EQ(DecodeForgiving(expected), bytes);
        EXPECT_EQ(DecodeForgiving(expected + "?="), bytes) << "the tail of an encoded word, " << size;
        Buffer strict(size + 1);
        EXPECT_EQ(base64decoding(strict.data(), expected.c_str(), static_cast<int>(size) + 1),
                  static_cast<int>(size));
        EXPECT_EQ(strict.First(size), bytes);
    }
    unsigned char untouched[2] = {'#', '#'};
    base64encoding(untouched, nullptr, -5, 76);
    EXPECT_EQ(untouched[0], '\0');
    EXPECT_EQ(untouched[1], '#');
}

TEST(Base64, ForgivingDecoder) {
    const struct {
        string in, out;
    } rows[] = {{"Q", ""},
                {"QQ", "A"},
                {"QUI", "AB"},
                {"QUJD?=", "ABC"},
                {"=QUJ", ""},
                {"Q=UJDQUJD", ""},
                {"QQ=JQUJD", "A"},
                {"QUJDQUI=QUJD", "ABCAB"},
                {"\x81\xFF!*", string(3, '\0')},
                {"QU!D", "A@\x03"}};
    for (auto const& row : rows) EXPECT_EQ(DecodeForgiving(row.in), row.out) << row.in;
    char in_place[] = "QUJDREVGRw==";
    EXPECT_EQ(normal_base64decoding(in_place, in_place), 7);
    EXPECT_STREQ(in_place, "ABCDEFG");
}

TEST(Base64, StrictDecoder) {
    const struct {
        string in;
        int limit, result;
        string out;
    } rows[] = {{"+ QUJD", 100, 3, "ABC"}, {"\rQUJD", 100, 0, ""},        {"", 100, 0, ""},
                {"+", 100, -1, ""},        {"QUJD\rQUJD", 100, 3, "ABC"}, {"QUJD\nQUJD", 100, -1, "ABC"},
                {"QQ=A", 100, 1, "A"},     {"QQ=AQUJD", 100, 4, "AABC"},  {"QQ=", 100, -1, ""},
                {"Q===", 100, -1, ""},     {"=QQQ", 100, -1, ""},         {"QU\rD", 100, -1, ""},
                {"QUJ\x80", 100, -1, ""},  {"QUJD", 4, 3, "ABC"},         {"QUJD", 3, -1, "AB"},
                {"QUJD", -7, -1, ""},      {"QUJDQQ==", 4, -1, "ABC"}};
    for (auto const& row : rows) {
        Buffer out(static_cast<std::size_t>(row.limit > 1 ? row.limit - 1 : 0) + 1);
        EXPECT_EQ(base64decoding(out.data(), row.in.c_str(), row.limit), row.result)
            << row.in << ' ' << row.limit;
        EXPECT_EQ(out.First(row.out.size() + 1), row.out + "#") << row.in << ' ' << row.limit;
    }
}

TEST(Base64, SizeBeforeDecoding) {
    const struct {
        char const* in;
        int result;
        unsigned long size;
    } rows[] = {{"", 1, 0},         {"QQ==", 1, 1}, {"QUI=", 1, 2},  {"QUJD", 1, 3},
                {"QUJDQQ==", 1, 4}, {"QQ=", 0, 77}, {"QUJDQ", 0, 77}};
    for (auto const& row : rows) {
        unsigned long size = 77;
        EXPECT_EQ(GetSizeAfterBase64Decoding(size, row.in, std::strlen(row.in)), row.result) << row.in;
        EXPECT_EQ(size, row.result ? row.size : 77) << row.in;
    }
}

// With any foreign characters in it, a body gives the result of its filtered text.
TEST(MailBody, Base64WithForeignCharacters) {
    std::mt19937 random(2);
    for (int round = 0; round < 3000; ++round) {
        string body, filtered;
        for (std::size_t left = random() % 60; left > 0; --left) {
            char const c = random() % 12 == 0 ? (random() % 4 ? "\r\n -\x81\xFF?"[random() % 7] : '=')
                                              : standard[random() % 64];
            body += c;
            if (c == '=' || standard.find(c) != string::npos) filtered += c;
        }
        EXPECT_EQ(DecodeBody(body, MAIL_BODY_BASE64), DecodeForgiving(filtered)) << body;
    }
}

// In two steps, as the encoding is defined: soft line breaks out, then pairs of digits.
string QuotedInTwoSteps(string const& body) {
    string joined, out;
    for (std::size_t i = 0; i < body.size(); ++i)
        if (body.compare(i, 3, "=\r\n") == 0)
            i += 2;
        else
            joined += body[i];
    string const digits = "0123456789ABCDEF0123456789abcdef";
    auto const digit = [&digits](char c) { return digits.find(c) == string::npos ? 0 : digits.find(c) % 16; };
    for (std::size_t i = 0; i < joined.size(); ++i) {
        if (joined[i] != '=') {
            out += joined[i];
            continue;
        }
        if (joined.size() - i < 3) break;
        out += static_cast<char>(digit(joined[i + 1]) * 16 + digit(joined[i + 2]));
        i += 2;
    }
    return out;
}

TEST(MailBody, QuotedPrintable) {
    EXPECT_EQ(DecodeBody("=93=fAa=\r\nb=4", MAIL_BODY_QUOTED_PRINTABLE),
              "\x93\xFA"
              "ab");
    EXPECT_EQ(DecodeBody("=4=\r\n1==\r\n42", MAIL_BODY_QUOTED_PRINTABLE), "AB")
        << "a line break inside a pair";
    EXPECT_EQ(DecodeBody("=ZZ", MAIL_BODY_QUOTED_PRINTABLE), string(1, '\0'));
    std::mt19937 random(3);
    for (int round = 0; round < 20000; ++round) {
        string body;
        for (std::size_t left = random() % 14; left > 0; --left)
            body += "====\r\r\n\n4aFz\x93"[random() % 13];
        EXPECT_EQ(DecodeBody(body, MAIL_BODY_QUOTED_PRINTABLE), QuotedInTwoSteps(body)) << body;
    }
}

TEST(MailBody, OtherModesCopy) {
    for (int const mode : {-1, 0, 3}) {
        Buffer out(mime::MailBodyRoom(7));
        int size = -1;
        DecodeMailBody("=41QQ==", mode, out.data(), size);
        EXPECT_EQ(size, 7);
        EXPECT_EQ(out.Text(), "=41QQ==");
        DecodeMailBody(nullptr, mode, out.data(), size);
        EXPECT_EQ(size, 0);
    }
}

TEST(QuotedPrintable, PairsWithoutSoftLineBreaks) {
    const struct {
        string in;
        int result;  // of the decoding
        bool size_told;
        string out;
    } rows[] = {{"", 1, true, ""},     {"abc", 1, true, "abc"},  {"=41=4a", 1, true, "AJ"},
                {"a=", 0, false, "a"}, {"ab=4", 0, false, "ab"}, {"x=\r\ny", 1, true, string("x\0y", 3)},
                {"=4G", 1, true, "@"}, {"==4", 1, false, "\x04"}};
    for (auto const& row : rows) {
        unsigned long size = 77;
        EXPECT_EQ(GetSizeAfterQuotedPrintableDecoding(row.in.c_str(), size), row.size_told ? 1 : 0) << row.in;
        EXPECT_EQ(size, row.size_told ? row.out.size() : 77) << row.in;
        Buffer out(row.out.size() + 1);
        EXPECT_EQ(QuotedPrintableDecoding(row.in.c_str(), out.data()), row.result) << row.in;
        EXPECT_EQ(out.First(row.out.size() + 1), row.out + "#") << row.in;
    }
}

string Quote(string const& text) { return string(mime::QuotedPrintable(text).View()); }

TEST(QuotedPrintable, LinesBreakAtColumn75) {
    string const a75(75, 'a'), a74(74, 'a'), a73(73, 'a'), a72(72, 'a');
    const struct {
        string in, out;
    } rows[] = {{"", ""},
                {string(200, 'a'), a75 + "=\r\n" + a75 + "=\r\n" + string(50, 'a')},
                {a75, a75},
                {a75 + "\r\n" + a75 + "b", a75 + "\r\n" + a75 + "=\r\nb"},
                {a72 + "\xE9", a72 + "=E9"},
                {a73 + "\xE9", a73 + "=\r\n=E9"},
                {a74 + "\xE9" + a72 + "=", a74 + "=\r\n=E9" + a72 + "=\r\n=3D"},
                {"\t\x7F ~=", "=09=7F ~=3D"},
                {"a \r\nb", "a \r\nb"},
                {"\n" + a75, "\n" + a75}};
    for (auto const& row : rows) EXPECT_EQ(Quote(row.in), row.out) << row.in;
}

TEST(QuotedPrintable, RoundTripAndDamage) {
    std::mt19937 random(4);
    for (int round = 0; round < 2000; ++round) {
        string text;
        for (std::size_t left = random() % 400; left > 0; --left)
            text += random() % 8 == 0   ? '\n'
                    : random() % 3 == 0 ? static_cast<char>(1 + random() % 255)
                                        : 'a';
        string const quoted = Quote(text);
        for (std::size_t start = 0, end; start < quoted.size(); start = end + 1) {
            end = std::min(quoted.find('\n', start), quoted.size());
            EXPECT_LE(end - start, 77U) << "75 characters and =CR";
        }
        EXPECT_EQ(mime::FromQuotedPrintable(quoted), text);
    }
    const struct {
        string in, out;
    } rows[] = {{"a=\r\nb", "ab"},
                {"=e9=E9", "\xE9\xE9"},
                {"1 + 1 = 2, =zz", "1 + 1 = 2, =zz"},
                {"a=4", "a"},
                {"=", ""},
                {"a=00b", string("a\0b", 3)},
                {"=4=\r\n1", "=41"},
                {"==41", "=A"},
                {"==\r\n41", "=41"}};
    for (auto const& row : rows) EXPECT_EQ(mime::FromQuotedPrintable(row.in), row.out) << row.in;
}

}  // namespace
