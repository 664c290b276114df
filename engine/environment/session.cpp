#include "engine/environment/session.h"

#include <algorithm>
#include <filesystem>
#include <optional>
#include <unordered_set>

#include "engine/base/crossing.h"
#include "engine/base/failure.h"
#include "engine/base/whole_file.h"
#include "engine/base/whole_number.h"
#include "engine/environment/data_paths.h"
#include "engine/environment/file_record.h"
#include "engine/environment/private_files.h"
#include "engine/environment/safe_change.h"
#include "engine/environment/settings_catalogue.h"
#include "tessaly/text.h"

namespace fs = std::filesystem;

namespace engine {
namespace {

constexpr char const* environment_name = "この環境";

}  // namespace

std::string TextOf(CErrMsg& error) { return Out(std::string_view(error.GetLastMsg())); }

Session::Session(Access const& access, std::string const& env_file, For use)
    : front_(FrontOf(access)),
      env_file_(env_file),
      access_files_{env_file, access.key_file, access.password_file},
      data_directory_(DataDirectoryOf(env_file)),
      environment_(std::make_unique<EnvManager>()),
      options_(std::make_unique<SystemOption>()),
      customers_(std::make_unique<CDatabaseEdit>()) {
    HaveTablesReplaced();
    if (!fs::is_regular_file(env_file))
        throw Failure(
            Failure::environment_not_found,
            "環境ファイルがありません: " + env_file + "\n「tessaly env new " + env_file + "」で作れます。");
    if (!fs::is_directory(data_directory_))
        throw Failure(Failure::environment_not_found,
                      "環境のデータディレクトリがありません: " + data_directory_);
    bool const changes = use == For::changing || use == For::restoring;
    if (changes) {
        lock_ = std::make_unique<FolderLock>(data_directory_, environment_name, &front_);
        RemoveWorkFiles();
        SafeChange::Recover(data_directory_);
    } else if (SafeChange::Open(data_directory_)) {
        FolderLock const lock(data_directory_, environment_name, &front_);
        SafeChange::Recover(data_directory_);
    }
    Open(access);
    CheckPassword(access);
    if (changes) MakeEnvironmentPrivate(front_, env_file_, data_directory_);
    options_->SetEnvManager(environment_.get());
    customers_->SetEnvManager(environment_.get());
    customers_->SetSystemOption(options_.get());
    if (use == For::reading || use == For::changing) LoadSettings();
}

void Session::LoadSettings() {
    TableReading reading(*this, settings_file);
    reading.End(options_->GetSODataFromFileToMemory() >= 0, *options_);
}

Session::~Session() = default;

bool Session::Owns(std::string const& file) const {
    std::error_code not_there;  // nor is a path that leads to no file, but to a pipe or the like
    fs::path const target = fs::weakly_canonical(fs::absolute(file), not_there);
    fs::path const data = fs::weakly_canonical(data_directory_);
    return std::mismatch(data.begin(), data.end(), target.begin(), target.end()).first == data.end() ||
           std::any_of(access_files_.begin(), access_files_.end(),
                       [&](std::string const& own) { return fs::equivalent(file, own, not_there); });
}

void Session::RemoveWorkFiles() const {
    for (std::string const& file :
         {WorkFile(), WorkFile() + ".log", data_directory_ + "/fwaimport.tmp", data_directory_ + "/.restore"})
        RemoveWork(file);
    for (char const* folder : {"", "/DB", "/MAIL", "/EXTRACT", "/CONSENT"})
        platform::RemoveLeftReplacements(data_directory_ + folder);
}

void Session::Open(Access const& access) {
    std::string const key = ApplicationKey(access);
    int const result = environment_->InitEnvFileInfo(IntoPath(fs::absolute(env_file_).string()), key.c_str(),
                                                     EnvManager::existing_environment);
    if (result <= -10 || environment_->StoppedBeforeEnd())
        throw Failure(Failure::wrong_key, "環境ファイルの形が壊れているか、鍵が違います: " + env_file_);
    if (result < 0)
        throw Failure(Failure::damaged_file,
                      "環境を開けません: " + env_file_ + "\n" + TextOf(environment_->GetErrMsg()));
    if (environment_->GetEnvType() != EnvManager::type_plain && environment_->GetDBKey().IsEmpty())
        throw Failure(Failure::wrong_key,
                      "環境の鍵が合いません。鍵ファイルが違うか、環境ファイルが壊れています: " + env_file_);
}

void Session::CheckPassword(Access const& access) {
    CString flag;
    if (environment_->GetEnvType() == EnvManager::type_plain ||
        environment_->GetUseEnvPasswordFlag(flag) < 0 || flag != "Y")
        return;
    std::string const password = access.password_file.empty()
                                     ? front_.StartPassword()
                                     : FirstLineOf(access.password_file, "パスワードファイル");
    if (environment_->IsEnvPasswordOK(IntoSecret(password, "パスワード")) != 0)
        throw Failure(Failure::wrong_password, "起動用パスワードが違います。");
}

void Damaged(std::string const& what, std::string const& path) {
    throw Failure(Failure::damaged_file,
                  what + "を読めません: " + path +
                      "\nファイルが欠けているか壊れています。「tessaly env check」で調べ、「tessaly env "
                      "repair」で直せます。",
                  {.file = path});
}

void Session::NoticeOnce(std::string const& line) {
    if (told_.insert(line).second) front_.Notice(line);
}

std::optional<CString> Session::TableKey() const {
    if (environment_->GetEnvType() == EnvManager::type_plain) return {};
    return environment_->GetDBKey();
}

CDatabaseEdit& Session::Customers() {
    if (!customers_loaded_) ReadCustomersAgain();
    return *customers_;
}

void Session::ReadCustomersAgain() {
    customers_read_ = IdentityOf(data_directory_ + "/" + customers_file);
    TableReading reading(*this, customers_file);
    reading.End(customers_->ReadCustomerList() >= 0, *customers_);
    if (lock_) MoveSequence();
    customers_loaded_ = true;
}

// A sequence file that was lost, damaged or brought back from a copy would hand out IDs that customers have.
// Where it cannot be moved, drawing an ID fails and reports it.
void Session::MoveSequence() {
    Sequencer sequence(environment_.get(), environment::seq_customer);
    int const largest = customers_->GetMaxDBID();
    int next = 0, drawn = 0;
    if (largest < 0 || (sequence.CurrentValue(&next) && next > largest)) return;
    if (!sequence.SetValue(largest) || !sequence.NextValue(&drawn)) sequence.SetValue(next);
}

void Session::WhileOthersWait(std::function<void()> const& change, Patience patience) {
    if (lock_) return change();
    FolderLock const lock = patience == Patience::endless
                                ? FolderLock::WhenFree(data_directory_, environment_name, front_)
                                : FolderLock(data_directory_, environment_name, &front_);
    SafeChange::Recover(data_directory_);
    change();
}

CMailListViewer& Session::Mails() {
    if (!mails_) WhileOthersWait([&] { ReadMails(); });
    return *mails_;
}

// A missing list is made, so that the mails of the folders are added to it.
void Session::ReadMails() {
    fs::path const path = MailListFile();
    MakeFolder(path.parent_path().string());
    std::optional<SafeChange> repair;
    if (HasMailWithoutRow()) repair.emplace(data_directory_, std::vector<std::string>{mail_list_file});
    auto mails = mails_ ? std::move(mails_) : std::make_unique<CMailListViewer>();
    bool const read =
        mails->GetEnvManager() ? mails->ReadMailList() >= 0 : mails->SetEnvManager(environment_.get()) == 1;
    if (!read) TableReading(*this, mail_list_file).Refuse();
    // A repair that did not reach the disk is tried again here.
    if (repair && mails->WriteMailList(CMailListViewer::write_if_changed) < 0)
        throw Failure(Failure::not_written,
                      "メールの一覧を書き込めませんでした。前のままです: " + path.string());
    if (repair) repair->Keep();
    mails_ = std::move(mails);
}

bool Session::HasMailWithoutRow() {
    TableReading reading(*this, mail_list_file);
    if (!fs::exists(MailListFile()))
        ReplaceTable(MailListFile(), [](std::string const& file) { return fs::exists(file); });
    std::optional<CString> const key = TableKey();
    CMailListViewer list;
    list.SetDBFilePath(IntoPath(MailListFile()));
    int const result = list.ReadDBFile(key ? static_cast<char const*>(*key) : nullptr);
    reading.End(result >= 0 || result == CMyDB::db_file_empty, list);
    constexpr unsigned long no_status = 0;
    CArray<int, int> ids;
    list.CountMailByMailStatus(no_status, &ids, CMailListViewer::status_not_in_mask);
    std::unordered_set<std::string> listed;
    for (int const id : ids) listed.insert(std::to_string(id));
    return std::any_of(fs::directory_iterator(data_directory_ + "/MAIL"), fs::directory_iterator(),
                       [&](fs::directory_entry const& folder) {
                           std::string const name = folder.path().filename().string();
                           bool const number = name.find_first_not_of("0123456789") == name.npos;
                           return number && !listed.contains(name);
                       });
}

std::string Session::MailListFile() const { return data_directory_ + "/" + mail_list_file; }

ExtractListViewer& Session::Groups() {
    if (groups_) return *groups_;
    auto groups = std::make_unique<ExtractListViewer>();
    groups->SetEnvManager(environment_.get(), ExtractListViewer::read_later);
    TableReading reading(*this, groups_file);
    reading.End(groups->SetExtractListFromFile(EnvManager::use_own_key, nullptr) >= 0, *groups);
    groups_ = std::move(groups);
    return *groups_;
}

std::string Session::Setting(std::string_view name) {
    engine::Setting const* setting = FindSetting(name);
    CString value;
    if (!setting || options_->GetSODataFromMemoryPinPoint(setting->cell, value) < 0) return {};
    std::string const text = FromCell(*setting, Out(value));
    // An environment of an earlier version has nothing in the cells of newer settings.
    return text.empty() && setting->kind == SettingKind::choice ? setting->default_value : text;
}

int Session::NumberSetting(std::string_view name) {
    std::string const text = Setting(name);
    engine::Setting const* setting = FindSetting(name);
    return WholeNumber(RefusalOf(*setting, text).empty() ? text : setting->default_value).value_or(0);
}

void Session::Set(std::string_view name, std::string_view value) {
    engine::Setting const* setting = FindSetting(name);
    auto const cross = setting->kind == SettingKind::secret ? IntoSecret : Into;
    CString cell = cross(ForCell(*setting, value), name);
    if (options_->SetSODataToMemoryPinPoint(setting->cell, cell) < 0)
        throw Failure(Failure::operation_failed,
                      "設定を変えられません: " + std::string(name) + "\n" + TextOf(options_->GetErrMsg()));
}

void Session::SaveTable(std::string const& path, std::string const& what,
                        std::function<bool(CString const& path, char const* key)> const& write) {
    std::optional<CString> const key = TableKey();
    std::string const target = data_directory_ + "/" + path;
    bool const saved = (!key || !key->IsEmpty()) && ReplaceTable(target, [&](std::string const& file) {
                           return write(IntoPath(file), key ? static_cast<char const*>(*key) : nullptr);
                       });
    if (!saved)
        throw Failure(Failure::not_written,
                      what + "を書き込めませんでした。前のデータはそのまま残っています: " + target);
}

void Session::SaveSettings() {
    SaveTable(settings_file, "設定", [&](CString const& path, char const* key) {
        return options_->SaveCSVFileCompel(path, key) == 1;
    });
}

void Session::SaveCustomers() {
    SaveTable(customers_file, "顧客データ", [&](CString const& path, char const* key) {
        return customers_->WriteFromMemoryToFileAppointFileName(path, key) == 0;
    });
}

void Session::SaveMails() {
    SaveTable(mail_list_file, "メールの一覧", [&](CString const& path, char const* key) {
        return mails_->WriteFromMemoryToFileAppointFileName(path, key) == 0;
    });
}

void Session::ReadMailsAgain() {
    WhileOthersWait([&] { ReadMails(); });
}

void Session::ChangeMails(std::function<void(CMailListViewer&)> const& change, Patience patience) {
    Mails();
    WhileOthersWait(
        [&] {
            ReadMails();
            change(*mails_);
            SaveMails();
        },
        patience);
}

void Session::SaveGroups() {
    SaveTable(groups_file, "保存した宛先の一覧", [&](CString const& path, char const* key) {
        return groups_->WriteFromMemoryToFileAppointFileName(path, key) == 1;
    });
}

}  // namespace engine
