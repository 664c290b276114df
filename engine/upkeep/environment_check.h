#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "engine/environment/message_key.h"
#include "engine/environment/session.h"
#include "engine/environment/table_kind.h"
#include "engine/environment/table_rows.h"
#include "engine/upkeep/list_repair.h"

// Whether all files of an environment are whole. It is read without the library's loaders, so that damage in
// one file does not hide the state of another.
namespace engine {

struct TableState {
    enum State {
        whole,           // as recorded
        without_record,  // it reads to its end
        other,           // it reads to its end, and is not as recorded
        damaged,         // rows cannot be read
        emptied,         // without rows where there were some
        missing,
    };

    std::string path;  // below the data directory
    TableKind const* kind = nullptr;
    State state = missing;
    bool record_damaged = false;
    ReadableRows readable;
    std::optional<std::uint64_t> recorded_rows;
    std::vector<int> ids;           // the first cells of the readable rows, where they are numbers
    std::vector<int> repeated_ids;  // among them
    std::string rows;               // the bytes of the readable rows, unless all is as recorded

    // It may be read and written, though perhaps with a notice.
    bool IsUsable() const { return state == whole || state == without_record || state == other; }
};
// The readable rows of such a table's file, its kind and their numbers.
void ReadRowsOf(Session& session, std::string_view file, std::string const& path, TableState& table);
TableState StateOfTable(Session& session, std::string const& path);
// The paths of all tables that lie in the environment or have a record there, and of those that each has.
std::vector<std::string> TablesOf(Session& session);

struct JournalState {
    int mail = 0;
    bool damaged = false;
    std::size_t records = 0;
};

struct EnvironmentState {
    std::vector<TableState> tables;
    std::vector<JournalState> journals;
    std::vector<ListState> lists;
    std::vector<std::string> troubles;  // with sequences, attachments, received mails and the key; sentences
    std::vector<std::string> notes;     // of what a power cut can leave and its next use puts right
    std::size_t attachments = 0, received = 0;
    MessageKey::State message_key = MessageKey::none;

    TableState const* Find(std::string const& path) const;
    bool IsWhole() const;
};
// The session is one for checking or restoring.
EnvironmentState StateOfEnvironment(Session& session);

// "顧客データ (DB/database.dat)", and what is wrong with it or how many rows it has.
std::string DescribeTable(TableState const& table);

// Shows the state as results. Result: whether all is whole.
bool CheckEnvironment(Access const& access, std::string const& env_file);

}  // namespace engine
