#include <gtest/gtest.h>

#include <climits>
#include <random>
#include <string>
#include <unordered_map>

#include "customers/address_index.h"
#include "customers/customer_index.h"
#include "customers/distinct_texts.h"
#include "tessaly/platform/mbcs.h"

using namespace customers;

TEST(CustomerIndex, AgreesWithAMapForAnyIDs) {
    CustomerIndex index;
    EXPECT_EQ(CustomerIndex::no_row, index.RowOf(0));
    std::unordered_map<int, int> expected;
    std::mt19937 random(7);
    std::vector<int> ids = {0, -1, INT_MIN, INT_MAX};
    for (int i = 0; i < 5000; ++i) {
        ids.push_back(i);                           // as a table has them
        ids.push_back(i * 4096);                    // equal low bits
        ids.push_back(static_cast<int>(random()));  // scattered
    }
    index.Reserve(100);
    for (std::size_t row = 0; row < ids.size(); ++row) {
        index.Set(ids[row], static_cast<int>(row));
        expected[ids[row]] = static_cast<int>(row);
    }
    EXPECT_EQ(expected.size(), index.Count());
    for (auto const& [id, row] : expected) ASSERT_EQ(row, index.RowOf(id)) << id;
    for (int id = 5001; id < 9000; ++id) {
        if (!expected.contains(id)) {
            ASSERT_EQ(CustomerIndex::no_row, index.RowOf(id)) << id;
        }
    }
    index.Clear();
    EXPECT_EQ(CustomerIndex::no_row, index.RowOf(1));
}

namespace {

class Addresses final : public AddressSource {
  public:
    std::string_view AddressOf(int row) const noexcept override {
        return rows[static_cast<std::size_t>(row)];
    }
    // The nearest row that holds the address, looking from `row` in steps of `step`.
    int Look(std::string_view address, int row, int step) const {
        for (row += step; row >= 0 && row < static_cast<int>(rows.size()); row += step)
            if (platform::EqualNoCase(rows[static_cast<std::size_t>(row)], address)) return row;
        return AddressIndex::no_row;
    }
    std::vector<std::string> rows;
};

// Few addresses, so that they recur; cases, full-width letters, cut characters and the empty one among them.
std::string SomeAddress(std::mt19937& random) {
    static std::string const parts[] = {"",     "a",    "A",        "Ab@Example.JP", "ｂ", "Ｂ",
                                        "表@x", "\x81", "\x82\x60", "12345678",      "Z["};
    std::string address = parts[random() % std::size(parts)] + parts[random() % std::size(parts)];
    if (random() % 4 == 0) address += std::to_string(random() % 50) + "@long.example.co.jp";
    return address;
}

}  // namespace

TEST(AddressIndex, AgreesWithALinearSearchWhateverChanges) {
    std::mt19937 random(11);
    Addresses table;
    AddressIndex index;
    EXPECT_EQ(AddressIndex::no_row, index.First(table, "a"));
    for (int i = 0; i < 300; ++i) table.rows.push_back(SomeAddress(random));
    index.Rebuild(table, 300);
    for (int step = 0; step < 6000; ++step) {
        if (random() % 8 == 0) {
            table.rows.push_back(SomeAddress(random));
            index.Append(table);
        } else {
            int const row = static_cast<int>(random() % table.rows.size());
            std::string const old =
                std::exchange(table.rows[static_cast<std::size_t>(row)], SomeAddress(random));
            index.Replace(table, row, old);
        }
        std::string const address = SomeAddress(random);
        if (address.empty()) continue;
        int const size = static_cast<int>(table.rows.size());
        int const row = static_cast<int>(random() % table.rows.size());
        ASSERT_EQ(table.Look(address, -1, 1), index.First(table, address)) << step;
        ASSERT_EQ(table.Look(address, size, -1), index.Last(table, address)) << step;
        ASSERT_EQ(table.Look(address, row, 1), index.Next(table, address, row)) << step;
        ASSERT_EQ(table.Look(address, row, -1), index.Previous(table, address, row)) << step;
    }
    EXPECT_EQ(static_cast<int>(table.rows.size()), index.RowCount());
}

// The hash works on eight bytes at a time; letters stand in every place of a word and next to bytes that
// differ from letters in one bit.
TEST(AddressIndex, HashDoesNotDependOnTheCaseOfLetters) {
    for (int c = 1; c < 256; ++c) {
        for (std::size_t size = 1; size <= 9; ++size) {
            std::string text(size, static_cast<char>(c));
            std::string lowered = text;
            platform::Lower(lowered.data(), lowered.size());
            ASSERT_EQ(HashAddress(lowered), HashAddress(text)) << c << " " << size;
        }
    }
    EXPECT_NE(HashAddress("@["), HashAddress("`{"));
}

TEST(DistinctTexts, KnowsEqualTextsInDifferentPlaces) {
    DistinctTexts known;
    std::vector<std::string> first;
    std::vector<std::string> again;
    for (int i = 0; i < 3000; ++i) first.push_back(std::to_string(i));
    again = first;
    for (std::string const& text : first) ASSERT_TRUE(known.Insert(text)) << text;
    for (std::string const& text : first) ASSERT_FALSE(known.Insert(text)) << text;
    for (std::string const& text : again) ASSERT_FALSE(known.Insert(text)) << text;
    EXPECT_TRUE(known.Insert(""));
    EXPECT_FALSE(known.Insert(""));
    EXPECT_FALSE(known.Insert(std::string_view(first[1234]).substr(2)));  // "34"
    EXPECT_TRUE(known.Insert("A"));
    EXPECT_TRUE(known.Insert("a"));
}
