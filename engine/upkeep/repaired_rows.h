#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "engine/upkeep/environment_check.h"

// What a damaged table becomes.
namespace engine {

// The tables of a backup of the whole environment, or the customers of one of them alone.
class BackupTables {
  public:
    // `file`: host path; empty for no backup. Only these tables are read, by their paths below the data
    // directory. Throws Failure (unsuitable_file) for a file that is no backup, or not whole.
    BackupTables(Session& session, std::string const& file, std::vector<std::string> const& tables);
    // The state of a table in the backup, with its rows; null where the backup does not have it. Throws
    // Failure (unsuitable_file) for one that cannot be read with the key of the environment.
    TableState const* Find(std::string const& path) const;

  private:
    std::map<std::string, TableState> tables_;
};

struct RepairedRows {
    std::string bytes{};                 // of the new file
    bool from_backup = false;            // whether the backup gave any
    std::vector<int> ids_from_backup{};  // their numbers, where they have some
};
// `backup`: the same table there, or null. Rows with numbers are united with those of the backup that have
// none of theirs; of rows that share a number, the backup's counts. Texts keep the places of their terminals.
// Conditions and settings are the backup's, or empty, where they are not whole.
RepairedRows RepairRows(Session& session, TableState const& table, TableState const* backup);

}  // namespace engine
