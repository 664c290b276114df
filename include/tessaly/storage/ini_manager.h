#pragma once

#include "tessaly/platform/cstring.h"
#include "tessaly/platform/export.h"

// Profile (.ini) files: the static operations have file, section and key as arguments; the others use the
// file and section of the object. File names are full paths. Any name may be null and then counts as empty,
// except the value to be written. No lock.
class TESSALY_API CIniManager {
  public:
    // Longest value that is read, in bytes; a longer one is cut there, at a whole character.
    static constexpr int longest_value = 4096;

    CIniManager() = default;
    CIniManager(char const* file, char const* section);
    CIniManager(CIniManager const&) = default;
    CIniManager& operator=(CIniManager const&) = default;
    virtual ~CIniManager() = default;

    void KeepSectionPosition(char const* file, char const* section);
    void ClearSectionPosition();

    // The number at the start of the value, 0 for a value without one, `default_value` when the key is
    // missing.
    static unsigned int GetProfileIntA(char const* file, char const* section, char const* key,
                                       int default_value);
    unsigned int GetProfileIntA(char const* key, int default_value) const;
    // 1 with the text in `value`, found or default, when it is not empty; else 0, and `value` stays.
    static int GetProfileStringA(char const* file, char const* section, char const* key, CString& value,
                                 char const* default_value);
    int GetProfileStringA(char const* key, CString& value, char const* default_value) const;
    // 1, or 0 when the file cannot be written. A null text removes the key.
    static int WriteProfileInt(char const* file, char const* section, char const* key, int value);
    int WriteProfileInt(char const* key, int value) const;
    static int WriteProfileStringA(char const* file, char const* section, char const* key, char const* value);
    int WriteProfileStringA(char const* key, char const* value) const;

  private:
    CString file_;
    CString section_;
};
