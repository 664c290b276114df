// Delimited text from other programs: its records hold all of the file, and become one line each. The first
// byte of the input chooses encoding, delimiter and quote. What is no text is refused.

#include "engine/customers/csv_source.h"

#include <algorithm>
#include <utility>

#include "engine/base/failure.h"
#include "fuzz_target.h"

namespace {

std::size_t BytesOfText(std::string_view text) {
    return static_cast<std::size_t>(
        std::count_if(text.begin(), text.end(), [](char c) { return c != '\r' && c != '\n'; }));
}

void CheckRecord(engine::CsvSource const& source, engine::CsvSource::Record const& record) {
    fuzz::Check(!record.raw.empty(), "blank lines are passed over");
    engine::Crossed const crossed = source.ForLibrary(record);
    if (crossed.no_form) {
        auto const inner = static_cast<std::size_t>(std::count(record.raw.begin(), record.raw.end(), '\n'));
        fuzz::Check(crossed.no_form->line >= record.line && crossed.no_form->line <= record.line + inner,
                    "the place is in the record");
        fuzz::Check(crossed.no_form->column >= 1 && !crossed.no_form->character.empty(), "the place is told");
        return;
    }
    fuzz::Check(crossed.text.find_first_of("\r\n") == std::string::npos, "a record becomes one line");
    fuzz::Check(crossed.text.size() <= record.raw.size(), "crossing makes nothing longer");
    fuzz::Check(crossed.text.find('\0') == std::string::npos, "no NUL comes into the library");
}

}  // namespace

void FuzzOne(std::string_view bytes) {
    if (bytes.empty()) return;
    auto const choice = static_cast<unsigned char>(bytes[0]);
    bytes.remove_prefix(1);
    auto const encoding = choice & 16 ? engine::Encoding::utf16 : static_cast<engine::Encoding>(choice % 3);
    engine::FileText file;
    try {
        file = engine::TextOfFile(std::string(bytes), encoding, "a.csv");
    } catch (engine::Failure const&) {
        return;  // not a text
    }
    fuzz::Check(file.encoding == engine::Encoding::utf8 || file.encoding == engine::Encoding::cp932,
                "the encoding is settled");
    std::string const text_of_file = file.text;
    engine::CsvSource source(std::move(file.text), file.encoding, choice & 4 ? '\t' : ',',
                             choice & 8 ? '\0' : '"');

    std::size_t text = 0, line = 0;
    engine::CsvSource::Record record{};
    while (source.Next(record)) {
        fuzz::Check(record.line > line, "records come in the order of the file");
        line = record.line;
        text += BytesOfText(record.raw);
        CheckRecord(source, record);
    }
    fuzz::Check(text == BytesOfText(text_of_file), "nothing but line ends is between the records");
}
