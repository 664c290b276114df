#include "csv_source.h"

#include <gtest/gtest.h>

#include <chrono>
#include <random>
#include <vector>

#include "failure.h"
#include "tessaly/storage.h"

namespace {

using app::CsvSource;
using app::Encoding;

std::string Cp932(std::string_view utf8) { return app::IntoLibrary(utf8).text; }

struct Line {
    std::string text;
    std::size_t number;
    bool operator==(Line const&) const = default;
};
void PrintTo(Line const& line, std::ostream* out) { *out << line.number << ": " << line.text; }

std::vector<Line> LinesOf(CsvSource& source) {
    std::vector<Line> lines;
    CsvSource::Record record;
    while (source.Next(record)) lines.push_back({std::string(record.raw), record.line});
    return lines;
}

std::vector<Line> LinesOf(std::string const& content, char delimiter = ',', char quote = '"') {
    CsvSource source(content, Encoding::automatic, delimiter, quote);
    return LinesOf(source);
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
    EXPECT_EQ(LinesOf("\"open,1\nz\nw"), (Lines{{"\"open,1", 1}, {"z", 2}, {"w", 3}}));
    EXPECT_EQ(LinesOf("'x\ny',1\nz", ',', '\''), (Lines{{"'x\ny',1", 1}, {"z", 3}}));
    EXPECT_EQ(LinesOf("\"x\ny", ',', 0), (Lines{{"\"x", 1}, {"y", 2}}));
    // The second byte of ポ is a bar: no delimiter, so no quoted field begins behind it.
    const std::string bar = Cp932("ポ\"\n表|\"1\n2\"\n");
    EXPECT_EQ(LinesOf(bar, '|'), (Lines{{Cp932("ポ\""), 1}, {Cp932("表|\"1\n2\""), 2}}));
}

TEST(CsvSource, TellsTheEncodingByTheBytes) {
    auto const kind = [](std::string const& content, Encoding asked) {
        return CsvSource(content, asked, ',', '"').Kind();
    };
    EXPECT_EQ(kind("表,a", Encoding::automatic), Encoding::utf8);
    EXPECT_EQ(kind("plain", Encoding::automatic), Encoding::utf8);
    EXPECT_EQ(kind(Cp932("表,a"), Encoding::automatic), Encoding::cp932);
    EXPECT_EQ(kind("\xEF\xBB\xBF" + Cp932("表"), Encoding::automatic), Encoding::utf8);
    EXPECT_EQ(kind("表", Encoding::cp932), Encoding::cp932);
    EXPECT_THROW(app::EncodingOf("sjis"), app::Failure);
    CsvSource marked("\xEF\xBB\xBF題,a", Encoding::utf8, ',', '"');
    EXPECT_EQ(LinesOf(marked), (std::vector<Line>{{"題,a", 1}}));
}

TEST(CsvSource, NamesThePlaceInTheFileOfWhatCannotBeKept) {
    struct Row {
        std::string content;
        std::size_t line, column;
        std::string character;
    };
    const Row rows[] = {
        {"a\n\"b\nく💌\",c\n", 3, 2, "💌"},
        {"a\nb\n" + std::string("c\0d", 3), 3, 2, std::string(1, '\0')},
        {Cp932("表\n表\"表") + "\xFF", 2, 4, "\\xFF"},
        {Cp932("表\n表") + std::string("\0", 1), 2, 2, "\\x00"},
        {Cp932("表") + "\x85\x40,a", 1, 2, "\\x85\\x40"},  // an empty row of the code page
        {Cp932("表,") + "\x82", 1, 3, "\\x82"},
    };
    for (Row const& row : rows) {
        CsvSource source(row.content, Encoding::automatic, ',', '"');
        CsvSource::Record record;
        std::optional<app::NoForm> place;
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
            for (CString const& field : fields) row.push_back(app::Out(field));
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
