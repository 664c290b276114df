#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "engine/environment/session.h"
#include "engine/environment/settings_catalogue.h"

// The settings of an environment, as a front end shows and changes them.
namespace engine {

// Throws Failure for an unknown name.
Setting const& SettingNamed(std::string_view name);

struct SettingValue {
    std::string name;
    std::string value;   // empty for a secret, which is never shown
    bool secret, empty;  // whether it is a secret; whether nothing is stored
};
SettingValue ValueOf(Session& session, Setting const& setting);

struct SettingChange {
    std::string name, value;
};
// Throws Failure for an unknown name and for a value that the setting refuses.
void CheckSettings(std::vector<SettingChange> const& changes);
// Checks, sets and saves them all, or changes nothing and throws Failure. The session is one for changing.
void ChangeSettings(Session& session, std::vector<SettingChange> const& changes);

}  // namespace engine
