#include <iostream>
#include <memory>
#include <vector>

#include "cli/command.h"
#include "engine/base/failure.h"
#include "engine/environment/settings_catalogue.h"

namespace cli {
namespace {

struct Arguments {
    Access access;
    std::string env_file;
    std::vector<std::string> items;  // NAME or NAME=VALUE
};

Setting const& Named(std::string const& name) {
    if (Setting const* setting = FindSetting(name)) return *setting;
    throw Failure(Failure::unknown_setting,
                  "設定の名前が違います: " + name + "\n「tessaly settings ENV」で一覧を見られます。");
}

void Show(Session& session, Setting const& setting) {
    std::string value = session.Setting(setting.name);
    if (setting.kind == SettingKind::secret) value = value.empty() ? "(未設定)" : "(設定済み)";
    std::cout << setting.name << "=" << value << "\n";
}

void ShowAll(Session& session) {
    for (Setting const& setting : SettingsCatalogue()) Show(session, setting);
}

void Run(Arguments const& arguments) {
    bool changes = false;
    for (std::string const& item : arguments.items) {
        const std::size_t equals = item.find('=');
        Setting const& setting = Named(item.substr(0, equals));
        if (equals == item.npos) continue;
        changes = true;
        const std::string refusal = RefusalOf(setting, item.substr(equals + 1));
        if (!refusal.empty()) throw Failure(Failure::invalid_value, setting.name + ": " + refusal);
    }
    Session session(arguments.access, arguments.env_file,
                    changes ? Session::For::changing : Session::For::reading);
    for (std::string const& item : arguments.items)
        if (const std::size_t equals = item.find('='); equals != item.npos)
            session.Set(item.substr(0, equals), item.substr(equals + 1));
    if (changes) session.SaveSettings();
    if (arguments.items.empty()) ShowAll(session);
    for (std::string const& item : arguments.items) Show(session, Named(item.substr(0, item.find('='))));
}

std::string Catalogue() {
    std::string text = "設定の名前:\n";
    for (Setting const& setting : SettingsCatalogue()) {
        if (setting.name.starts_with("attribute.") && !setting.name.starts_with("attribute.A.")) continue;
        text += "  " + setting.name +
                std::string(setting.name.size() < 20 ? 20 - setting.name.size() : 1, ' ') + setting.meaning +
                (setting.allowed.empty() ? "" : " [" + setting.allowed + "]") + "\n";
    }
    return text + "  attribute.B から attribute.T も同じです。\n";
}

}  // namespace

void AddSettingsCommand(CLI::App& program) {
    auto arguments = std::make_shared<Arguments>();
    CLI::App* command = program.add_subcommand("settings", "設定を表示し、変えます");
    AddEnvFile(*command, arguments->env_file);
    command->add_option("NAME[=VALUE]", arguments->items, "表示する設定、または変える設定と値")
        ->type_name("");
    AddAccess(*command, arguments->access);
    command->footer(Catalogue());
    command->callback([arguments] { Run(*arguments); });
}

}  // namespace cli
