#pragma once

#include "tessaly/platform/cstring.h"
#include "tessaly/platform/export.h"

// Builds and opens the compound key of an environment: one text of Base64 symbols that carries the start-up
// password flag ("", "Y" or "N"), the MD5 of the start-up password (32 lower-case hexadecimal digits, or
// empty) and the database key. The application key selects the tables that scramble it; a hash inside shows
// whether a text is damaged or was made with another application key.
//
// The stored form is on disk and never changes:
//   plain    "flag","md5","database key", double quotes in a value doubled
//   mixed    hash[0] plain[0] hash[1] plain[1] ..., where hash is the 32 digits of the plain text's MD5;
//            the rest of the longer one follows
//   stored   the mixed bytes, byte i XORed with pad[(i + row) mod 256], as Base64 with the row's alphabet
//            and without padding; row is the key number of the application key
class TESSALY_API CCompoundKeyManager {
  public:
    CCompoundKeyManager() = default;
    CCompoundKeyManager(CCompoundKeyManager const&) = default;
    CCompoundKeyManager& operator=(CCompoundKeyManager const&) = default;
    virtual ~CCompoundKeyManager() = default;

    // The application key.
    void SetKeyForSelectTable(CString key);
    // Makes a compound key, keeps it and returns it; empty when no key for the tables is set.
    CString MakeCompoundKey(CString flag, CString md5, CString database_key);
    void SetCompoundKey(CString compound);

    // The three values. Each is empty when no key for the tables or no compound key is set, and when the
    // compound key does not decode to exactly three values.
    CString GetUseEnvPasswordFlag() const;
    CString GetEnvPasswordMD5() const;
    CString GetDBKey() const;

  private:
    CString Value(int field) const;

    CString table_key_;
    CString compound_key_;
};
