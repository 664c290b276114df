#include "tessaly/environment/compound_key_manager.h"

#include <gtest/gtest.h>

#include <string>

namespace {

char const symbols[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
std::string const database_key(symbols, 64);

CCompoundKeyManager Keys(char const* table_key) {
    CCompoundKeyManager keys;
    keys.SetKeyForSelectTable(table_key);
    return keys;
}

std::string Values(CCompoundKeyManager const& keys) {
    return std::string(keys.GetUseEnvPasswordFlag().View()) + '|' +
           std::string(keys.GetEnvPasswordMD5().View()) + '|' + std::string(keys.GetDBKey().View());
}

TEST(CompoundKey, ValuesComeBackWhateverTheyHold) {
    const struct {
        char const *flag, *md5, *key;
    } rows[] = {
        {"", "", database_key.c_str()},
        {"Y", "0123456789abcdef0123456789abcdef", database_key.c_str()},
        {"\"", "a,\"b\"\",", "\"\""},
        {"表ソ", "\r\n", "ｱｲｳ"},
        {"", "", ""},                          // 8 bytes: shorter than the hash
        {"", "", "123456789012345678901234"},  // as long as the hash
    };
    for (auto const& row : rows) {
        for (char const* table_key : {"a", "別の鍵"}) {
            CCompoundKeyManager keys = Keys(table_key);
            CString const compound = keys.MakeCompoundKey(row.flag, row.md5, row.key);
            std::string const expected = std::string(row.flag) + '|' + row.md5 + '|' + row.key;
            EXPECT_EQ(expected, Values(keys));
            EXPECT_EQ(std::string::npos, compound.View().find_first_not_of(symbols));
            CCompoundKeyManager reader = Keys(table_key);
            reader.SetCompoundKey(compound);
            EXPECT_EQ(expected, Values(reader));
            if (*row.key == '\0') continue;
            CCompoundKeyManager stranger = Keys("c");
            stranger.SetCompoundKey(compound);
            EXPECT_EQ("||", Values(stranger));
        }
    }
    CCompoundKeyManager none;
    EXPECT_EQ("", none.MakeCompoundKey("Y", "", database_key.c_str()));
    none.SetCompoundKey("x");
    EXPECT_EQ("||", Values(none));
    EXPECT_EQ("||", Values(Keys("a")));
}

TEST(CompoundKey, AnyDamageGivesEmptyValues) {
    CCompoundKeyManager keys = Keys("a");
    // All three remainders of the base64 text.
    for (char const* flag : {"", "Y", "YY"}) {
        std::string const sound(keys.MakeCompoundKey(flag, "", database_key.c_str()).View());
        auto const values_of = [&](std::string const& text) {
            keys.SetCompoundKey(text.c_str());
            return Values(keys);
        };
        for (std::size_t place = 0; place < sound.size(); ++place) {
            EXPECT_EQ("||", values_of(sound.substr(0, place))) << place;
            // Some bits of the last symbol are unused, so each other symbol is tried there.
            std::string const others = place + 1 < sound.size() ? "AQgw/" : symbols;
            for (char const c : others + "=\x80\xff\"") {
                if (sound[place] == c) continue;
                std::string damaged = sound;
                damaged[place] = c;
                EXPECT_EQ("||", values_of(damaged)) << place << c;
            }
        }
        for (char const* more : {"A", "AA", "AAA", "AAAA", "="}) EXPECT_EQ("||", values_of(sound + more));
        EXPECT_NE("||", values_of(sound));
    }
}

// Environments of earlier builds stay readable for ever.
TEST(CompoundKey, TheStoredFormNeverChanges) {
    EXPECT_EQ(
        "Votai8Z7g4S9IDjITjvoTyj4hlCdBEC744WW2//Yk2b1yQuxpqNU9FdEiHUCnwUOTt+GSwVup+J0YN8ioYwdi2ClCuL+we7g"
        "0FKYG0/jen/zj0hU6U8Ip8x2iIQfP/ynGSR+Jz6jXbrsXHRkrC17FNP6+ruBWHOS6ALiYSTAhwEvDGeKMFFra4I",
        Keys("key").MakeCompoundKey("Y", "0123456789abcdef0123456789abcdef", database_key.c_str()));
}

}  // namespace
