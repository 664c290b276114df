#pragma once

#include <cstdint>
#include <future>
#include <optional>
#include <string>

#include "engine/environment/file_record.h"

namespace engine {

class Session;

// How a table compares with its record.
enum class Wholeness {
    as_recorded,
    without_record,
    other,  // another program may have written it, or a byte of it has changed
};

// The reading of a table of an environment. The object is made before the library reads the table, and is
// asked when it has; meanwhile a large file's digest is made beside that.
class TableReading {
  public:
    // `path`: of the table, below the data directory. Throws Failure for one that is missing although it has
    // a record.
    TableReading(Session& session, std::string path);
    // `whole`: whether the library read the table up to the end of the file. Throws Failure for a table that
    // it did not, and for an empty one that had rows. A table that is not as recorded, or whose record is
    // damaged, is told once in a session.
    Wholeness End(bool whole);
    // The same for a table of the library's classes and the success of its reading.
    Wholeness End(bool read, auto const& table) { return End(read && !table.StoppedBeforeEnd()); }
    // Throws the Failure: the table is not whole, and how many rows of it can be read.
    [[noreturn]] void Refuse() const;

    // The result of End.
    Wholeness Result() const { return result_; }

  private:
    std::optional<TableContent> Content();
    bool IsAsRecorded();
    void TellOther();

    Session& session_;
    std::string const path_, file_;
    FileRecord record_;
    std::optional<TableContent> content_;
    std::future<std::optional<TableContent>> digest_;
    Wholeness result_ = Wholeness::without_record;
};

// Throws Failure for a table that is not whole and is about to be written anew without being read.
void RequireReadable(Session& session, std::string const& path);
// Keeps a file as "NAME.damagedN" beside it. Result: the host path of the copy, which is on the disk. Throws
// Failure.
std::string KeepDamaged(std::string const& file);

}  // namespace engine
