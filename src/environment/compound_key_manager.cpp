#include "tessaly/environment/compound_key_manager.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "storage/key_symbols.h"
#include "storage/key_tables.h"
#include "tessaly/platform/md5.h"
#include "tessaly/storage/split_string.h"
#include "tessaly/storage/substitution.h"

namespace {

constexpr std::size_t hash_size = md5_hex_digits;
constexpr char quote = '"';
enum Field : int { field_flag = 0, field_md5 = 1, field_database_key = 2, field_count = 3 };

std::string HashOf(std::string const& plain) {
    char digits[hash_size + 1] = {};
    XCMD5Encoder(plain.c_str(), digits);
    return digits;
}

void AppendQuoted(std::string& out, std::string_view value) {
    if (!out.empty()) out += ',';
    out += quote;
    for (char const c : value) {
        if (c == quote) out += quote;
        out += c;
    }
    out += quote;
}

// hash[0] plain[0] hash[1] plain[1] ..., then the rest of the longer one.
std::string Mix(std::string_view hash, std::string_view plain) {
    std::size_t const pairs = std::min(hash.size(), plain.size());
    std::string mixed;
    mixed.reserve(hash.size() + plain.size());
    for (std::size_t i = 0; i < pairs; ++i) {
        mixed += hash[i];
        mixed += plain[i];
    }
    mixed += plain.substr(pairs);
    mixed += hash.substr(pairs);
    return mixed;
}

// The plain text, if its hash is the one that was mixed in.
std::optional<std::string> Unmix(std::string_view mixed) {
    if (mixed.size() < hash_size) return std::nullopt;
    std::size_t const pairs = std::min(hash_size, mixed.size() - hash_size);
    std::string hash;
    std::string plain;
    for (std::size_t i = 0; i < pairs; ++i) {
        hash += mixed[2 * i];
        plain += mixed[2 * i + 1];
    }
    (pairs < hash_size ? hash : plain) += mixed.substr(2 * pairs);
    bool const sound = plain.find('\0') == std::string::npos && HashOf(plain) == hash;
    return sound ? std::optional(plain) : std::nullopt;
}

void ApplyPad(std::string& bytes, int row) {
    unsigned char const* pad = storage::CompoundKeyPad();
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        std::size_t const place = (i + static_cast<std::size_t>(row)) % storage::pad_bytes;
        bytes[i] = static_cast<char>(static_cast<unsigned char>(bytes[i]) ^ pad[place]);
    }
}

}  // namespace

void CCompoundKeyManager::SetKeyForSelectTable(CString key) { table_key_ = key; }

void CCompoundKeyManager::SetCompoundKey(CString compound) { compound_key_ = compound; }

CString CCompoundKeyManager::MakeCompoundKey(CString flag, CString md5, CString database_key) {
    if (table_key_.IsEmpty()) return {};
    std::string plain;
    for (CString const* value : {&flag, &md5, &database_key}) AppendQuoted(plain, value->View());
    int const row = GetKeyNumber(table_key_);
    std::string mixed = Mix(HashOf(plain), plain);
    ApplyPad(mixed, row);
    return compound_key_ = CString(std::string_view(storage::EncodeSymbols(mixed, row)));
}

CString CCompoundKeyManager::Value(int field) const {
    if (table_key_.IsEmpty() || compound_key_.IsEmpty()) return {};
    int const row = GetKeyNumber(table_key_);
    std::optional<std::string> mixed = storage::DecodeSymbols(compound_key_.View(), row);
    if (!mixed) return {};
    ApplyPad(*mixed, row);
    std::optional<std::string> const plain = Unmix(*mixed);
    if (!plain) return {};
    CArray<CString, CString> values;
    SplitString(CString(std::string_view(*plain)), values, ",", quote);
    return values.GetSize() == field_count ? values[field] : CString();
}

CString CCompoundKeyManager::GetUseEnvPasswordFlag() const { return Value(field_flag); }

CString CCompoundKeyManager::GetEnvPasswordMD5() const { return Value(field_md5); }

CString CCompoundKeyManager::GetDBKey() const { return Value(field_database_key); }
