// Table files: the two ways of the record reader against a plain model, and a table that is read, written and
// read again.

#include "fuzz_target.h"
#include "memory_file.h"
#include "platform/cstring_pool.h"
#include "storage/key_tables.h"
#include "tessaly/storage/csv_read.h"
#include "tessaly/storage/my_db.h"
#include "tessaly/storage/substitution.h"
#include "tessaly/storage/xcsv_read.h"
#include "tests/storage/record_model.h"

namespace {

constexpr int columns = 2;

test::Record LineOf(storage::RecordReader& reader) {
    test::Record record;
    record.result = reader.ReadLine();
    for (int i = 0; i < reader.GetElementsNumber(); ++i) record.fields.emplace_back(reader.GetData(i));
    return record;
}

test::Record RowOf(storage::RecordReader& reader, CStringPool& pool) {
    XCStringArrayEx row;
    test::Record record;
    record.result = reader.ReadRow(pool, columns, row);
    for (CString const& cell : row) record.fields.emplace_back(cell);
    return record;
}

template <class Reader>
void CompareWithModel(std::string const& file, unsigned char const* table) {
    test::RecordModel model(file, table);
    Reader lines, rows;
    lines.SetFp(test::OpenBytes(file));
    rows.SetFp(test::OpenBytes(file));
    CStringPool pool;
    test::Record expected;
    for (std::size_t number = 0; number <= file.size() + 1 && expected.result >= 0; ++number) {
        expected = model.Read();
        fuzz::Check(LineOf(lines) == expected, "ReadLine is the model");
        fuzz::Check((lines.IsEof() != 0) == model.AtEnd(), "the end is seen where the model sees it");
        if (expected.result > 0) expected.fields.resize(columns);
        fuzz::Check(RowOf(rows, pool) == expected, "ReadRow is the model");
    }
    fuzz::Check(expected.result == storage::RecordReader::read_end, "the records end");
}

void ReadWriteRead(std::string_view file) {
    fuzz::MemoryFile const first(file), second;
    CMyDB table(columns), again(columns);
    table.SetElementNumber_Y2(columns + 1);
    table.SetDBFilePath(first.Path());
    int const result = table.ReadDBFile(nullptr);
    fuzz::Check(result == CMyDB::db_success || result == CMyDB::db_bad_format ||
                    result == CMyDB::db_file_empty || result == CMyDB::db_bad_cell_count,
                "ReadDBFile tells what is wrong with the content");
    table.SetDBFilePath(second.Path());
    fuzz::Check(table.WriteDBFile(1, "key") == CMyDB::db_success, "the rows are written");
    again.SetDBFilePath(second.Path());
    int const lines = table.GetLineNumber();
    fuzz::Check(again.ReadDBFile("key") == (lines == 0 ? CMyDB::db_file_empty : CMyDB::db_success),
                "what was written is read");
    fuzz::Check(again.GetLineNumber() == lines, "as many rows come back");
    for (int line = 0; line < lines; ++line)
        for (int column = 0; column < columns; ++column)
            fuzz::Check(again.GetAtElement(line, column) == table.GetAtElement(line, column),
                        "every cell comes back");
}

}  // namespace

void FuzzOne(std::string_view bytes) {
    if (bytes.empty()) return;
    std::string file(bytes);
    CompareWithModel<CsvRead>(file, nullptr);
    storage::Substitute(file.data(), file.size(), storage::DefaultEncodeTable());
    CompareWithModel<XCsvRead>(file, storage::DefaultDecodeTable());
    ReadWriteRead(file);
}
