#include "tessaly/storage/ini_manager.h"

#include <array>

#include "platform/profile.h"

namespace {

char const* OrEmpty(char const* name) { return name ? name : ""; }

}  // namespace

CIniManager::CIniManager(char const* file, char const* section) : file_(file), section_(section) {}

void CIniManager::KeepSectionPosition(char const* file, char const* section) {
    file_ = file;
    section_ = section;
}

void CIniManager::ClearSectionPosition() {
    file_.Empty();
    section_.Empty();
}

unsigned int CIniManager::GetProfileIntA(char const* file, char const* section, char const* key,
                                         int default_value) {
    return platform::GetPrivateProfileInt(OrEmpty(section), OrEmpty(key), default_value, OrEmpty(file));
}

unsigned int CIniManager::GetProfileIntA(char const* key, int default_value) const {
    return GetProfileIntA(file_, section_, key, default_value);
}

int CIniManager::GetProfileStringA(char const* file, char const* section, char const* key, CString& value,
                                   char const* default_value) {
    std::array<char, longest_value + 1> text{};
    unsigned const length = platform::GetPrivateProfileString(
        OrEmpty(section), OrEmpty(key), OrEmpty(default_value), text.data(), text.size(), OrEmpty(file));
    if (length == 0) return 0;
    value = text.data();
    return 1;
}

int CIniManager::GetProfileStringA(char const* key, CString& value, char const* default_value) const {
    return GetProfileStringA(file_, section_, key, value, default_value);
}

int CIniManager::WriteProfileInt(char const* file, char const* section, char const* key, int value) {
    CString text;
    text.Format("%d", value);
    return WriteProfileStringA(file, section, key, text);
}

int CIniManager::WriteProfileInt(char const* key, int value) const {
    return WriteProfileInt(file_, section_, key, value);
}

int CIniManager::WriteProfileStringA(char const* file, char const* section, char const* key,
                                     char const* value) {
    return platform::WritePrivateProfileString(OrEmpty(section), OrEmpty(key), value, OrEmpty(file)) != 0;
}

int CIniManager::WriteProfileStringA(char const* key, char const* value) const {
    return WriteProfileStringA(file_, section_, key, value);
}
