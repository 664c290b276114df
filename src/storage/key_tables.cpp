#include "storage/key_tables.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <mutex>
#include <string_view>

#include "tessaly/platform/md5.h"

namespace storage {
namespace {

// The source of all bytes of the key material.
constexpr std::string_view seed = "Tessaly key material, first edition";

// The use of the bytes, part of the input of the generator.
enum Purpose : unsigned char {
    default_tables = 1,
    bank_tables = 2,
    key_constant = 3,
    boundary_alphabet = 4,
    compound_pad = 5,
    compound_alphabets = 6,
};

// An endless row of bytes: the MD5 of seed, purpose, row and a counter, block by block.
class KeyStream {
  public:
    KeyStream(Purpose purpose, int row) : purpose_(purpose), row_(static_cast<unsigned char>(row)) {}

    unsigned char NextByte() {
        if (used_ == md5_digest_bytes) NextBlock();
        return block_[used_++];
    }
    // 0 to `count` - 1.
    std::uint32_t Below(std::uint32_t count) {
        std::uint64_t value = 0;
        for (int i = 0; i < 4; ++i) value = value << 8 | NextByte();
        return static_cast<std::uint32_t>(value * count >> 32);
    }
    template <class Type>
    void Shuffle(Type* items, std::uint32_t count) {
        for (std::uint32_t i = count; i > 1; --i) std::swap(items[i - 1], items[Below(i)]);
    }

  private:
    void NextBlock() {
        unsigned char const place[4] = {purpose_, row_, static_cast<unsigned char>(counter_),
                                        static_cast<unsigned char>(counter_ >> 8)};
        ++counter_;
        MD5Context context;
        MD5Init(&context);
        MD5Update(&context, reinterpret_cast<unsigned char const*>(seed.data()), seed.size());
        MD5Update(&context, place, sizeof place);
        MD5Final(block_, &context);
        used_ = 0;
    }

    Purpose purpose_;
    unsigned char row_;
    unsigned counter_ = 0;
    unsigned char block_[md5_digest_bytes];
    int used_ = md5_digest_bytes;
};

struct Substitution {
    unsigned char encode[256];
    unsigned char decode[256];

    void Make(KeyStream stream) {
        unsigned char movable[256];
        unsigned char shuffled[256];
        std::uint32_t count = 0;
        for (int byte = 0; byte < 256; ++byte) {
            encode[byte] = static_cast<unsigned char>(byte);
            if (byte != 0 && byte != '\n' && byte != '\r')
                movable[count++] = static_cast<unsigned char>(byte);
        }
        std::copy_n(movable, count, shuffled);
        stream.Shuffle(shuffled, count);
        for (std::uint32_t i = 0; i < count; ++i) encode[movable[i]] = shuffled[i];
        for (int byte = 0; byte < 256; ++byte) decode[encode[byte]] = static_cast<unsigned char>(byte);
    }
};

struct Alphabet {
    char symbols[alphabet_symbols + 1];
    int values[inverse_alphabet_size];

    void Make(KeyStream stream) {
        constexpr std::string_view base64 =
            "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
        std::copy(base64.begin(), base64.end(), symbols);
        symbols[alphabet_symbols] = 0;
        stream.Shuffle(symbols, alphabet_symbols);
        std::fill(std::begin(values), std::end(values), no_symbol);
        for (int i = 0; i < alphabet_symbols; ++i) values[static_cast<unsigned char>(symbols[i])] = i;
    }
};

template <int size>
struct Bytes {
    unsigned char bytes[size];

    void Make(KeyStream stream) {
        for (unsigned char& byte : bytes) byte = stream.NextByte();
    }
};

// Made by the first thread that needs it.
template <class Type>
class Kept {
  public:
    Type const& Get(Purpose purpose, int row = 0) {
        std::call_once(made_, [&] { value_.Make(KeyStream(purpose, row)); });
        return value_;
    }

  private:
    std::once_flag made_;
    Type value_;
};

template <class Type>
Type const& RowOf(std::array<Kept<Type>, key_rows>& rows, Purpose purpose, int row) {
    int const number = row & (key_rows - 1);
    return rows[static_cast<std::size_t>(number)].Get(purpose, number);
}

Substitution const& DefaultTables() {
    static Kept<Substitution> tables;
    return tables.Get(default_tables);
}

Substitution const& BankTables(int row) {
    static std::array<Kept<Substitution>, key_rows> rows;
    return RowOf(rows, bank_tables, row);
}

Alphabet const& BoundarySymbols() {
    static Kept<Alphabet> alphabet;
    return alphabet.Get(boundary_alphabet);
}

Alphabet const& CompoundSymbols(int row) {
    static std::array<Kept<Alphabet>, key_rows> rows;
    return RowOf(rows, compound_alphabets, row);
}

}  // namespace

unsigned char const* DefaultEncodeTable() { return DefaultTables().encode; }
unsigned char const* DefaultDecodeTable() { return DefaultTables().decode; }
unsigned char const* EncodeTable(int row) { return BankTables(row).encode; }
unsigned char const* DecodeTable(int row) { return BankTables(row).decode; }

unsigned char const* KeyNumberConstant() {
    static Kept<Bytes<key_constant_bytes>> constant;
    return constant.Get(key_constant).bytes;
}

char const* BoundaryAlphabet() { return BoundarySymbols().symbols; }
int const* InverseBoundaryAlphabet() { return BoundarySymbols().values; }

unsigned char const* CompoundKeyPad() {
    static Kept<Bytes<pad_bytes>> pad;
    return pad.Get(compound_pad).bytes;
}

char const* CompoundKeyAlphabet(int row) { return CompoundSymbols(row).symbols; }
int const* InverseCompoundKeyAlphabet(int row) { return CompoundSymbols(row).values; }

}  // namespace storage
