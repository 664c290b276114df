#include "tessaly/platform/cstring.h"

#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <string>
#include <thread>
#include <unordered_set>
#include <utility>
#include <vector>

#include "platform/cstring_pool.h"

namespace {

std::string const long_text(100'000, 'x');

char const* TextOf(CString const& text) { return text; }

}  // namespace

TEST(CString, EndsAtTheFirstNul) {
    static_assert(sizeof(CString) == sizeof(void*));
    std::string_view const cut("ab\0cd", 5);
    char const bytes[] = {'a', 'b', 0, 'c'};
    CString assigned("old"), appended("1"), set("abcd"), written, repeated('\0', 3);
    assigned = cut;
    appended += cut;
    set.SetAt(2, 0);
    std::memcpy(written.GetBuffer(5), cut.data(), 5);
    written.ReleaseBuffer(5);
    for (CString const& text :
         {CString(cut), CString(bytes, 4), CString("abcd", 2), assigned, set, written}) {
        EXPECT_STREQ(text, "ab");
        EXPECT_EQ(text.GetLength(), 2);
    }
    EXPECT_STREQ(appended, "1ab");
    appended += '\0';
    EXPECT_EQ(appended.GetLength(), 3);
    EXPECT_TRUE(repeated.IsEmpty());
    for (CString const& text : {CString(static_cast<char const*>(nullptr)), CString(nullptr, 4),
                                CString("a", -1), CString(std::string_view("\0a", 2)), CString('x', 0)}) {
        EXPECT_TRUE(text.IsEmpty());
        EXPECT_EQ(TextOf(text), TextOf(CString())) << "an empty text costs memory";
    }
    assigned = static_cast<char const*>(nullptr);
    EXPECT_TRUE(assigned.IsEmpty());
    EXPECT_EQ(CString("ab").GetAt(2), 0);
    EXPECT_EQ(CString("ab").GetAt(-1), 0);
    EXPECT_EQ(CString("ab")[1], 'b');
}

TEST(CString, SharesUntilOneWrites) {
    void (*const writes[])(CString&) = {
        [](CString& text) { text.SetAt(0, 'X'); },
        [](CString& text) { text += "X"; },
        [](CString& text) { text += 'X'; },
        [](CString& text) { *text.GetBuffer(0) = 'X', text.ReleaseBuffer(); },
        [](CString& text) { std::memset(text.GetBufferSetLength(9), 'X', 9), text.ReleaseBuffer(9); },
        [](CString& text) { text.MakeUpper(); },
        [](CString& text) { text.TrimLeft("a"); },
        [](CString& text) { text.TrimRight('c'); },
        [](CString& text) { text.Replace('b', 'X'); },
        [](CString& text) { text.Insert(1, "X"); },
        [](CString& text) { text.Delete(0); },
        [](CString& text) { text.Format("X"); },
        [](CString& text) { text.Empty(); },
        [](CString& text) { text = "X"; },
    };
    for (auto const& write : writes) {
        SCOPED_TRACE(&write - writes);
        CString const text("abc");
        CString copy(text), assigned;
        assigned = text;
        EXPECT_EQ(TextOf(copy), TextOf(text));
        EXPECT_EQ(TextOf(assigned), TextOf(text));
        write(copy);
        EXPECT_STREQ(text, "abc");
        EXPECT_STREQ(assigned, "abc");
        EXPECT_STRNE(copy, "abc");
        EXPECT_EQ(copy.GetLength(), static_cast<int>(std::strlen(copy)));
    }
    CString moved("abc");
    char const* const place = moved;
    CString const taken(std::move(moved));
    EXPECT_EQ(TextOf(taken), place);
    EXPECT_EQ(TextOf(taken.Left(3)), place);
    EXPECT_EQ(TextOf(taken.Mid(0)), place);
}

TEST(CString, TakesItsOwnText) {
    for (std::string const& whole : {std::string("ab表c"), long_text}) {
        CString const text(whole);
        CString same(text);
        CString& alias = same;
        same = alias;
        EXPECT_EQ(same, text);
        same = std::move(alias);
        EXPECT_EQ(same, text);
        same = TextOf(same) + 1;
        EXPECT_EQ(same, std::string_view(whole).substr(1));
        same = text;
        same += same;
        EXPECT_EQ(same, std::string_view(whole + whole));
        same = text;
        same.SetAt(0, 'a');
        same += TextOf(same) + 1;
        EXPECT_EQ(same.View().substr(whole.size()), std::string_view(whole).substr(1));
        same = text;
        same.Format("<%s|%s>", TextOf(same), TextOf(same));
        EXPECT_EQ(same, std::string_view("<" + whole + "|" + whole + ">"));
        same = text;
        same.AppendFormat("%s", TextOf(same));
        EXPECT_EQ(same, std::string_view(whole + whole));
        same = text;
        EXPECT_EQ(same.Insert(1, same), static_cast<int>(2 * whole.size()));
        EXPECT_EQ(same, std::string_view(std::string(whole).insert(1, whole)));
        same = text;
        EXPECT_EQ(same.Replace(same, same), 1);
        EXPECT_EQ(same, text);
    }
    CString empty;
    empty += empty;
    empty = empty.Left(0);
    EXPECT_TRUE(empty.IsEmpty());
}

TEST(CString, FormatsAnyLength) {
    for (std::size_t const length : {0, 1, 511, 512, 513, 100'000}) {
        std::string const text(length, 'y');
        CString result("old");
        result.Format("%s", text.c_str());
        EXPECT_EQ(result, std::string_view(text));
        result.AppendFormat("%05d%c", 42, 'z');
        EXPECT_EQ(result, std::string_view(text + "00042z"));
    }
    CString result;
    result.Format("%c%s", 0, "behind a NUL");
    EXPECT_EQ(result.GetLength(), 0);
    result.Format("%s様（%d件）", "表", 3);
    EXPECT_STREQ(result, "表様（3件）");
}

TEST(CString, FindsWholeCharacters) {
    struct {
        char const *text, *word;
        int start, place;
    } const rows[] = {
        {"a\\表\\b", "\\", 0, 1}, {"a\\表\\b", "\\", 2, 4}, {"表", "\\", 0, -1},    {"abc", "", 2, 2},
        {"abc", "", 3, 3},        {"abc", "", 4, -1},       {"abc", "c", -1, -1},   {"", "", 0, 0},
        {"", "a", 0, -1},         {"abcabc", "bc", 2, 4},   {"abc", nullptr, 1, 1},
    };
    for (auto const& row : rows) {
        EXPECT_EQ(CString(row.text).Find(row.word, row.start), row.place) << row.text << ' ' << row.start;
        if (row.word && std::strlen(row.word) == 1) {
            EXPECT_EQ(CString(row.text).Find(row.word[0], row.start), row.place)
                << row.text << ' ' << row.start;
        }
    }
    EXPECT_EQ(CString("abc").Find('\0'), -1);
    EXPECT_EQ(CString("a\\b\\表").ReverseFind('\\'), 3);
    EXPECT_EQ(CString("表").ReverseFind('\\'), -1);
    EXPECT_EQ(CString("表ソ、b").FindOneOf("\\b、"), 4);
    EXPECT_EQ(CString("表ソ").FindOneOf("\\"), -1);
    EXPECT_EQ(CString("abc").FindOneOf(nullptr), -1);
}

TEST(CString, CutsAndTrims) {
    CString const text("0123456789");
    struct {
        CString cut;
        char const* expected;
    } const rows[] = {
        {text.Left(3), "012"},
        {text.Left(-1), ""},
        {text.Left(99), "0123456789"},
        {text.Right(3), "789"},
        {text.Right(0), ""},
        {text.Right(99), "0123456789"},
        {text.Mid(8), "89"},
        {text.Mid(10), ""},
        {text.Mid(99), ""},
        {text.Mid(2, 3), "234"},
        {text.Mid(2, -3), ""},
        {text.Mid(8, 2147483647), "89"},
        {CString().Left(1), ""},
        {CString().Mid(0, 1), ""},
        {CString(" \t\r\n\v\fa b ").Trim(), "a b"},
        {CString("   ").Trim(), ""},
        {CString().Trim(), ""},
        {CString("xxax").TrimLeft('x'), "ax"},
        {CString("　a　").Trim("　"), "a"},
        {CString("@a@").Trim("　"), "@a@"},  // the second byte of the full-width blank is an @
        {CString("\\表\\").TrimRight("\\"), "\\表"},
        {CString("表\\\\").TrimRight('\\'), "表"},
        {CString("ab").Trim("ab"), ""},
        {CString("ab").Trim(""), "ab"},
        {CString("ab").TrimLeft(static_cast<char const*>(nullptr)), "ab"},
    };
    for (auto const& row : rows) EXPECT_STREQ(row.cut, row.expected) << (&row - rows);
    EXPECT_STREQ(text, "0123456789");
}

TEST(CString, Edits) {
    struct {
        char const *text, *from, *to;
        int count;
        char const* result;
    } const rows[] = {
        {"C:\\\\dir\\\\表", "\\\\", "\\", 2, "C:\\dir\\表"},
        {"表示", "\\", "/", 0, "表示"},
        {"aaaa", "aa", "b", 2, "bb"},
        {"abc", "b", nullptr, 1, "ac"},
        {"abc", "", "x", 0, "abc"},
        {"aXbX", "X", "<longer>", 2, "a<longer>b<longer>"},
        {"", "a", "b", 0, ""},
    };
    for (auto const& row : rows) {
        CString text(row.text);
        EXPECT_EQ(text.Replace(row.from, row.to), row.count);
        EXPECT_STREQ(text, row.result);
    }
    CString text("表\\a\\");
    EXPECT_EQ(text.Remove('\\'), 2);
    EXPECT_STREQ(text, "表a");
    EXPECT_EQ(text.Insert(99, "z"), 4);
    EXPECT_EQ(text.Insert(-1, "A"), 5);
    EXPECT_STREQ(text, "A表az");
    EXPECT_EQ(text.Delete(3, 99), 3);
    EXPECT_EQ(text.Delete(3), 3);
    EXPECT_EQ(text.Delete(-1), 3);
    EXPECT_STREQ(text, "A表");
    EXPECT_STREQ(text.MakeLower(), "a表");
    EXPECT_STREQ(CString("aｚチz").MakeUpper(), "AＺチZ");
    char* const buffer = text.GetBuffer(50);
    EXPECT_STREQ(buffer, "a表");
    std::strcpy(buffer + 3, "bc");
    text.ReleaseBuffer();
    EXPECT_STREQ(text, "a表bc");
    text.GetBuffer(10);
    text.ReleaseBuffer(1);
    EXPECT_STREQ(text, "a");
    EXPECT_STREQ("<" + text + '|' + text + ">" + CString("x"), "<a|a>x");
}

TEST(CString, ComparesAndHashes) {
    EXPECT_LT(CString("ｱ"), CString("ア"));
    EXPECT_EQ(CString("ABＣ").CompareNoCase("abｃ"), 0);
    EXPECT_GT(CString("a").Compare(nullptr), 0);
    EXPECT_TRUE(CString() == "");
    EXPECT_FALSE(CString("a") == static_cast<char const*>(nullptr));
    std::unordered_set<CString> const set = {CString("表"), CString("示"), CString("表")};
    EXPECT_EQ(set.size(), 2U);
    EXPECT_EQ(set.count(CString("示")), 1U);
}

TEST(CString, ThreadsShareOneText) {
    for (bool const pooled : {false, true}) {
        CString shared("shared 表");
        if (pooled) shared = CStringPool().Make("shared 表");
        std::vector<std::thread> threads;
        std::vector<int> faults(8);
        for (int& fault : faults)
            threads.emplace_back([copy = shared, &fault] {
                for (int round = 0; round < 20000; ++round) {
                    CString mine(copy), other;
                    other = mine;
                    mine += "x";
                    fault += !(other == "shared 表") || !(mine == "shared 表x");
                }
            });
        for (std::thread& thread : threads) thread.join();
        for (int const fault : faults) EXPECT_EQ(fault, 0);
        EXPECT_STREQ(shared, "shared 表");
        shared.SetAt(0, 'S');
        EXPECT_STREQ(shared, "Shared 表");
    }
}

// The same edits on a CString and on a std::string.
TEST(CString, AgreesWithAStandardStringInAnyOrderOfEdits) {
    std::mt19937 random(3);
    CStringPool pool;
    CString text;
    std::string twin;
    std::vector<std::pair<CString, std::string>> kept;
    for (int round = 0; round < 50000; ++round) {
        std::string const piece(random() % 40, static_cast<char>('a' + random() % 26));
        auto const at = random() % (twin.size() + 1);
        switch (random() % 9) {
            case 0: text = piece.c_str(), twin = piece; break;
            case 1: text += std::string_view(piece), twin += piece; break;
            case 2: text.Insert(static_cast<int>(at), piece.c_str()), twin.insert(at, piece); break;
            case 3: text.Delete(static_cast<int>(at), 5), twin.erase(at, 5); break;
            case 4: text = text.Mid(static_cast<int>(at)), twin.erase(0, at); break;
            case 5: text = pool.Make(piece), twin = piece; break;
            case 6: kept.emplace_back(text, twin); break;
            case 7: text.SetAt(0, 'S'), twin.empty() ? void() : void(twin[0] = 'S'); break;
            default:
                if (!kept.empty()) text = kept[random() % kept.size()].first, twin = text.View();
        }
        ASSERT_EQ(text, std::string_view(twin));
        if (kept.size() > 50) kept.erase(kept.begin());
    }
    for (auto const& [kept_text, kept_twin] : kept) EXPECT_EQ(kept_text, std::string_view(kept_twin));
}

TEST(CStringPool, TextsOutliveTheirPoolAndBlocks) {
    std::vector<CString> texts;
    std::vector<std::string> twins;
    {
        CStringPool pool;
        for (int i = 0; i < 30000; ++i) {
            // Now and then a text longer than a whole block.
            twins.push_back(std::to_string(i) + std::string(i % 5000 == 0 ? 200'000 : i % 60, 'p'));
            texts.push_back(pool.Make(twins.back()));
        }
        pool.Make("again");
        CString const second = pool.Make("again");
        EXPECT_EQ(TextOf(pool.Make("again")), TextOf(second))
            << "a text that recurs is shared from its second making on";
        EXPECT_TRUE(pool.Make("").IsEmpty());
    }
    for (std::size_t i = 0; i < texts.size(); i += 3) texts[i].Empty(), twins[i].clear();
    texts[1] += "x", twins[1] += "x";
    for (std::size_t i = 0; i < texts.size(); ++i) ASSERT_EQ(texts[i], std::string_view(twins[i])) << i;
}

// Each text ends where its memory does, so that the sanitizers see a step behind it.
TEST(CStringPool, ReadsATextNoFurtherThanItGoes) {
    CStringPool pool;
    for (int i = 0; i < 300; ++i) pool.Make("early");  // it looks for recurring texts only after that
    for (std::size_t size = 1; size <= 40; ++size) {
        std::vector<char> exact(size, 'x');
        std::string_view const text(exact.data(), size);
        EXPECT_EQ(pool.Make(text), text);
        EXPECT_EQ(TextOf(pool.Make(text)), TextOf(pool.Make(text))) << size;
    }
}
