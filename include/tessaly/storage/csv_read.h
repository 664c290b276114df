#pragma once

#include "tessaly/platform/export.h"
#include "tessaly/storage/record_reader.h"

// Reads plain CSV files of other programs by the rules of the table format, without substitution. The
// operations are those of storage::RecordReader.
class TESSALY_API CsvRead : public storage::RecordReader {
  public:
    CsvRead() = default;
};
