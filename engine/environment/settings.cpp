#include "engine/environment/settings.h"

#include "engine/base/failure.h"

namespace engine {

Setting const& SettingNamed(std::string_view name) {
    if (Setting const* setting = FindSetting(name)) return *setting;
    throw Failure(Failure::unknown_setting, "設定の名前が違います: " + std::string(name) +
                                                "\n「tessaly settings ENV」で一覧を見られます。");
}

SettingValue ValueOf(Session& session, Setting const& setting) {
    std::string value = session.Setting(setting.name);
    bool const secret = setting.kind == SettingKind::secret, empty = value.empty();
    if (secret) value.clear();
    return {setting.name, value, secret, empty};
}

void CheckSettings(std::vector<SettingChange> const& changes) {
    for (SettingChange const& change : changes) {
        Setting const& setting = SettingNamed(change.name);
        std::string const refusal = RefusalOf(setting, change.value);
        if (!refusal.empty()) throw Failure(Failure::invalid_value, setting.name + ": " + refusal);
    }
}

void ChangeSettings(Session& session, std::vector<SettingChange> const& changes) {
    CheckSettings(changes);
    for (SettingChange const& change : changes) session.Set(change.name, change.value);
    session.SaveSettings();
}

}  // namespace engine
