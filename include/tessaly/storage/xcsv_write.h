#pragma once

#include "tessaly/platform/export.h"
#include "tessaly/storage/record_writer.h"

// Writes the records of a table file: quoted fields whose bytes go through a substitution table. The
// operations are those of storage::RecordWriter. Without SetUseKey the default table is used.
class TESSALY_API XCsvWrite : public storage::RecordWriter {
  public:
    XCsvWrite();
    // From here on writes with the tables of `key`; null sets the default table again.
    void SetUseKey(char const* key);
};
