#include "engine/environment/environment_backup.h"

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <map>
#include <optional>
#include <set>
#include <thread>
#include <tuple>

#include "engine/base/crossing.h"
#include "engine/base/date_text.h"
#include "engine/base/descriptor.h"
#include "engine/base/failure.h"
#include "engine/base/file_identity.h"
#include "engine/base/sha256.h"
#include "engine/base/whole_file.h"
#include "engine/base/whole_number.h"
#include "engine/environment/backup_archive.h"
#include "engine/environment/copies.h"
#include "engine/environment/data_paths.h"
#include "engine/environment/file_record.h"
#include "engine/environment/folder_lock.h"
#include "engine/environment/kept_changes.h"
#include "engine/environment/new_state.h"
#include "engine/environment/staged_environment.h"

namespace fs = std::filesystem;

namespace engine {
namespace {

constexpr int most_attempts = 20;
constexpr auto between_attempts = std::chrono::milliseconds(50);

// One attempt to write the archive.
class Backup {
  public:
    // Mails of `moving` are being sent, or were found to be.
    Backup(Session& session, std::set<int> const& moving) : session_(session) {
        manifest_.made = Out(NowText());
        manifest_.version = TESSALY_VERSION;
        manifest_.files.push_back(SumOf(session.EnvFile(), backup_env_file));
        for (auto const& entry : fs::directory_iterator(Data() + "/MAIL"))
            if (auto const id = WholeNumber(entry.path().filename().string()); id && entry.is_directory())
                if (moving.contains(*id) || !FolderLock::IfFree(entry.path().string(), "このメール"))
                    TakeMoment(*id);
        AddFiles();
    }
    void Write(std::string const& archive) const {
        WriteArchive(archive, manifest_, [&](FileSum const& file, auto const& take) {
            if (auto const moment = moments_.find(file.name); moment != moments_.end())
                return take(moment->second);
            std::ifstream in(HostPath(file.name), std::ios::binary);
            std::vector<char> block(256 * 1024);
            do {
                in.read(block.data(), static_cast<std::streamsize>(block.size()));
                take({block.data(), static_cast<std::size_t>(in.gcount())});
            } while (in);
        });
    }
    BackupManifest const& Manifest() const { return manifest_; }

  private:
    std::string const& Data() const { return session_.DataDirectory(); }
    std::string HostPath(std::string const& name) const {
        return name == backup_env_file ? session_.EnvFile() : Data() + "/" + name.substr(backup_data.size());
    }

    // History, record and journal fit together when none of them was replaced while they were read, in this
    // order: the journal then tells at least what the history lacks.
    void TakeMoment(int id) {
        std::string const history = MailFile(id, "hist");
        std::string const journal = fs::path(history).replace_extension(".journal").string();
        std::string const parts[] = {history, history + ".record", journal};
        auto const state = [&] {
            return std::tuple(IdentityOf(Data() + "/" + parts[0]), IdentityOf(Data() + "/" + parts[1]),
                              IdentityOf(Data() + "/" + parts[2]).inode);
        };
        for (int attempt = 0; attempt < most_attempts; ++attempt) {
            auto const before = state();
            for (std::string const& part : parts) {
                std::string const name = std::string(backup_data) + part;
                moments_.erase(name);
                if (fs::exists(Data() + "/" + part))
                    moments_[name] = ReadWholeFile(Data() + "/" + part, "送信履歴");
            }
            if (state() == before) {
                manifest_.sending.push_back(id);
                return;
            }
            std::this_thread::sleep_for(between_attempts);
        }
        throw Failure(
            Failure::environment_busy,
            "送信中のメールの履歴を控えられません。もう一度実行してください: " + std::to_string(id));
    }

    void AddFiles() {
        std::set<std::string> names;
        for (auto const& [name, content] : moments_) names.insert(name);
        auto const options = fs::directory_options::follow_directory_symlink;
        for (auto const& entry : fs::recursive_directory_iterator(Data(), options)) {
            std::string const path = entry.path().lexically_relative(Data()).generic_string();
            if (entry.is_regular_file() && BelongsIntoBackup(path))
                names.insert(std::string(backup_data) + path);
        }
        for (std::string const& name : names) {
            auto const moment = moments_.find(name);
            manifest_.files.push_back(moment == moments_.end()
                                          ? Checked(name)
                                          : FileSum{name, moment->second.size(), Sha256Of(moment->second)});
        }
    }

    // A table that is not what its record says may be whole all the same.
    FileSum Checked(std::string const& name) const {
        std::string const path = HostPath(name);
        FileRecord const record(path);
        if (record.GetState() == FileRecord::none) return SumOf(path, name);
        std::optional<TableContent> const content = ContentOf(path);
        if (!record.Allows(content))
            session_.Front().Notice(
                "記録と違うファイルも、そのまま控えます。「tessaly env check」で確かめてください: " + path);
        return content ? FileSum{name, content->bytes, content->sha256} : SumOf(path, name);
    }

    Session& session_;
    BackupManifest manifest_;
    std::map<std::string, std::string> moments_;  // by name in the archive
};

std::optional<int> MailOf(std::string const& name) {
    std::string const start = std::string(backup_data) + "MAIL/";
    return name.starts_with(start) ? LeadingNumber(name.substr(start.size())) : std::nullopt;
}

// A mail whose sending begins or ends meanwhile is taken as one that is being sent in the next attempt.
BackupManifest WriteConsistently(Session& session, std::string const& archive) {
    std::set<int> moving;
    for (int attempt = 0;; ++attempt) try {
            Backup const backup(session, moving);
            backup.Write(archive);
            return backup.Manifest();
        } catch (Failure const& failure) {
            std::optional<int> const mail = MailOf(failure.Place().file);
            if (failure.GetKind() != Failure::operation_failed || !mail || attempt == most_attempts) throw;
            moving.insert(*mail);
        }
}

// What is read then comes from the disk where the system has let go of it.
void LeaveCache(std::string const& file) {
    if (!Sync(file)) throw Failure(Failure::not_written, "控えを書けません: " + file);
    Descriptor const archive(file);
    if (archive) posix_fadvise(archive.Get(), 0, 0, POSIX_FADV_DONTNEED);
}

std::string Nowhere(std::string const&) { return {}; }

void TellOfSending(FrontEnd& front, BackupManifest const& manifest) {
    std::string mails;
    for (int const mail : manifest.sending) mails += (mails.empty() ? "" : "、") + std::to_string(mail);
    if (!mails.empty())
        front.Notice(
            "控えを作ったときに送信中だったメールがあります: " + mails +
            "\n控えのあとで届いた人は、控えでは「まだ」になっています。send の前に確かめてください。");
}

// Throws Failure unless the environment file is one of this environment.
void RequireSameKey(Session& session, Access const& access, std::string const& file,
                    std::string const& backup) {
    EnvManager& own = session.Environment();
    EnvManager other;
    bool const opened = other.InitEnvFileInfo(IntoPath(file), ApplicationKey(access).c_str(),
                                              EnvManager::existing_environment) >= 0;
    if (!opened || other.GetEnvType() != own.GetEnvType() || other.GetDBKey() != own.GetDBKey())
        throw Failure(Failure::wrong_key, "ほかの環境の控えです: " + backup + "\n何も変えていません。");
}

std::set<std::string> FilesNow(std::string const& data) {
    std::set<std::string> files;
    for (auto const& entry : fs::recursive_directory_iterator(data)) {
        std::string const path = entry.path().lexically_relative(data).generic_string();
        if (entry.is_regular_file() && BelongsIntoBackup(path)) files.insert(path);
    }
    return files;
}

bool IsAsBefore(Copies const& copies, std::string const& data) {
    return std::all_of(copies.paths.begin(), copies.paths.end(), [&](CopiedPath const& copied) {
        std::string const file = data + "/" + copied.path;
        if (copied.kind == CopiedPath::none) return !fs::exists(file);
        return copied.files.size() == 1 && Holds(file, copied.files.front());
    });
}

}  // namespace

void BackUpEnvironment(Session& session, std::string const& file, bool overwrite) {
    std::string const target = fs::absolute(file).string();
    if (fs::exists(target) && !overwrite)
        throw Failure(Failure::file_exists, "控えのファイルがもうあります: " + file +
                                                "\n上書きするなら --force をつけてください。");
    if (session.Owns(target))
        throw Failure(Failure::protected_file,
                      "控えは、環境のファイルとディレクトリの外に作ってください: " + target);
    std::size_t files = 0;
    auto const write = [&](std::string const& archive) {
        BackupManifest manifest;
        session.WhileOthersWait([&] { manifest = WriteConsistently(session, archive); });
        LeaveCache(archive);
        files = manifest.files.size();
        return ReadArchive(archive, Nowhere) == manifest;
    };
    if (!ReplaceFile(target, write, Readers::owner))
        throw Failure(Failure::not_written, "控えを書けませんでした: " + file);
    session.Front().Result("顧客、メール、履歴、設定を控えました (" + Grouped(files) + "ファイル): " + file);
}

bool IsBackupOfEnvironment(std::string const& file) {
    if (!fs::is_regular_file(file))
        throw Failure(Failure::file_not_found, "控えのファイルがありません: " + file);
    return IsArchive(file);
}

void RestoreIntoNew(Access const& access, std::string const& env_file, std::string const& backup) {
    StagedEnvironment staged(env_file);
    BackupManifest const manifest = ReadArchive(backup, [&](std::string const& name) {
        return name == backup_env_file ? staged.EnvFile()
                                       : staged.DataDirectory() + "/" + name.substr(backup_data.size());
    });
    for (char const* folder : {"/DB", "/MAIL", "/EXTRACT"}) MakeFolder(staged.DataDirectory() + folder);
    Session(access, staged.EnvFile(), Session::For::restoring);  // throws for a wrong key or password
    staged.PutInPlace();
    FrontOf(access).Result("控え (" + manifest.made + ") から環境を作りました: " + env_file);
    TellOfSending(FrontOf(access), manifest);
}

void RestoreOver(Session& session, Access const& access, std::string const& backup, bool yes,
                 std::function<void()> const& customers_in_place) {
    StagingFolder const staging(session);
    NewState state{staging.Path(), FilesNow(session.DataDirectory()), customers_in_place};
    std::string const env_file = state.staged + "/.key/environment.tsl";
    MakeFolder(DataDirectoryOf(env_file));  // no environment opens without one
    BackupManifest const manifest = ReadArchive(backup, [&](std::string const& name) {
        if (name == backup_env_file) return env_file;
        std::string const path = name.substr(backup_data.size());
        state.paths.insert(path);
        return state.staged + "/" + path;
    });
    RequireSameKey(session, access, env_file, backup);
    if (!yes && !session.Front().Confirm("この環境を " + manifest.made +
                                         " の控えの状態に戻します。そのあとの変更はなくなります "
                                         "(「tessaly undo」で取り消せます)。よろしいですか。"))
        throw Failure(Failure::declined, "戻しませんでした。");
    PutInPlace(session, state, "控え (" + manifest.made + ") からの復旧");
    session.Front().Result("この環境を、控え (" + manifest.made + ") の状態に戻しました。");
    TellOfSending(session.Front(), manifest);
}

void UndoLastChange(Session& session, bool force, std::function<void()> const& customers_in_place) {
    std::string const& data = session.DataDirectory();
    std::vector<KeptChange> const changes = KeptChanges(data);
    if (changes.empty()) throw Failure(Failure::file_not_found, "取り消せる変更はありません。");
    KeptChange const& last = changes.back();
    std::optional<Copies> const copies = ReadCopies(last.folder);
    if (!copies)
        throw Failure(Failure::damaged_file, "変更の前の写しが壊れています: " + last.folder + "/list");
    std::optional<std::string> const changed = ChangedSince(last.folder, data);
    if (changed && IsAsBefore(*copies, data)) {  // an undo was cut off before it forgot the copies
        DropCopies(last);
        return session.Front().Result("もう取り消してあります: " + copies->when + " " + copies->what);
    }
    if (changed && !force)
        throw Failure(Failure::not_confirmed, "この変更のあとで変わったファイルがあるので、取り消しません: " +
                                                  *changed + " (" + copies->when + " " + copies->what +
                                                  ")\nあとの変更も捨てて戻すなら --force をつけてください。");
    StagingFolder const staging(session);
    NewState state{staging.Path(), {}, customers_in_place};
    for (std::size_t i = 0; i < copies->paths.size(); ++i) {
        CopiedPath const& copied = copies->paths[i];
        state.paths.insert(copied.path);
        if (copied.kind == CopiedPath::none) continue;
        std::string const copy = last.folder + "/" + std::to_string(i),
                          staged = state.staged + "/" + copied.path;
        if (copied.files.size() != 1 || !Holds(copy, copied.files.front()))
            throw Failure(Failure::damaged_file, "変更の前の写しが壊れています: " + copy, {.file = copy});
        MakeFolder(fs::path(staged).parent_path().string());
        CopyContent(copy, staged);
    }
    PutInPlace(session, state, {});
    DropCopies(last);
    session.Front().Result("取り消しました: " + copies->when + " " + copies->what);
}

}  // namespace engine
