#include "storage/key_tables.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "platform/clock.h"
#include "tessaly/platform/md5.h"
#include "tessaly/storage/base64_text.h"
#include "tessaly/storage/substitution.h"

namespace {

class Digest {
  public:
    Digest() { MD5Init(&context_); }
    void Add(void const* bytes, std::size_t size) {
        MD5Update(&context_, static_cast<unsigned char const*>(bytes), static_cast<unsigned>(size));
    }
    std::string Hex() {
        unsigned char digest[md5_digest_bytes];
        MD5Final(digest, &context_);
        std::string hex;
        for (unsigned char const byte : digest)
            hex += {"0123456789abcdef"[byte >> 4], "0123456789abcdef"[byte & 15]};
        return hex;
    }

  private:
    MD5Context context_;
};

std::string DigestOf(void const* bytes, std::size_t size) {
    Digest digest;
    digest.Add(bytes, size);
    return digest.Hex();
}

// Files must stay readable for ever: these digests never change.
TEST(KeyTables, NeverChange) {
    Digest banks;
    Digest alphabets;
    for (int row = 0; row < storage::key_rows; ++row) {
        banks.Add(storage::EncodeTable(row), 256);
        alphabets.Add(storage::CompoundKeyAlphabet(row), storage::alphabet_symbols);
    }
    EXPECT_EQ(DigestOf(storage::DefaultEncodeTable(), 256), "b90042b30205b65e0c376327ac02502a");
    EXPECT_EQ(banks.Hex(), "ab7b993114a2007413ffa2eb94627f50");
    EXPECT_EQ(DigestOf(storage::KeyNumberConstant(), storage::key_constant_bytes),
              "7d718af66ac5fd95171c218a78e6b445");
    EXPECT_EQ(DigestOf(storage::BoundaryAlphabet(), storage::alphabet_symbols),
              "0552b22e79c91ead66462ee9c928525d");
    EXPECT_EQ(DigestOf(storage::CompoundKeyPad(), storage::pad_bytes), "ac898e968dec328e27964f1697e3d871");
    EXPECT_EQ(alphabets.Hex(), "92dabc3b6c2254a9d707b828dc4112a9");
}

TEST(KeyTables, SubstitutionsAreInversePermutationsThatKeepLineEnds) {
    std::set<std::string> different;
    for (int row = -1; row < storage::key_rows; ++row) {
        unsigned char const* encode = row < 0 ? storage::DefaultEncodeTable() : storage::EncodeTable(row);
        unsigned char const* decode = row < 0 ? storage::DefaultDecodeTable() : storage::DecodeTable(row);
        for (int const kept : {0x00, 0x0A, 0x0D}) ASSERT_EQ(encode[kept], kept) << row;
        for (int byte = 0; byte < 256; ++byte) {
            ASSERT_EQ(decode[encode[byte]], byte) << row;
            ASSERT_EQ(encode[decode[byte]], byte) << row;
        }
        different.emplace(reinterpret_cast<char const*>(encode), 256);
    }
    EXPECT_EQ(different.size(), 257U);
}

TEST(KeyTables, AlphabetsArePermutationsOfTheBase64Symbols) {
    std::string base64 = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::sort(base64.begin(), base64.end());
    for (int row = -1; row < storage::key_rows; ++row) {
        char const* symbols = row < 0 ? storage::BoundaryAlphabet() : storage::CompoundKeyAlphabet(row);
        int const* values =
            row < 0 ? storage::InverseBoundaryAlphabet() : storage::InverseCompoundKeyAlphabet(row);
        std::string sorted(symbols);
        std::sort(sorted.begin(), sorted.end());
        ASSERT_EQ(sorted, base64) << row;
        int known = 0;
        for (int byte = 0; byte < storage::inverse_alphabet_size; ++byte) {
            if (values[byte] == storage::no_symbol) continue;
            ++known;
            ASSERT_EQ(symbols[values[byte]], byte) << row;
        }
        ASSERT_EQ(known, storage::alphabet_symbols) << row;
    }
}

TEST(KeyTables, ManyThreadsMayAskFirst) {
    std::vector<std::vector<unsigned char const*>> seen(8);
    std::vector<std::thread> threads;
    for (auto& mine : seen)
        threads.emplace_back([&mine] {
            for (int row = 0; row < storage::key_rows; ++row) {
                unsigned char const* table = storage::EncodeTable(row);
                mine.push_back(table[storage::DecodeTable(row)['x']] == 'x' ? table : nullptr);
            }
        });
    for (std::thread& thread : threads) thread.join();
    for (auto const& mine : seen) {
        EXPECT_EQ(mine, seen[0]);
        EXPECT_EQ(std::count(mine.begin(), mine.end(), nullptr), 0);
    }
}

// The choice of the row is part of every file too.
TEST(Substitution, ChoosesTheRowOfAKey) {
    std::set<int> rows;
    for (int i = 0; i < 2000; ++i) rows.insert(GetKeyNumber(std::to_string(i).c_str()));
    EXPECT_GT(rows.size(), 200U);
    EXPECT_GE(*rows.begin(), 0);
    EXPECT_LT(*rows.rbegin(), storage::key_rows);
    EXPECT_EQ(GetKeyNumber(nullptr), GetKeyNumber(""));

    // Only the digits at odd places count.
    char digits[md5_hex_digits + 1];
    XCMD5Encoder("application key", digits);
    int sum = 0;
    for (int const i : {1, 3, 5, 7, 9, 11, 13, 15, 17, 19, 21, 23, 25, 27, 29, 31})
        sum += digits[i] ^ storage::KeyNumberConstant()[i];
    EXPECT_EQ(GetKeyNumber("application key"), sum % 256);
}

TEST(Substitution, GoesThereAndBack) {
    unsigned char plain[256] = {};
    for (int i = 0; i < 255; ++i) plain[i] = static_cast<unsigned char>(i + 1);
    char key[] = "k";
    for (char* used : {static_cast<char*>(nullptr), key}) {
        unsigned char coded[256];
        unsigned char back[256];
        StringEncode(plain, coded, used);
        unsigned char const* table = used ? storage::EncodeTable(GetKeyNumber(used)) : nullptr;
        for (int i = 0; i < 256; ++i) ASSERT_EQ(coded[i], CharEncode(plain[i], table)) << i;
        StringDecode(coded, back, used);
        EXPECT_EQ(std::memcmp(back, plain, sizeof plain), 0);
        StringDecode(coded, coded, used);  // in place
        EXPECT_EQ(std::memcmp(coded, plain, sizeof plain), 0);
    }
    // A text ends at its NUL, which is written; no byte behind it is.
    unsigned char text[] = "ab\0cd";
    unsigned char out[] = "......";
    StringEncodeAppointTable(text, out, storage::EncodeTable(7));
    EXPECT_EQ(out[2], 0);
    EXPECT_EQ(out[3], '.');
    StringDecodeAppointTable(out, out, storage::DecodeTable(7));
    EXPECT_STREQ(reinterpret_cast<char*>(out), "ab");
    StringDecodeAppointTable(nullptr, out, nullptr);
    EXPECT_EQ(out[0], 0);
    EXPECT_EQ(CharDecode(CharEncode('z', nullptr), nullptr), 'z');

    for (std::size_t size = 0; size < 40; ++size) {
        std::string bytes(size + 1, 'q');
        storage::Substitute(bytes.data(), size, storage::DefaultEncodeTable());
        EXPECT_EQ(bytes, std::string(size, static_cast<char>(CharEncode('q', nullptr))) + 'q') << size;
    }
}

TEST(Substitution, MakesRandomKeys) {
    std::set<std::string> made;
    for (int second = 0; second < 20; ++second) {
        platform::FrozenClock clock({1700000000 + second, 0});
        unsigned char out[66] = {};
        out[65] = 0xEE;
        MakeRandomString(out);
        std::string const key(reinterpret_cast<char*>(out));
        EXPECT_EQ(key.size(), storage::random_string_length);
        EXPECT_EQ(key.find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/"),
                  std::string::npos);
        EXPECT_EQ(out[65], 0xEE);
        made.insert(key);
    }
    EXPECT_EQ(made.size(), 20U);
}

TEST(Base64Text, EndsAsAnEncodedWord) {
    const struct {
        char const* in;
        char const* out;
    } rows[] = {{"ABC", "QUJD?="},        {"A", "QQ==?="}, {"AB", "QUI=?="},          {"", "?="},
                {"ABCDEF", "QUJDREVG?="}, {nullptr, "?="}, {"\xFF\xFE\xFD", "//79?="}};
    for (auto const& row : rows) {
        std::size_t const size = row.in ? std::strlen(row.in) : 0;
        std::string out(size / 3 * 4 + 13, '#');
        normal_base64encoding(out.data(), row.in);
        EXPECT_STREQ(out.c_str(), row.out);
    }
}

TEST(Base64Text, OwnAlphabetGoesThereAndBack) {
    std::string text;
    for (int size = 0; size < 70; ++size) {
        std::string coded((text.size() + 2) / 3 * 4 + 1, '#');
        abnbase64encoding(coded.data(), text.c_str());
        ASSERT_EQ(std::strlen(coded.c_str()), coded.size() - 1);
        EXPECT_EQ(std::count(coded.begin(), coded.end(), '='), static_cast<long>((3 - text.size() % 3) % 3));
        std::string back(coded.size() / 4 * 3 + 3, '#');
        EXPECT_EQ(abnbase64decoding(back.data(), coded.c_str()), static_cast<long>(text.size()));
        EXPECT_EQ(back.c_str(), text);
        text += static_cast<char>(255 - size * 3);
    }
    // A byte that is no symbol ends the text.
    char coded[16];
    char back[16];
    abnbase64encoding(coded, "abcdef");
    coded[4] = '\x95';
    EXPECT_EQ(abnbase64decoding(back, coded), 3);
    EXPECT_STREQ(back, "abc");
    EXPECT_EQ(abnbase64decoding(back, nullptr), 0);
}

}  // namespace
