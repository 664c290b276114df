#include "storage/ini_manager.h"

#include <array>

#include "platform/profile.h"

namespace {

const char* OrEmpty(const char* name) { return name ? name : ""; }

}  // namespace

CIniManager::CIniManager(const char* file, const char* section) : file_(file), section_(section) {}

void CIniManager::KeepSectionPosition(const char* file, const char* section) {
    file_ = file;
    section_ = section;
}

void CIniManager::ClearSectionPosition() {
    file_.Empty();
    section_.Empty();
}

unsigned int CIniManager::GetProfileIntA(const char* file, const char* section, const char* key, int default_value) {
    return platform::GetPrivateProfileInt(OrEmpty(section), OrEmpty(key), default_value, OrEmpty(file));
}

unsigned int CIniManager::GetProfileIntA(const char* key, int default_value) const {
    return GetProfileIntA(file_, section_, key, default_value);
}

int CIniManager::GetProfileStringA(const char* file, const char* section, const char* key, CString& value,
                                   const char* default_value) {
    std::array<char, longest_value + 1> text{};
    const unsigned length = platform::GetPrivateProfileString(OrEmpty(section), OrEmpty(key), OrEmpty(default_value),
                                                              text.data(), text.size(), OrEmpty(file));
    if (length == 0) return 0;
    value = text.data();
    return 1;
}

int CIniManager::GetProfileStringA(const char* key, CString& value, const char* default_value) const {
    return GetProfileStringA(file_, section_, key, value, default_value);
}

int CIniManager::WriteProfileInt(const char* file, const char* section, const char* key, int value) {
    CString text;
    text.Format("%d", value);
    return WriteProfileStringA(file, section, key, text);
}

int CIniManager::WriteProfileInt(const char* key, int value) const {
    return WriteProfileInt(file_, section_, key, value);
}

int CIniManager::WriteProfileStringA(const char* file, const char* section, const char* key, const char* value) {
    return platform::WritePrivateProfileString(OrEmpty(section), OrEmpty(key), value, OrEmpty(file)) != 0;
}

int CIniManager::WriteProfileStringA(const char* key, const char* value) const {
    return WriteProfileStringA(file_, section_, key, value);
}
