#pragma once

#include <memory>
#include <string>

#include "tessaly/platform/export.h"

// How an application has the library write its table files.
namespace storage {

// A file that is written in the stead of a table file and takes its place when it is complete.
class TESSALY_API NewTableFile {
  public:
    NewTableFile() = default;
    NewTableFile(NewTableFile const&) = delete;
    NewTableFile& operator=(NewTableFile const&) = delete;
    // Without Commit the table file stays as it was.
    virtual ~NewTableFile();
    // The host path to write to; empty when no file can be made.
    virtual std::string const& File() const = 0;
    // The file is written and closed. false when it did not take the table's place.
    [[nodiscard]] virtual bool Commit() = 0;
};

// Gets the host path of a table file that is about to be written. Null: it is emptied and rewritten.
using NewTableFileMaker = std::unique_ptr<NewTableFile> (*)(std::string const& table);

// Every class that writes records to a file by its path asks `maker` from then on, in every thread. Null, as
// at the start, has each file emptied and rewritten. A writer then tells a failed Commit as a failed write.
TESSALY_API void SetNewTableFileMaker(NewTableFileMaker maker);

}  // namespace storage
