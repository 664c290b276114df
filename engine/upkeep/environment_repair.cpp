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

namespace fs = std::filesystem;

namespace engine {
namespace {

constexpr int text_slots = 7;

class Repair {
  public:
    Repair(Session& session, RepairRequest const& request)
        : session_(session), request_(request), state_(StateOfEnvironment(session)) {}

    void Run() {
        if (Plan().empty() && !state_.IsWhole() && !HasSequenceToMove()) return TellRest();
        if (Plan().empty() && !HasSequenceToMove()) return session_.Front().Result("直すものはありません。");
        Ask();
        for (int const mail : MailsToSettle()) Settle(mail);
        for (TableState const* table : Plan()) RepairOne(*table);
        MoveSequences();
        session_.LoadSettings();
        session_.Mails();  // the library adds a row for each mail that has lost its own
        TellRest();
    }

  private:
    std::vector<TableState const*> Plan() const {
        std::vector<TableState const*> plan;
        for (TableState const& table : state_.tables) {
            bool const good = table.state == TableState::whole || table.state == TableState::without_record;
            if (!good || table.record_damaged) plan.push_back(&table);
        }
        return plan;
    }

    // Those whose histories or journals are not whole.
    std::set<int> MailsToSettle() const {
        std::set<int> mails;
        for (TableState const* table : Plan())
            if (table->kind->form == TableKind::history && table->state != TableState::whole)
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
        if (table.IsUsable() && rows == table.rows) return Accept(table);
        KeepPresent(table);
        table.rows = rows;
        Rewrite(table, {});
        TellLost(table, {});
    }

    void KeepPresent(TableState const& table) const {
        std::string const file = session_.DataDirectory() + "/" + table.path;
        if (fs::exists(file)) session_.Front().Result("直す前のファイルを残しました: " + KeepDamaged(file));
    }

    void RepairOne(TableState const& table) {
        if (table.kind->form == TableKind::history && table.state != TableState::whole) return;  // settled
        if (table.IsUsable()) return Accept(table);
        std::string const file = session_.DataDirectory() + "/" + table.path;
        std::string const backup_rows = table.kind->form == TableKind::customers ? FromBackup(table) : "";
        bool const has_rows = table.readable.rows > 0 || !backup_rows.empty();
        if (table.kind->form == TableKind::customers && !has_rows && table.recorded_rows.value_or(1) > 0) {
            session_.Front().Result(
                "顧客データには読める行がありません。--backup で控えを指定してください: " + file);
            left_ = true;
            return;
        }
        KeepPresent(table);
        Rewrite(table, backup_rows);
        TellLost(table, backup_rows);
    }

    void Accept(TableState const& table) {
        if (!WriteRecords(session_.DataDirectory(), {table.path}))
            throw Failure(Failure::not_written, "記録を書けませんでした: " + table.path);
        session_.Front().Result(std::string(table.kind->name) + "を今の内容で認めました: " + table.path +
                                " (" + Grouped(table.readable.rows) + "行)");
    }

    // A form whose rows are told by their places is never left with rows in wrong places.
    void Rewrite(TableState const& table, std::string const& backup_rows) {
        if (table.kind->form == TableKind::settings && table.readable.rows == 0)
            return WriteDefaultSettings(session_.Environment(), session_.DataDirectory());
        std::string rows = table.rows + backup_rows;
        if (table.kind->form == TableKind::conditions) rows.clear();
        if (table.kind->form == TableKind::texts) rows = TextsInPlace(table);
        MakeFolder(fs::path(session_.DataDirectory() + "/" + table.path).parent_path().string());
        bool const written =
            ReplaceTable(session_.DataDirectory() + "/" + table.path, [&](std::string const& new_file) {
                OutputFile out(new_file, table.kind->name, OutputFile::Begin::anew);
                out.Write(rows);
                return true;
            });
        if (!written) throw Failure(Failure::not_written, "書き込めませんでした: " + table.path);
    }

    // The rows before the first damage keep their places, and so do those behind the last one.
    std::string TextsInPlace(TableState const& table) const {
        std::optional<CString> const key = session_.TableKey();
        std::vector<std::string> rows;
        ScanRows(table.rows, key ? static_cast<char const*>(*key) : nullptr, *table.kind,
                 [&](std::string_view bytes, std::string_view) { rows.emplace_back(bytes); });
        std::string const no_text = RowOf({"", ""}, key ? static_cast<char const*>(*key) : nullptr);
        std::size_t const gap =
            table.readable.places.empty() ? rows.size() : table.readable.places.back().row;
        while (rows.size() < text_slots)
            rows.insert(rows.begin() + static_cast<std::ptrdiff_t>(std::min(gap, rows.size())), no_text);
        std::string text;
        for (std::string const& row : rows) text += row;
        return text;
    }

    // The rows of the backup whose customers have none.
    std::string FromBackup(TableState const& table) {
        if (request_.backup.empty()) return {};
        std::string const content = ReadWholeFile(request_.backup, "控え");
        std::optional<CString> const key = session_.TableKey();
        std::set<int> const present(table.ids.begin(), table.ids.end());
        std::string rows;
        ReadableRows const readable =
            ScanRows(content, key ? static_cast<char const*>(*key) : nullptr, *table.kind,
                     [&](std::string_view bytes, std::string_view first_cell) {
                         int const id = WholeNumber(first_cell).value_or(-1);
                         if (id < 0 || present.contains(id)) return;
                         rows += bytes;
                         taken_.push_back(id);
                     });
        if (!readable.Whole() || readable.rows == 0)
            throw Failure(Failure::unsuitable_file,
                          "この環境の顧客の控えではないか、壊れています: " + request_.backup +
                              "\n「tessaly backup --customers」で作ったものを指定してください。");
        return rows;
    }

    void TellLost(TableState const& table, std::string const& backup_rows) {
        FrontEnd& front = session_.Front();
        std::string const name = table.kind->name;
        if (table.kind->form == TableKind::settings && table.readable.rows == 0)
            return front.Result("設定は失われ、初めの値に戻りました。差出人とサーバーを決め直してください。");
        if (table.kind->form == TableKind::conditions)
            return front.Result("宛先の条件は失われました。「tessaly target」で選び直せます: " + table.path);
        front.Result(name + "の " + Grouped(table.readable.rows) + "行を救い出しました: " + table.path);
        if (!backup_rows.empty())
            front.Result("控えから戻した顧客 " + Grouped(taken_.size()) + "人: " + ListOf(taken_) +
                         "\n控えのあとに変えたこと (配信の希望も) は失われています。");
        std::vector<int> lost;
        for (DamagedPlace const& place : table.readable.places)
            for (std::uint64_t const id : place.ids) lost.push_back(static_cast<int>(id));
        std::set<int> back(taken_.begin(), taken_.end());
        back.insert(table.ids.begin(), table.ids.end());
        if (table.kind->form == TableKind::customers)
            std::erase_if(lost, [&](int id) { return back.contains(id); });
        std::size_t const rows = table.kind->form == TableKind::customers
                                     ? back.size() + table.repeated_ids.size()
                                     : table.readable.rows;
        std::size_t lines = 0;
        for (DamagedPlace const& place : table.readable.places) lines += place.lines;
        if (table.recorded_rows)
            lines = *table.recorded_rows > rows ? static_cast<std::size_t>(*table.recorded_rows) - rows : 0;
        if (lines > 0)
            front.Result(name + "の " + Grouped(lines) + "行は失われました" +
                         (lost.empty() ? "。" : "。わかる番号: " + ListOf(lost)));
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
    std::vector<int> taken_;  // customers from the backup
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
