#include "engine/upkeep/repaired_rows.h"

#include <algorithm>
#include <set>
#include <string_view>
#include <utility>

#include "engine/base/failure.h"
#include "engine/base/whole_file.h"
#include "engine/base/whole_number.h"
#include "engine/environment/backup_archive.h"
#include "engine/environment/data_paths.h"

namespace engine {
namespace {

constexpr std::size_t text_slots = 7;

[[noreturn]] void Unsuitable(std::string const& file) {
    throw Failure(Failure::unsuitable_file, "この環境の控えではないか、壊れています: " + file,
                  {.file = file});
}

struct NumberedRow {
    int id;
    std::string_view bytes;
};

std::vector<NumberedRow> NumberedRows(Session& session, TableState const& table) {
    std::vector<NumberedRow> rows;
    std::optional<CString> const key = session.TableKey();
    ScanRows(table.rows, key ? static_cast<char const*>(*key) : nullptr, *table.kind,
             [&](std::string_view bytes, std::string_view id) {
                 rows.push_back({WholeNumber(id).value_or(-1), bytes});
             });
    return rows;
}

// In the order of the numbers where the readable rows are so.
RepairedRows United(Session& session, TableState const& table, TableState const& backup) {
    auto const by_id = [](NumberedRow const& a, NumberedRow const& b) { return a.id < b.id; };
    std::vector<NumberedRow> rows = NumberedRows(session, table);
    bool const ordered = std::is_sorted(rows.begin(), rows.end(), by_id);
    std::set<int> const repeated(table.repeated_ids.begin(), table.repeated_ids.end()),
        there(backup.ids.begin(), backup.ids.end());
    std::erase_if(
        rows, [&](NumberedRow const& row) { return repeated.contains(row.id) && there.contains(row.id); });
    std::set<int> present;
    for (NumberedRow const& row : rows) present.insert(row.id);
    RepairedRows repaired;
    for (NumberedRow const& row : NumberedRows(session, backup)) {
        if (!present.insert(row.id).second) continue;
        rows.push_back(row);
        repaired.ids_from_backup.push_back(row.id);
    }
    if (ordered) std::stable_sort(rows.begin(), rows.end(), by_id);
    for (NumberedRow const& row : rows) repaired.bytes += row.bytes;
    repaired.from_backup = !repaired.ids_from_backup.empty();
    return repaired;
}

std::vector<std::string> RowsIn(Session& session, TableState const& table) {
    std::vector<std::string> rows;
    for (NumberedRow const& row : NumberedRows(session, table)) rows.emplace_back(row.bytes);
    return rows;
}

// The rows before the last damage keep their places, and those behind it are the last ones.
RepairedRows TextsInPlace(Session& session, TableState const& table, TableState const* backup) {
    std::optional<CString> const key = session.TableKey();
    std::vector<std::string> rows = RowsIn(session, table), there;
    if (backup) there = RowsIn(session, *backup);
    std::size_t const missing = text_slots - std::min(rows.size(), text_slots),
                      gap = table.readable.places.empty() ? rows.size() : table.readable.places.back().row;
    RepairedRows repaired;
    for (std::size_t slot = gap; slot < gap + missing; ++slot) {
        bool const known = slot < there.size();
        rows.insert(rows.begin() + static_cast<std::ptrdiff_t>(slot),
                    known ? there[slot] : RowOf({"", ""}, key ? static_cast<char const*>(*key) : nullptr));
        repaired.from_backup = repaired.from_backup || known;
    }
    for (std::string const& row : rows) repaired.bytes += row;
    return repaired;
}

}  // namespace

BackupTables::BackupTables(Session& session, std::string const& file,
                           std::vector<std::string> const& tables) {
    if (file.empty()) return;
    std::string const folder = session.DataDirectory() + "/.restore";
    std::map<std::string, std::string> files;  // by the table's path
    if (IsArchive(file)) {
        RemoveTree(folder);
        MakeFolder(folder);
        ReadArchive(file, [&](std::string const& name) {
            for (std::string const& table : tables)
                if (name == std::string(backup_data) + table)
                    return files[table] = folder + "/" + std::to_string(files.size());
            return std::string();
        });
    } else {
        files[customers_file] = file;
    }
    for (auto const& [path, copy] : files) {
        TableState& table = tables_[path];
        ReadRowsOf(session, ReadWholeFile(copy, "控え"), path, table);
        bool const has_customers = path != customers_file || IsArchive(file) || table.readable.rows > 0;
        if (!table.readable.Whole() || !has_customers) Unsuitable(file);
    }
    RemoveWork(folder);
}

TableState const* BackupTables::Find(std::string const& path) const {
    auto const found = tables_.find(path);
    return found == tables_.end() ? nullptr : &found->second;
}

RepairedRows RepairRows(Session& session, TableState const& table, TableState const* backup) {
    switch (table.kind->form) {
        case TableKind::customers:
        case TableKind::testers:
        case TableKind::groups:
        case TableKind::mails:
            if (backup) return United(session, table, *backup);
            return {table.rows};
        case TableKind::settings:
            if (table.readable.rows == 1) return {table.rows};
            [[fallthrough]];
        case TableKind::conditions: return backup ? RepairedRows{backup->rows, true, {}} : RepairedRows();
        case TableKind::texts: return TextsInPlace(session, table, backup);
        case TableKind::recipients:
        case TableKind::history:
        case TableKind::attachments: break;
    }
    return {table.rows};
}

}  // namespace engine
