#include <iostream>
#include <memory>
#include <vector>

#include "cli/command.h"
#include "engine/environment/settings.h"

namespace cli {
namespace {

struct Arguments {
    Access access;
    std::string env_file;
    std::vector<std::string> items;  // NAME or NAME=VALUE
};

void Show(Session& session, Setting const& setting) {
    SettingValue const value = ValueOf(session, setting);
    char const* const secret = value.empty ? "(未設定)" : "(設定済み)";
    std::cout << value.name << "=" << (value.secret ? secret : value.value) << "\n";
}

void Run(Arguments const& arguments) {
    std::vector<Setting const*> shown;
    std::vector<SettingChange> changes;
    for (std::string const& item : arguments.items) {
        std::size_t const equals = item.find('=');
        std::string const name = item.substr(0, equals);
        shown.push_back(&SettingNamed(name));
        if (equals == item.npos) continue;
        changes.push_back({name, item.substr(equals + 1)});
        CheckSettings({changes.back()});
    }
    Session session(arguments.access, arguments.env_file,
                    changes.empty() ? Session::For::reading : Session::For::changing);
    if (!changes.empty()) ChangeSettings(session, changes);
    if (shown.empty())
        for (Setting const& setting : SettingsCatalogue()) Show(session, setting);
    for (Setting const* setting : shown) Show(session, *setting);
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
