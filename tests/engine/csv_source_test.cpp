#include "engine/customers/csv_source.h"

#include <gtest/gtest.h>

#include <chrono>
#include <random>
#include <vector>

#include "engine/base/failure.h"
#include "tessaly/storage.h"

namespace {

using engine::CsvSource;
using engine::Encoding;
using namespace std::string_literals;

std::string Cp932(std::string_view utf8) { return engine::IntoLibrary(utf8).text; }

struct Line {
    std::string text;
    std::size_t number;
    bool unclosed = false;
    bool operator==(Line const&) const = default;
};
void PrintTo(Line const& line, std::ostream* out) {
    *out << line.number << ": " << line.text << (line.unclosed ? " (unclosed)" : "");
}

CsvSource SourceOf(std::string const& content, char delimiter = ',', char quote = '"') {
    engine::FileText file = engine::TextOfFile(content, Encoding::automatic, "list.csv");
    return CsvSource(file.text, file.encoding, delimiter, quote);
}

std::vector<Line> LinesOf(CsvSource& source) {
    std::vector<Line> lines;
    CsvSource::Record record;
    while (source.Next(record)) lines.push_back({std::string(record.raw), record.line, record.unclosed});
    return lines;
}

std::vector<Line> LinesOf(std::string const& content, char delimiter = ',', char quote = '"') {
    CsvSource source = SourceOf(content, delimiter, quote);
    std::vector<Line> const lines = LinesOf(source);
    source.Restart();
    EXPECT_EQ(LinesOf(source), lines);
    return lines;
}

TEST(CsvSource, DividesRecordsWhereTheyEnd) {
    using Lines = std::vector<Line>;
    EXPECT_EQ(LinesOf("a\r\nb\n\r\n\nc"), (Lines{{"a", 1}, {"b", 2}, {"c", 5}}));
    EXPECT_EQ(LinesOf("a\rb\rc\r"), (Lines{{"a", 1}, {"b", 2}, {"c", 3}}));
    EXPECT_EQ(LinesOf("\xEF\xBB\xBF\n"), Lines{});
    EXPECT_EQ(LinesOf(""), Lines{});
    EXPECT_EQ(LinesOf("\"x\r\ny\",1\r\nz"), (Lines{{"\"x\r\ny\",1", 1}, {"z", 3}}));
    EXPECT_EQ(LinesOf("1,\"a\"\"\n\"\"b\"\n2"), (Lines{{"1,\"a\"\"\n\"\"b\"", 1}, {"2", 3}}));
    // A quote inside a field opens nothing; one that is never closed costs its own line only.
    EXPECT_EQ(LinesOf("5\"x,y\nz"), (Lines{{"5\"x,y", 1}, {"z", 2}}));
    EXPECT_EQ(LinesOf("\"open,1\nz\nw"), (Lines{{"\"open,1", 1, true}, {"z", 2}, {"w", 3}}));
    EXPECT_EQ(LinesOf("a,\"open"), (Lines{{"a,\"open", 1, true}}));
    EXPECT_EQ(LinesOf("a,\"b\"c"), (Lines{{"a,\"b\"c", 1, true}}));
    EXPECT_EQ(LinesOf("a,\"b\nc,\"d\""), (Lines{{"a,\"b", 1, true}, {"c,\"d\"", 2}}));
    EXPECT_EQ(LinesOf("a,\"b\nc\""), (Lines{{"a,\"b\nc\"", 1}}));  // closed by the end of the file
    EXPECT_EQ(LinesOf("\"in \"it\n\"\nc"), (Lines{{"\"in \"it\n\"", 1}, {"c", 3}}));
    // A lead byte whose character is cut does not take the line end with it.
    EXPECT_EQ(LinesOf(Cp932("表表") + "\x82\nb"), (Lines{{Cp932("表表") + "\x82", 1}, {"b", 2}}));
    EXPECT_EQ(LinesOf("'x\ny',1\nz", ',', '\''), (Lines{{"'x\ny',1", 1}, {"z", 3}}));
    EXPECT_EQ(LinesOf("\"x\ny", ',', 0), (Lines{{"\"x", 1}, {"y", 2}}));
    // The second byte of ポ is a bar: no delimiter, so no quoted field begins behind it.
    std::string const bar = Cp932("ポ\"\n表|\"1\n2\"\n");
    EXPECT_EQ(LinesOf(bar, '|'), (Lines{{Cp932("ポ\""), 1}, {Cp932("表|\"1\n2\""), 2}}));
}

std::string Utf16(std::u16string_view text, bool big) {
    std::string bytes;
    for (char16_t const unit : text) {
        char const high = static_cast<char>(unit >> 8), low = static_cast<char>(unit);
        bytes += {big ? high : low, big ? low : high};
    }
    return bytes;
}

TEST(CsvSource, TellsTheEncodingByTheBytes) {
    std::string const mark = "\xEF\xBB\xBF", kana = "つとてなにぬね,つて";
    constexpr std::u16string_view wide = u"表,𠮷\r\n";
    struct Row {
        std::string content;
        char const* asked;
        char const* name;
        std::string text;
    };
    Row const rows[] = {
        {"表,a", "auto", "UTF-8", "表,a"},
        {"plain", "auto", "UTF-8", "plain"},
        {Cp932("表,a"), "auto", "Shift_JIS", Cp932("表,a")},
        {Cp932(kana), "auto", "Shift_JIS", Cp932(kana)},  // much of which could be UTF-8
        {Cp932(kana + kana) + "\xFF", "auto", "Shift_JIS", Cp932(kana + kana) + "\xFF"},
        {"表と題名\x93,表", "auto", "UTF-8", "表と題名\x93,表"},
        {"住所録\xE8,表", "auto", "UTF-8", "住所録\xE8,表"},
        {mark + "題,a", "auto", "UTF-8", "題,a"},
        {mark + "題,a", "utf-8", "UTF-8", "題,a"},
        {mark + Cp932("表"), "auto", "UTF-8", Cp932("表")},
        {"表", "cp932", "Shift_JIS", "表"},
        {Cp932("表"), "utf-8", "UTF-8", Cp932("表")},
        {Utf16(u"\uFEFF", false) + Utf16(wide, false), "auto", "UTF-16", "表,𠮷\r\n"},
        {Utf16(u"\uFEFF", true) + Utf16(wide, true), "auto", "UTF-16", "表,𠮷\r\n"},
        {Utf16(wide, false), "auto", "UTF-16", "表,𠮷\r\n"},
        {Utf16(wide, true), "auto", "UTF-16", "表,𠮷\r\n"},
        {Utf16(u"表", false), "utf-16", "UTF-16", "表"},
        {Utf16(u"\uFEFF\xD842表\xDFB7\xD842", false) + "x", "auto", "UTF-16", "\uFFFD表\uFFFD\uFFFD\uFFFD"},
        {"a\0b,c"s, "auto", "UTF-8", "a\0b,c"s},  // a zero byte, told by its line
        {"a\0"s, "auto", "UTF-8", "a\0"s},
    };
    for (Row const& row : rows) {
        engine::FileText const file =
            engine::TextOfFile(row.content, engine::EncodingOf(row.asked), "list.csv");
        EXPECT_STREQ(file.name, row.name) << testing::PrintToString(row.content);
        EXPECT_EQ(file.text, row.text) << testing::PrintToString(row.content);
        EXPECT_EQ(file.encoding == Encoding::cp932, row.name == "Shift_JIS"s);
    }
    EXPECT_THROW(engine::EncodingOf("sjis"), engine::Failure);
}

TEST(CsvSource, NamesFilesThatAreNoText) {
    struct Row {
        std::string content;
        char const* says;
    };
    Row const rows[] = {
        {"PK\3\4 [Content_Types].xml xl/workbook.xml", "(.xlsx)です: a.csv\nExcelなどで開き"},
        {"PK\3\4 mimetypeapplication/vnd.oasis.opendocument.spreadsheet", "(.ods)です"},
        {"PK\3\4 x.csv", "ZIPの書庫です: a.csv\n中のファイルを取り出し"},
        {"\xD0\xCF\x11\xE0\xA1\xB1\x1A\xE1", "(.xls など)です"},
        {"%PDF-1.7", "PDFの文書です: a.csv\nもとの表計算"},
        {"\xEF\xBB\xBF\n <!DOCTYPE HTML>", "Webページ (HTML)です"},
        {"<Table><tr>", "Webページ (HTML)です"},
        {std::string(9, '\x01') + std::string(890, 'a'), "文字のファイルではありません"},
    };
    for (Row const& row : rows) try {
            engine::TextOfFile(row.content, Encoding::automatic, "a.csv");
            ADD_FAILURE() << row.says;
        } catch (engine::Failure const& failure) {
            EXPECT_NE(std::string(failure.what()).find(row.says), std::string::npos) << failure.what();
        }
    for (auto const& text :
         {std::string(8, '\x01'), std::string(9, '\x01') + std::string(891, 'a'), "<tabl"s})
        EXPECT_NO_THROW(engine::TextOfFile(text, Encoding::automatic, "a.csv"));
}

TEST(CsvSource, NamesThePlaceInTheFileOfWhatCannotBeKept) {
    struct Row {
        std::string content;
        std::size_t line, column;
        std::string character;
    };
    Row const rows[] = {
        {"a\n\"b\nく💌\",c\n", 3, 2, "💌"},
        {"a\nb\nc\0d"s, 3, 2, "\0"s},
        {Cp932("表\n表\"表") + "\xFF", 2, 4, "\\xFF"},
        {Cp932("表\n表") + std::string("\0", 1), 2, 2, "\\x00"},
        {Cp932("表") + "\x85\x40,a", 1, 2, "\\x85\\x40"},  // an empty row of the code page
        {Cp932("表,") + "\x82", 1, 3, "\\x82"},
    };
    for (Row const& row : rows) {
        CsvSource source = SourceOf(row.content);
        CsvSource::Record record;
        std::optional<engine::NoForm> place;
        while (!place && source.Next(record)) place = source.ForLibrary(record).no_form;
        ASSERT_TRUE(place) << row.content;
        EXPECT_EQ(place->line, row.line) << row.content;
        EXPECT_EQ(place->column, row.column) << row.content;
        EXPECT_EQ(place->character, row.character) << row.content;
    }
}

// Whatever a program writes by the rules of CSV arrives in the library field by field.
TEST(CsvSource, AgreesWithTheLibraryOnFields) {
    std::mt19937 random(20);
    char const* const pieces[] = {"a",  "表", "ソ", ",", "\"", "\n", "\r\n", " ",
                                  "ポ", "|",  "\t", "'", "",   "髙", "ｱ",    "①"};
    for (int round = 0; round < 400; ++round) {
        char const delimiter = ",|\t"[random() % 3];
        std::string content;
        std::vector<std::vector<std::string>> wanted;
        for (auto rows = 1 + random() % 4; rows > 0; --rows) {
            auto& fields = wanted.emplace_back();
            for (auto i = 0UL, count = 1 + random() % 4; i < count; ++i) {
                std::string field = i == 0 ? "k" : "", quoted;
                for (auto parts = random() % 5; parts > 0; --parts) field += pieces[random() % 16];
                for (char const c : field) quoted += c == '"' ? "\"\"" : std::string(1, c);
                content += (i ? std::string(1, delimiter) : "") + "\"" + quoted + "\"";
                for (std::size_t at; (at = field.find("\r\n")) != field.npos;) field.replace(at, 2, " ");
                for (char& c : field)
                    if (c == '\n') c = ' ';
                fields.push_back(field);
            }
            content += random() % 2 ? "\r\n" : "\n";
        }
        bool const in_utf8 = random() % 2;
        CsvSource source(in_utf8 ? content : Cp932(content), in_utf8 ? Encoding::utf8 : Encoding::cp932,
                         delimiter, '"');
        CsvSource::Record record;
        std::vector<std::vector<std::string>> got;
        while (source.Next(record)) {
            CArray<CString, CString> fields;
            SplitString(CString(std::string_view(source.ForLibrary(record).text)), fields, CString(delimiter),
                        '"');
            auto& row = got.emplace_back();
            for (CString const& field : fields) row.push_back(engine::Out(field));
        }
        ASSERT_EQ(got, wanted) << content;
    }
}

// A mark for inches at the start of every line opens a quoted field each time.
TEST(CsvSource, QuotesThatAreNeverClosedCostNoMoreThanTheirLines) {
    std::string content;
    for (int i = 0; i < 100000; ++i) content += "\"5 inches,a@example.jp,1234567890\n";
    auto const start = std::chrono::steady_clock::now();
    EXPECT_EQ(LinesOf(content).size(), 100000U);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(20));
}

}  // namespace
