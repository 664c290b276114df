#pragma once

// The key material of the system. It is generated from one seed, each row at its first use, and then kept;
// every function may be called from any thread. Files must stay readable for ever: the seed and the generator
// never change.
namespace storage {

inline constexpr int key_rows = 256;  // rows of every bank
inline constexpr int key_constant_bytes = 32;
inline constexpr int alphabet_symbols = 64;
inline constexpr int pad_bytes = 256;
inline constexpr int inverse_alphabet_size = 128;
inline constexpr int no_symbol = -1;  // in an inverse alphabet: the byte is not a symbol

// Substitution tables of 256 bytes: permutations that map NUL, CR and LF to themselves, the decode table
// being the inverse of the encode table. The default ones are for files without a key. `row` counts modulo
// 256.
unsigned char const* DefaultEncodeTable();
unsigned char const* DefaultDecodeTable();
unsigned char const* EncodeTable(int row);
unsigned char const* DecodeTable(int row);

// 32 bytes that are part of the choice of a key's row.
unsigned char const* KeyNumberConstant();

// The 64 symbols of abnbase64encoding, with a NUL behind them.
char const* BoundaryAlphabet();
// The value of each 7-bit byte in it, or no_symbol.
int const* InverseBoundaryAlphabet();

// For the compound key of an environment: 256 bytes to XOR with; the Base64 symbols in 256 orders, each with
// a NUL behind it; and for each order the six-bit value of every 7-bit byte, or no_symbol.
unsigned char const* CompoundKeyPad();
char const* CompoundKeyAlphabet(int row);
int const* InverseCompoundKeyAlphabet(int row);

}  // namespace storage
