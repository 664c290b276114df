#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/clock.h"
#include "platform/file.h"
#include "tessaly/customers/database_edit.h"
#include "tessaly/environment/env_manager.h"
#include "tessaly/environment/system_option.h"
#include "tessaly/platform/dialog.h"
#include "tests/platform/scratch_folder.h"
#include "tests/platform/time_zone.h"

// A keyed environment in a scratch folder, with attribute A a text, B a number and C a date, and the clock
// held at 2004/05/06 07:08:09.
class CustomerTest : public testing::Test {
  protected:
    static constexpr char now_text[] = "2004/05/06 07:08:09";
    static constexpr char later_text[] = "2004/05/06 07:08:19";
    static constexpr std::int64_t now_seconds = 1083827289;

    CustomerTest() {
        env_path = folder.Path("shop.tsl");
        platform::MakeDirectory(folder.Path("shop"));
        platform::MakeDirectory(folder.Path("shop\\DB"));
        EXPECT_EQ(EnvManager::ok, EnvManager::MakeDefaultEnvFile(env_path, "application"));
        EXPECT_EQ(EnvManager::ok, env.InitEnvFileInfo(env_path, "application", 0));
        CArray<CString, CString> cells;
        cells.SetSize(SystemOption::cell_count);
        for (int n = 0; n < SystemOption::extra_attribute_count; ++n) {
            cells[SystemOption::cell_extra_names + n].Format("属性%c", 'A' + n);
            cells[SystemOption::cell_extra_types + n] = n == 1 ? "1" : n == 2 ? "2" : "0";
        }
        option.SetEnvManager(&env);
        option.SetElementNumber(SystemOption::cell_count);
        EXPECT_EQ(SystemOption::ok, option.SetSODataFromAllDataToMemory(cells));
        EXPECT_EQ(1, db.SetEnvManager(&env));
        EXPECT_EQ(1, db.SetSystemOption(&option));
    }

    // Stores a new customer; result: the ID.
    int Add(char const* address, char const* family = "") {
        OneCustomer customer;
        db.GetOneCustomerForNew(customer, 1);
        customer.Email = address;
        customer.KanjiSei = family;
        EXPECT_EQ(CDatabaseEdit::ok, db.SetOneCustomerInfo(customer, 0));
        return customer.CustomerID;
    }
    void Advance() { clock.Set({now_seconds + 10, 0}); }
    CString Value(int id, int element) { return db.GetCustomerDataPinPoint(id, element); }
    void ExpectCells(int id, std::initializer_list<std::pair<int, char const*>> cells) {
        for (auto const& [element, value] : cells) EXPECT_EQ(value, Value(id, element)) << element;
    }
    int LastError() { return db.GetErrMsg().GetLastCode(); }
    CString DatabasePath() const { return env.DataPath("DB\\database.dat"); }
    CString WriteFile(char const* name, std::string_view content) const {
        EXPECT_TRUE(platform::WriteWholeFile(folder.Path(name), content));
        return folder.Path(name);
    }
    static std::string ReadFile(CString const& path) {
        std::string content;
        EXPECT_TRUE(platform::ReadWholeFile(path, content));
        return content;
    }
    std::string Sequence() const { return ReadFile(env.DataPath("DB\\dbseq.dat")); }
    // Every look-up by ID gives the result of a new index.
    void ExpectIndexIsRight(int highest_id) {
        CDatabaseEdit anew(db);
        anew.MakeIndex();
        for (int id = -2; id <= highest_id; ++id)
            EXPECT_EQ(anew.DBID2RowNumber(id), db.DBID2RowNumber(id)) << id;
        EXPECT_EQ(anew.GetMaxDBID(), db.GetMaxDBID());
    }

    ScratchFolder folder;
    TimeZone zone{"UTC"};
    platform::FrozenClock clock{{now_seconds, 0}};
    CString env_path;
    EnvManager env;
    SystemOption option;
    CDatabaseEdit db;
};

inline std::vector<int> Items(CArray<int, int> const& array) { return {array.begin(), array.end()}; }

inline std::vector<std::string> Texts(CStringList const& list) {
    std::vector<std::string> texts;
    for (POSITION place = list.GetHeadPosition(); place;) texts.emplace_back(list.GetNext(place).View());
    return texts;
}
