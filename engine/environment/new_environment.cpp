#include "engine/environment/new_environment.h"

#include <filesystem>

#include "engine/base/crossing.h"
#include "engine/base/failure.h"
#include "engine/base/whole_file.h"
#include "engine/environment/data_paths.h"
#include "engine/environment/file_record.h"
#include "engine/environment/session.h"
#include "engine/environment/settings_catalogue.h"
#include "engine/environment/staged_environment.h"
#include "tessaly/text.h"

namespace fs = std::filesystem;

namespace engine {
void WriteDefaultSettings(EnvManager& environment, std::string const& data) {
    SystemOption options(&environment);
    CArray<CString, CString> cells;
    cells.SetSize(SystemOption::cell_count);
    for (Setting const& setting : SettingsCatalogue())
        cells.SetAt(setting.cell, Into(ForCell(setting, setting.default_value), setting.name));
    options.SetElementNumber(SystemOption::cell_count);
    if (options.SetSODataFromAllDataToMemory(cells) < 0 || options.WriteSODataFromMemoryToFileCompel() < 0)
        throw Failure(Failure::not_written,
                      "設定を書き込めませんでした: " + data + "\n" + TextOf(options.GetErrMsg()));
}

std::string NewPassword(Access const& access) {
    if (access.password_file.empty()) return {};
    std::string password = FirstLineOf(access.password_file, "パスワードファイル");
    if (password.empty())
        throw Failure(Failure::unsuitable_file, "パスワードファイルの1行目が空です: " + access.password_file);
    return password;
}

void CreateEnvironment(Access const& access, std::string const& env_file, std::string const& new_password) {
    CString const password = IntoSecret(new_password, "パスワード");
    static_cast<void>(IntoPath(fs::absolute(env_file).string()));  // throws for a name that it cannot have
    std::string const key = ApplicationKey(access);

    HaveTablesReplaced();
    StagedEnvironment staged(env_file);
    fs::path const data = staged.DataDirectory();
    CString const library_path = IntoPath(staged.EnvFile());
    for (char const* folder : {"DB", "MAIL", "EXTRACT"}) MakeFolder((data / folder).string());
    if (EnvManager::MakeDefaultEnvFile(library_path, key.c_str()) != 0)
        throw Failure(Failure::not_written, "環境ファイルを作れません: " + env_file);
    EnvManager environment;
    if (environment.InitEnvFileInfo(library_path, key.c_str(), EnvManager::existing_environment) < 0)
        throw Failure(Failure::operation_failed,
                      "作った環境を開けません: " + env_file + "\n" + TextOf(environment.GetErrMsg()));
    WriteDefaultSettings(environment, data.string());
    CDatabaseEdit customers(&environment);
    if (customers.WriteFromMemoryToFileAppointFileName(IntoPath((data / customers_file).string()),
                                                       environment.GetDBKey()) != 0)
        throw Failure(Failure::not_written, "顧客データを書き込めませんでした: " + data.string());
    if (!ReplaceFile((data / mail_list_file).string(), ""))
        throw Failure(Failure::not_written, "メールの一覧を作れません: " + data.string());
    if (!new_password.empty() &&
        (environment.SetEnvPassword(password) < 0 || environment.SetUseEnvPasswordFlag("Y") < 0))
        throw Failure(Failure::operation_failed, "起動用パスワードを設定できませんでした。");
    if (!WriteRecords(data.string(), {mail_list_file}))
        throw Failure(Failure::not_written, "環境を書き込めませんでした: " + env_file);
    staged.PutInPlace();
}

}  // namespace engine
