#pragma once

#include <array>
#include <cstdint>

// Row and cell of JIS X 0208 in its seven-bit and Shift-JIS forms, as tables of the arithmetic for every
// byte, also for those that are part of no character.
namespace text {

using Byte = unsigned char;

constexpr Byte escape = 0x1B;
constexpr Byte shift_out = 0x0E;
constexpr Byte shift_in = 0x0F;
constexpr Byte euc_kana = 0x8E;           // single shift 2: one half-width kana follows
constexpr Byte euc_supplementary = 0x8F;  // single shift 3: one character of JIS X 0212 follows

constexpr bool IsHalfKana(Byte c) noexcept { return c >= 0xA1 && c <= 0xDF; }

struct SjToJisTables {
    std::array<Byte, 256> row{};     // by the first byte
    std::array<Byte, 256> carry{};   // to be added to the row, by the second byte
    std::array<Byte, 256> column{};  // by the second byte
};

constexpr SjToJisTables MakeSjToJisTables() noexcept {
    SjToJisTables tables;
    for (int s = 0; s < 256; ++s) {
        int const block = s - (s < 0xA0 ? 0x71 : 0xB1);
        tables.row[s] = static_cast<Byte>(block * 2 + 1);
        int const second = s > 0x7F ? s - 1 : s;
        tables.carry[s] = second >= 0x9E ? 1 : 0;
        tables.column[s] = static_cast<Byte>(second < 0x9E ? second - 0x1F : second - 0x7D);
    }
    return tables;
}

struct JisToSjTables {
    std::array<Byte, 256> first{};                  // by the row
    std::array<std::array<Byte, 256>, 2> second{};  // by the row's lowest bit and the column
};

constexpr JisToSjTables MakeJisToSjTables() noexcept {
    JisToSjTables tables;
    for (int j = 0; j < 256; ++j) {
        int const first = ((j - 0x21) >> 1) + 0x81;
        tables.first[j] = static_cast<Byte>(first >= 0xA0 ? first + 0x40 : first);
        for (int odd = 0; odd < 2; ++odd) {
            int const second = j + (odd ? 0x1F : 0x7D);
            tables.second[odd][j] = static_cast<Byte>(second >= 0x7F ? second + 1 : second);
        }
    }
    return tables;
}

inline constexpr SjToJisTables sj_to_jis = MakeSjToJisTables();
inline constexpr JisToSjTables jis_to_sj = MakeJisToSjTables();

// Each writes two bytes, and returns the place behind them.
inline char* PutJis(Byte s1, Byte s2, char* out) noexcept {
    out[0] = static_cast<char>(sj_to_jis.row[s1] + sj_to_jis.carry[s2]);
    out[1] = static_cast<char>(sj_to_jis.column[s2]);
    return out + 2;
}
inline char* PutSj(Byte j1, Byte j2, char* out) noexcept {
    out[0] = static_cast<char>(jis_to_sj.first[j1]);
    out[1] = static_cast<char>(jis_to_sj.second[j1 & 1][j2]);
    return out + 2;
}

}  // namespace text
