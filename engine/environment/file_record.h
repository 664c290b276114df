#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <set>
#include <string>
#include <vector>

// The record beside a table file X, "X.record": what the file held when it was written, so that a file that
// was cut, damaged or removed since is told apart from a whole one. docs/file-formats.md has its form.
namespace engine {

struct TableContent {
    std::uint64_t rows = 0;  // records, counted by the line ends outside quotes
    std::uint64_t bytes = 0;
    std::string sha256;  // hexadecimal digits
    bool operator==(TableContent const& other) const { return sha256 == other.sha256; }
};

enum class Rows {
    counted,
    not_counted,  // 0 in the result, which takes half the time
};
// Of a table file, by its host path; nothing for a file that is not there. Throws Failure for one that cannot
// be read.
std::optional<TableContent> ContentOf(std::string const& table, Rows rows = Rows::counted);

// The record of a table file, as it stands on the disk when the object is made.
class FileRecord {
  public:
    enum State {
        none,  // an older environment, or a file that this application never wrote
        good,
        damaged,  // it cannot be read, or a line of it is not as it was written
    };

    explicit FileRecord(std::string const& table);

    State GetState() const { return state_; }
    // Whether a line stands for this content, or for no file. While a file is being replaced the lines of the
    // old and of the new content count.
    bool Allows(std::optional<TableContent> const& content) const;
    // The content of the newest line; nothing without one, and where it stands for no file.
    std::optional<TableContent> const& Newest() const { return newest_; }
    bool AllowsOnly(std::optional<TableContent> const& content) const;
    bool operator==(FileRecord const&) const = default;

    // Writes both lines before a file is replaced, and brings them to the disk: the content so far, by the
    // record or else by the file itself, and that of `new_file`. false on failure.
    static bool Announce(std::string const& table, std::string const& new_file);
    // Ends the replacement: the content before it does not count any more.
    static void Settle(std::string const& table);

    static std::string PathFor(std::string const& table);

  private:
    State state_ = none;
    std::vector<std::optional<TableContent>> allowed_;
    std::optional<TableContent> newest_;
};

// The host paths of the tables in a folder and below it: those that are there, and those with a record.
std::set<std::string> TablesIn(std::string const& folder);

// Writes the records of tables that were put in their places by other means, as they lie there: of each of
// `paths` that is a table, and of every table in one that is a folder. The record of a table that is not
// there is removed; other files have none. `paths` are below the data directory. false when a record could
// not be brought to the disk.
bool WriteRecords(std::string const& data_directory, std::vector<std::string> const& paths);

// Replaces a table: `write` fills the file that it is given (host path, beside the table) and says whether
// that worked; the new file and then the record are brought to the disk before it takes the table's name.
// false, with the table as it was, when anything fails.
bool ReplaceTable(std::string const& table, std::function<bool(std::string const& new_file)> const& write);

// From then on the library replaces the tables of an environment that it writes by itself in this way.
void HaveTablesReplaced();

}  // namespace engine
