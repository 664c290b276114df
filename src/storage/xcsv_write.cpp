#include "tessaly/storage/xcsv_write.h"

#include "storage/key_tables.h"
#include "tessaly/storage/substitution.h"

XCsvWrite::XCsvWrite() { SetTable(storage::DefaultEncodeTable()); }

void XCsvWrite::SetUseKey(char const* key) {
    SetTable(key ? storage::EncodeTable(GetKeyNumber(key)) : storage::DefaultEncodeTable());
}
