#pragma once

#include <string>
#include <string_view>
#include <vector>

// The settings with names: each is one cell of the settings record. The cells are positions on disk and never
// change.
namespace engine {

enum class SettingKind {
    text,
    number,
    choice,
    secret,
    address_pattern,  // a mail address with one "*" before its "@", for which a token is put; or empty
};

struct Setting {
    std::string name;
    int cell;
    SettingKind kind;
    std::string default_value;
    std::string allowed;  // for a choice: the values, divided by "|"; for a number: "LOW..HIGH"
    std::string meaning;  // Japanese, one line
};

std::vector<Setting> const& SettingsCatalogue();
// Null for an unknown name.
Setting const* FindSetting(std::string_view name);
// Empty when `value` may be stored, else why not.
std::string RefusalOf(Setting const& setting, std::string_view value);
// The value as the cell keeps it: types of attributes are stored as digits.
std::string ForCell(Setting const& setting, std::string_view value);
std::string FromCell(Setting const& setting, std::string_view cell);

}  // namespace engine
