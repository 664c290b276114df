#include "tessaly/storage/xcsv_read.h"

#include "storage/key_tables.h"
#include "tessaly/storage/substitution.h"

XCsvRead::XCsvRead() { SetTable(storage::DefaultDecodeTable()); }

void XCsvRead::SetUseKey(char const* key) {
    SetTable(key ? storage::DecodeTable(GetKeyNumber(key)) : storage::DefaultDecodeTable());
}
