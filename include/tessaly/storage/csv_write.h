#pragma once

#include "tessaly/platform/export.h"
#include "tessaly/storage/record_writer.h"

// Writes plain CSV files by the rules of the table format, without substitution. The operations are those of
// storage::RecordWriter.
class TESSALY_API CsvWrite : public storage::RecordWriter {
  public:
    CsvWrite() = default;
};
