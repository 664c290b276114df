#include "tessaly/platform/md5.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

std::string Hex(unsigned char const* digest) {
    std::string hex;
    char pair[3];
    for (int i = 0; i < md5_digest_bytes; ++i) {
        std::snprintf(pair, sizeof pair, "%02x", digest[i]);
        hex += pair;
    }
    return hex;
}

std::string Encoded(std::string const& text) {
    char out[md5_hex_digits + 1];
    EXPECT_EQ(XCMD5Encoder(text.c_str(), out), 1);
    return out;
}

TEST(Md5, GivesTheDigestsOfRfc1321) {
    const struct {
        char const* text;
        char const* digest;
    } rows[] = {
        {"", "d41d8cd98f00b204e9800998ecf8427e"},
        {"a", "0cc175b9c0f1b6a831c399e269772661"},
        {"abc", "900150983cd24fb0d6963f7d28e17f72"},
        {"message digest", "f96b697d7cb7938d525a2f31aaf161d0"},
        {"abcdefghijklmnopqrstuvwxyz", "c3fcd3d76192e4007dfb496cca67e13b"},
        {"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789",
         "d174ab98d277d9f5a5611c2c9f419d9f"},
        {"12345678901234567890123456789012345678901234567890123456789012345678901234567890",
         "57edf4a22be3c955ac49da2e2107b67a"},
    };
    for (auto const& row : rows) EXPECT_EQ(Encoded(row.text), row.digest) << row.text;
    char untouched[] = "untouched";
    EXPECT_EQ(XCMD5Encoder(nullptr, untouched), 0);
    EXPECT_STREQ(untouched, "untouched");
}

// The bytes of a message may come in any pieces; the ends of blocks are the critical places.
TEST(Md5, TakesAMessageInPieces) {
    for (std::size_t const size : {1, 55, 56, 57, 63, 64, 65, 119, 120, 128, 200}) {
        std::string text;
        for (std::size_t i = 0; i < size; ++i) text += static_cast<char>('!' + i % 90);
        std::string const whole = Encoded(text);
        auto const* bytes = reinterpret_cast<unsigned char const*>(text.data());
        for (std::size_t cut = 0; cut <= size; ++cut) {
            MD5Context context;
            MD5Init(&context);
            MD5Update(&context, bytes, static_cast<unsigned>(cut));
            MD5Update(&context, bytes + cut, static_cast<unsigned>(size - cut));
            unsigned char digest[md5_digest_bytes];
            MD5Final(digest, &context);
            ASSERT_EQ(Hex(digest), whole) << size << " cut at " << cut;
        }
    }
}

TEST(Md5, WorksOnWordsOf32Bits) {
    unsigned char const bytes[8] = {0x01, 0x02, 0x03, 0x84, 0xFF, 0xFE, 0xFD, 0xFC};
    unsigned long words[2];
    Byte2DWord(words, bytes, sizeof bytes);
    EXPECT_EQ(words[0], 0x84030201UL);
    EXPECT_EQ(words[1], 0xFCFDFEFFUL);
    unsigned char back[8];
    DWord2Byte(back, words, sizeof back);
    EXPECT_TRUE(std::equal(bytes, bytes + 8, back));

    // Bits above the 32 of a word have no influence and are cleared.
    unsigned long clean[4] = {1, 2, 3, 4};
    unsigned long soiled[4] = {1 | 7UL << 32, 2, 3 | 1UL << 63, 4};
    unsigned long block[16] = {};
    MD5Transform(clean, block);
    block[5] = 9UL << 40;
    MD5Transform(soiled, block);
    for (int i = 0; i < 4; ++i) EXPECT_EQ(clean[i], soiled[i]) << i;
}

TEST(Md5, GivesTheAuthenticationCodesOfRfc2202) {
    std::string const aa80(80, '\xAA');
    const struct {
        std::string key;
        std::string text;
        char const* digest;
    } rows[] = {
        {std::string(16, '\x0B'), "Hi There", "9294727a3638bb1c13f48ef8158bfc9d"},
        {"Jefe", "what do ya want for nothing?", "750c783e6ab0b503eaa86e310a5db738"},
        {std::string(16, '\xAA'), std::string(50, '\xDD'), "56be34521d144c88dbb8c733f0e8b3f6"},
        {aa80, "Test Using Larger Than Block-Size Key - Hash Key First", "6b1ab7fe4bd7bf8f0b62e6ce61b9d0cd"},
        {aa80, "Test Using Larger Than Block-Size Key and Larger Than One Block-Size Data",
         "6f630fad67cda0ee1fb1f562db3aa53e"},
        {"", "", "74e6f7298a9c2d168935f58c001bad88"},
    };
    for (auto const& row : rows) {
        std::vector<unsigned char> text(row.text.begin(), row.text.end());
        std::vector<unsigned char> key(row.key.begin(), row.key.end());
        unsigned char digest[md5_digest_bytes];
        hmac_md5(text.data(), static_cast<int>(text.size()), key.data(), static_cast<int>(key.size()),
                 digest);
        EXPECT_EQ(Hex(digest), row.digest) << row.text;
    }
}

}  // namespace
