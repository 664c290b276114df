#include "engine/upkeep/environment_repair.h"

#include <algorithm>
#include <filesystem>
#include <set>
#include <vector>

#include "engine/base/date_text.h"
#include "engine/base/failure.h"
#include "engine/base/whole_file.h"
#include "engine/base/whole_number.h"
#include "engine/environment/data_paths.h"
#include "engine/environment/file_record.h"
#include "engine/environment/new_environment.h"
#include "engine/mails/states.h"
#include "engine/upkeep/history_repair.h"
#include "engine/upkeep/repaired_rows.h"

namespace fs = std::filesystem;

namespace engine {
namespace {

class Repair {
  public:
    Repair(Session& session, RepairRequest const& request)
        : session_(session),
          request_(request),
          state_(StateOfEnvironment(session)),
          backup_(session, request.backup, Paths(Plan())) {}

    void Run() {
        std::set<int> const mails = MailsToSettle();
        bool const key_damaged = state_.message_key == MessageKey::damaged;
        std::vector<ListState> const lists = DamagedLists();
        bool const nothing =
            Plan().empty() && mails.empty() && lists.empty() && !HasSequenceToMove() && !key_damaged;
        if (nothing && state_.IsWhole()) return session_.Front().Result("直すものはありません。");
        if (!nothing) Ask();
        for (int const mail : mails) Settle(mail);
        for (TableState const* table : Plan())
            if (table->kind->form != TableKind::history) RepairOne(*table);
        MoveSequences();
        if (key_damaged) RenewMessageKey();
        for (ListState const& list : lists) RepairList(session_, list, request_.backup);
        session_.LoadSettings();
        if (!lists.empty() && !left_) ListRefusersAgain(session_);
        session_.Mails();  // the library adds a row for each mail that has lost its own
        TellRest();
    }

  private:
    std::vector<TableState const*> Plan() const {
        std::vector<TableState const*> plan;
        for (TableState const& table : state_.tables) {
            bool const good = table.state == TableState::whole || table.state == TableState::without_record;
            bool const two_of_one = !table.repeated_ids.empty() && !request_.backup.empty();
            if (!good || table.record_damaged || two_of_one) plan.push_back(&table);
        }
        return plan;
    }
    static std::vector<std::string> Paths(std::vector<TableState const*> const& tables) {
        std::vector<std::string> paths;
        for (TableState const* table : tables) paths.push_back(table->path);
        return paths;
    }

    std::vector<ListState> DamagedLists() const {
        std::vector<ListState> lists = state_.lists;
        std::erase_if(lists, [](ListState const& list) { return list.IsGood(); });
        return lists;
    }

    // Those whose histories or journals are not whole.
    std::set<int> MailsToSettle() const {
        std::set<int> mails;
        for (TableState const* table : Plan())
            if (table->kind->form == TableKind::history)
                mails.insert(
                    WholeNumber(fs::path(table->path).parent_path().filename().string()).value_or(0));
        for (JournalState const& journal : state_.journals)
            if (journal.damaged) mails.insert(journal.mail);
        return mails;
    }

    void Ask() const {
        FrontEnd& front = session_.Front();
        for (TableState const* table : Plan()) front.Notice(DescribeTable(*table));
        for (JournalState const& journal : state_.journals)
            if (journal.damaged)
                front.Notice("送信の記録 (メール " + std::to_string(journal.mail) + ") が壊れています。");
        if (state_.message_key == MessageKey::damaged) front.Notice("署名の鍵が壊れています。");
        for (ListState const& list : DamagedLists()) front.Notice(DescribeList(list));
        if (!request_.yes &&
            !front.Confirm("これらを直しますか? 壊れたファイルは NAME.damagedN として残します"))
            throw Failure(Failure::declined, "何も変えていません。");
    }

    // The unknown recipients are on the disk before the history can be used again.
    void Settle(int mail) {
        std::set<int> const unknown = MakeLostRecipientsUnknown(session_, state_, mail);
        RepairHistory(mail, unknown);
        if (!unknown.empty())
            session_.Front().Result("メール " + std::to_string(mail) + " では、届いたかどうかわからない " +
                                    Grouped(unknown.size()) +
                                    "人を「不明」にしました。送りません。「tessaly unknown " +
                                    session_.EnvFile() + " " + std::to_string(mail) + "」で決められます。");
    }

    // Every unknown recipient has a row, for the day on which it is known.
    void RepairHistory(int mail, std::set<int> const& unknown) {
        std::string const path = MailFile(mail, "hist");
        TableState const* const found = state_.Find(path);
        TableState table = found ? *found : TableState();
        table.path = path;
        table.kind = TableKindOf(path);
        std::set<int> written;
        std::string rows;
        std::optional<CString> const key = session_.TableKey();
        char const* const used_key = key ? static_cast<char const*>(*key) : nullptr;
        ScanRows(table.rows, used_key, *table.kind, [&](std::string_view bytes, std::string_view id) {
            if (written.insert(WholeNumber(id).value_or(-1)).second) rows += bytes;
        });
        for (int const id : unknown)
            if (written.insert(id).second)
                rows += RowOf({std::to_string(id), LetterOf(RecipientState::waiting), "-1", "N", "",
                               std::string(DateText(COleDateTime()).View())},
                              used_key);
        if (table.IsUsable() && rows == table.rows) {
            if (table.state != TableState::whole || table.record_damaged) Accept(table);
            return;
        }
        KeepPresent(table);
        Rewrite(table, rows);
        TellLost(table, {rows, false, {}});
    }

    void KeepPresent(TableState const& table) const {
        std::string const file = session_.DataDirectory() + "/" + table.path;
        if (fs::exists(file)) session_.Front().Result("直す前のファイルを残しました: " + KeepDamaged(file));
    }

    void RepairOne(TableState const& table) {
        RepairedRows const rows = RepairRows(session_, table, backup_.Find(table.path));
        if (table.IsUsable() && (table.repeated_ids.empty() || !rows.from_backup)) return Accept(table);
        bool const nobody = table.kind->form == TableKind::customers && rows.bytes.empty();
        if (nobody && table.recorded_rows.value_or(1) > 0) {
            session_.Front().Result(
                "顧客データには読める行がありません。--backup で控えを指定してください: " + table.path);
            left_ = true;
            return;
        }
        KeepPresent(table);
        if (table.kind->form == TableKind::settings && rows.bytes.empty())
            WriteDefaultSettings(session_.Environment(), session_.DataDirectory());
        else
            Rewrite(table, rows.bytes);
        TellLost(table, rows);
    }

    void Accept(TableState const& table) {
        if (!WriteRecords(session_.DataDirectory(), {table.path}))
            throw Failure(Failure::not_written, "記録を書けませんでした: " + table.path);
        session_.Front().Result(std::string(table.kind->name) + "を今の内容で認めました: " + table.path +
                                " (" + Grouped(table.readable.rows) + "行)");
    }

    void Rewrite(TableState const& table, std::string const& rows) {
        std::string const file = session_.DataDirectory() + "/" + table.path;
        MakeFolder(fs::path(file).parent_path().string());
        bool const written = ReplaceTable(file, [&](std::string const& new_file) {
            OutputFile out(new_file, table.kind->name, OutputFile::Begin::anew);
            out.Write(rows);
            return true;
        });
        if (!written) throw Failure(Failure::not_written, "書き込めませんでした: " + table.path);
    }

    void TellLost(TableState const& table, RepairedRows const& rows) const {
        FrontEnd& front = session_.Front();
        std::string const name = table.kind->name;
        std::size_t const from_backup = rows.ids_from_backup.size();
        if (rows.from_backup)
            front.Result(name + "は、控えから" +
                         (from_backup > 0
                              ? " " + Grouped(from_backup) + "行 (" + ListOf(rows.ids_from_backup) + ")"
                              : "") +
                         "戻しました。控えのあとの変更は失われています: " + table.path);
        if (table.kind->form == TableKind::settings && rows.bytes.empty())
            return front.Result("設定は失われ、初めの値に戻りました。差出人とサーバーを決め直してください。");
        if (table.kind->form == TableKind::conditions && !rows.from_backup)
            return front.Result("宛先の条件は失われました。「tessaly target」で選び直せます: " + table.path);
        front.Result(name + "の " + Grouped(table.readable.rows) + "行を救い出しました: " + table.path);
        std::set<int> const back(rows.ids_from_backup.begin(), rows.ids_from_backup.end());
        std::vector<int> known;
        std::size_t lost = 0;
        for (DamagedPlace const& place : table.readable.places) {
            lost += place.lines;
            for (std::uint64_t const id : place.ids)
                if (!back.contains(static_cast<int>(id))) known.push_back(static_cast<int>(id));
        }
        if (table.recorded_rows) {
            std::size_t const there = table.readable.rows + from_backup;
            lost = *table.recorded_rows > there ? static_cast<std::size_t>(*table.recorded_rows) - there : 0;
        }
        if (lost > 0)
            front.Result(name + "の " + Grouped(lost) + "行は失われました" +
                         (known.empty() ? "。" : "。わかる番号: " + ListOf(known)));
    }

    static std::string ListOf(std::vector<int> const& ids) {
        std::string text;
        for (int const id : ids) text += (text.empty() ? "" : ", ") + std::to_string(id);
        return text;
    }

    struct Sequence {
        char const *file, *table;
    };
    static constexpr Sequence sequences[] = {{"DB/dbseq.dat", customers_file},
                                             {"MAIL/mailseq.dat", mail_list_file},
                                             {"EXTRACT/extrseq.dat", groups_file}};

    // The value that a sequence has to have; nothing where it has a good one.
    std::optional<int> NewValue(Sequence const& sequence) const {
        std::string const file = session_.DataDirectory() + "/" + sequence.file;
        TableState const* const owners = state_.Find(sequence.table);
        int largest = -1;
        if (owners && !owners->ids.empty())
            largest = *std::max_element(owners->ids.begin(), owners->ids.end());
        std::string const text = fs::exists(file) ? ReadWholeFile(file, "番号") : "0";
        auto const next = text.empty() ? 0 : WholeNumber(text);
        return next && *next > largest ? std::nullopt : std::optional<int>(largest + 1);
    }
    bool HasSequenceToMove() const {
        return std::any_of(std::begin(sequences), std::end(sequences),
                           [&](Sequence const& sequence) { return NewValue(sequence).has_value(); });
    }
    void MoveSequences() {
        for (Sequence const& sequence : sequences) {
            std::optional<int> const value = NewValue(sequence);
            if (!value) continue;
            if (!ReplaceFile(session_.DataDirectory() + "/" + sequence.file, std::to_string(*value)))
                throw Failure(Failure::not_written, std::string("番号を書けませんでした: ") + sequence.file);
            session_.Front().Result("次の番号を " + std::to_string(*value) + " にしました: " + sequence.file);
        }
    }

    void RenewMessageKey() {
        session_.Front().Result(
            "壊れた署名の鍵を残しました: " + PutAsideMessageKey(session_) +
            "\n次に送るときに新しい鍵を作ります。これまでのメールへの返事は、送信履歴で確かめます。");
    }

    void TellRest() {
        EnvironmentState const now = StateOfEnvironment(session_);
        for (std::string const& trouble : now.troubles) session_.Front().Result(trouble);
        if (left_ || !now.IsWhole())
            throw Failure(Failure::damaged_file, "直せないものが残っています。「tessaly env check " +
                                                     session_.EnvFile() + "」で見られます。");
        session_.Front().Result("すべて完全になりました。");
    }

    Session& session_;
    RepairRequest const& request_;
    EnvironmentState const state_;
    BackupTables const backup_;
    bool left_ = false;
};

}  // namespace

void RepairEnvironment(Access const& access, std::string const& env_file, RepairRequest const& request) {
    if (!request.backup.empty() && !fs::is_regular_file(request.backup))
        throw Failure(Failure::file_not_found, "控えのファイルがありません: " + request.backup);
    Session session(access, env_file, Session::For::restoring);
    Repair(session, request).Run();
}

}  // namespace engine
