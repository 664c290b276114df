#include "engine/environment/new_state.h"

#include <sys/resource.h>

#include <algorithm>
#include <filesystem>
#include <map>
#include <optional>
#include <vector>

#include "engine/base/crossing.h"
#include "engine/base/failure.h"
#include "engine/base/whole_file.h"
#include "engine/base/whole_number.h"
#include "engine/environment/data_paths.h"
#include "engine/environment/file_record.h"
#include "engine/environment/folder_lock.h"
#include "engine/environment/message_key.h"
#include "engine/environment/safe_change.h"

namespace fs = std::filesystem;

namespace engine {
namespace {

constexpr char const* sequence_files[] = {"DB/dbseq.dat", "MAIL/mailseq.dat", "EXTRACT/extrseq.dat"};

std::vector<int> MailsIn(std::string const& folder) {
    std::vector<int> mails;
    std::error_code none;
    for (auto const& entry : fs::directory_iterator(folder + "/MAIL", none))
        if (auto const id = WholeNumber(entry.path().filename().string()); id && entry.is_directory())
            mails.push_back(*id);
    return mails;
}

// As many files may be open as the system lets this process have: one for each mail.
void AllowManyFiles() {
    rlimit limit{};
    if (getrlimit(RLIMIT_NOFILE, &limit) != 0) return;
    limit.rlim_cur = limit.rlim_max;
    setrlimit(RLIMIT_NOFILE, &limit);
}

std::vector<FolderLock> LockMails(std::string const& data) {
    AllowManyFiles();
    std::vector<FolderLock> locks;
    for (int const id : MailsIn(data)) {
        std::optional<FolderLock> lock = FolderLock::IfFree(data + "/" + MailFolder(id), "このメール");
        if (!lock)
            throw Failure(Failure::environment_busy,
                          "送信中のメールがあるので戻せません。送信が終わってからもう一度実行してください: " +
                              std::to_string(id));
        locks.push_back(*std::move(lock));
    }
    return locks;
}

// The list of mails in a file; without rows when there is none or it cannot be read whole.
class MailList {
  public:
    MailList(Session& session, std::string const& file)
        : keyed_(session.Environment().GetEnvType() != EnvManager::type_plain),
          key_(session.Environment().GetDBKey()) {
        list_.SetDBFilePath(IntoPath(file));
        readable_ = fs::exists(file) && list_.ReadDBFile(Key()) >= 0 && !list_.StoppedBeforeEnd();
        for (int line = 0; readable_ && line < list_.GetLineNumber(); ++line)
            lines_[list_.GetAtElement(line, CMailListViewer::column_id)] = line;
    }
    bool IsReadable() const { return readable_; }
    // None for a mail without a row.
    std::optional<CString> Cell(CString const& id, int column) const {
        auto const found = lines_.find(id);
        if (found == lines_.end()) return {};
        return list_.GetAtElement(found->second, column);
    }
    bool WasSent(int id) const {
        auto const sent = Cell(CString(std::to_string(id)), CMailListViewer::column_sent);
        return sent && !sent->IsEmpty() && *sent != "0";
    }
    // Takes over what `now` tells of the sending of each mail.
    void TakeSending(MailList const& now) {
        for (auto const& [id, line] : lines_) {
            auto const status = now.Cell(id, CMailListViewer::column_status);
            if (!status) continue;
            for (int const column : {CMailListViewer::column_sent, CMailListViewer::column_errors,
                                     CMailListViewer::column_opened})
                list_.SetAtElement(line, column, *now.Cell(id, column));
            if (*status != CMailListViewer::letter_deleted)
                list_.SetAtElement(line, CMailListViewer::column_status, *status);
        }
    }
    bool Write() { return list_.WriteDBFile(1, Key()) >= 0; }

  private:
    char const* Key() const { return keyed_ ? static_cast<char const*>(key_) : nullptr; }

    bool keyed_;
    CString key_;
    CMailListViewer list_;
    bool readable_ = false;
    std::map<CString, int> lines_;
};

bool IsPartOfHistory(std::string const& path, int id) {
    return path.starts_with(MailFolder(id) + "/hist" + std::to_string(id) + ".");
}

// A mail that is there afterwards keeps the history that it has now, also one that is missing although the
// list tells of attempts: who got the mail is not known then, and nobody is to get it again.
void KeepHistories(Session& session, NewState& state, MailList const& now) {
    std::string const& data = session.DataDirectory();
    for (int const id : MailsIn(data)) {
        std::string const mail = MailFolder(id), history = data + "/" + MailFile(id, "hist");
        bool const stays = std::any_of(state.paths.begin(), state.paths.end(), [&](std::string const& path) {
            return path.starts_with(mail + "/") && fs::exists(state.staged + "/" + path);
        });
        bool const has_history =
            fs::exists(history) || fs::exists(fs::path(history).replace_extension(".journal"));
        if (stays && (has_history || now.WasSent(id)))
            std::erase_if(state.paths, [&](std::string const& path) { return IsPartOfHistory(path, id); });
    }
}

std::uint64_t NextNumber(std::string const& file) {
    std::error_code unknown;
    return fs::exists(file, unknown) ? WholeNumber<std::uint64_t>(ReadWholeFile(file, "番号")).value_or(0)
                                     : 0;
}

void KeepSequences(Session const& session, NewState& state) {
    for (char const* file : sequence_files) {
        std::string const now = session.DataDirectory() + "/" + file, staged = state.staged + "/" + file;
        if (state.paths.contains(file) && fs::exists(now) &&
            (!fs::exists(staged) || NextNumber(staged) < NextNumber(now)))
            state.paths.erase(file);
    }
}

// The mails that were sent since are signed with the present one.
void KeepMessageKey(Session const& session, NewState& state) {
    if (ReadMessageKey(session.DataDirectory()).state == MessageKey::whole)
        state.paths.erase(message_key_file);
}

// Each comes from the earlier state only where there is none now.
void KeepConsent(std::string const& data, NewState& state) {
    for (std::string const file : {refusals_file, suspensions_file}) {
        std::string const record = FileRecord::PathFor(file);
        if (!fs::exists(data + "/" + file) && !fs::exists(data + "/" + record)) continue;
        state.paths.erase(file);
        state.paths.erase(record);
    }
}

void Write(std::string const& data, NewState const& state) {
    for (std::string const& path : state.paths) {
        std::string const target = data + "/" + path, staged = state.staged + "/" + path;
        if (fs::exists(staged)) {
            MakeFolder(fs::path(target).parent_path().string());
            MoveEntry(staged, target);
        } else {
            RemoveTree(target);
        }
    }
    // The folder of a mail that is gone would be taken for a mail without a row.
    for (int const id : MailsIn(data)) {
        std::string const folder = data + "/" + MailFolder(id);
        bool const gone = std::none_of(fs::recursive_directory_iterator(folder), {}, [](auto const& entry) {
            return entry.is_regular_file() && entry.path().filename() != ".lock";
        });
        if (gone) RemoveTree(folder);
    }
}

}  // namespace

StagingFolder::StagingFolder(Session const& session) : path_(session.DataDirectory() + "/.restore") {
    RemoveTree(path_);
    MakeFolder(path_);
}

StagingFolder::~StagingFolder() { RemoveWork(path_); }

void PutInPlace(Session& session, NewState state, std::string const& what) {
    std::string const& data = session.DataDirectory();
    std::vector<FolderLock> const locks = LockMails(data);
    MailList const now(session, data + "/" + mail_list_file);
    KeepHistories(session, state, now);
    KeepSequences(session, state);
    KeepMessageKey(session, state);
    KeepConsent(data, state);
    std::string const new_list = state.staged + "/" + mail_list_file;
    if (state.paths.contains(mail_list_file) && fs::exists(new_list)) {
        MailList list(session, new_list);
        list.TakeSending(now);
        if (list.IsReadable() && !list.Write())
            throw Failure(Failure::not_written, "メールの一覧を書き込めませんでした: " + new_list);
    }
    SafeChange change(data, {state.paths.begin(), state.paths.end()}, what);
    Write(data, state);
    if (fs::exists(data + "/" + mail_list_file) && !WriteRecords(data, {mail_list_file}))
        throw Failure(Failure::not_written, "環境に書き込めません: " + data);
    if (state.customers_in_place && state.paths.contains(customers_file)) state.customers_in_place();
    change.Keep();
}

}  // namespace engine
