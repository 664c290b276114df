#pragma once

#include "tessaly/platform/export.h"
#include "tessaly/storage/record_reader.h"

// Reads the records of a table file: quoted fields whose bytes went through a substitution table. The
// operations are those of storage::RecordReader. Without SetUseKey the default table is used.
class TESSALY_API XCsvRead : public storage::RecordReader {
  public:
    XCsvRead();
    // From here on reads with the tables of `key`; null sets the default table again.
    void SetUseKey(char const* key);
};
