#include "environment/system_option.h"

#include <gtest/gtest.h>

#include "tests/environment/test_environment.h"
#include "tests/support/message_boxes.h"

namespace {

// A record of cells "c0", "c1", ...
std::string Record(int cells) {
    std::string record;
    for (int i = 0; i < cells; ++i) record += (i ? ",\"c" : "\"c") + std::to_string(i) + '"';
    return record + "\r\n";
}

CArray<CString, CString> Cells(int count) {
    CArray<CString, CString> cells;
    for (int i = 0; i < count; ++i) cells.Add(CString(std::string_view("n" + std::to_string(i))));
    return cells;
}

class SystemOptionTest : public testing::Test {
  protected:
    SystemOptionTest() {
        env_.InitEnvFileInfo(test_.file, app_key, 0);
        key_ = env_.GetDBKey();
        option_.SetEnvManager(&env_);
    }
    void Put(std::string const& plain) const { WriteTable(path_, plain, key_); }
    std::string OnDisk() const { return TableContentOf(path_, key_); }
    int Code() { return option_.GetErrMsg().GetLastCode(); }

    const TestEnvironment test_;
    const CString path_ = test_.folder.Path("店\\systemoption.dat");
    EnvManager env_;
    CString key_;
    SystemOption option_;
};

TEST_F(SystemOptionTest, ReadTakesOneRecordOfAKnownSize) {
    const struct {
        std::string plain;
        int result, code;
    } rows[] = {
        {Record(123), 0, 0},
        {Record(120), 0, 0},
        {Record(90), 0, 0},
        {Record(91), -3, 4003},
        {Record(124), -3, 4003},
        {Record(123) + Record(123), -3, 4003},
        {"", -22, 4202},
        {Record(123) + Record(90), -23, 4203},
        {"\r\n" + Record(123), -25, 4205},
        {Record(123).substr(0, 500), -22, 4202},
    };
    for (auto const& row : rows) {
        SCOPED_TRACE(&row - rows);
        Put(row.plain);
        option_.GetErrMsg().Clear();
        EXPECT_EQ(row.result, option_.GetSODataFromFileToMemory());
        EXPECT_EQ(row.code, Code());
        CString value;
        EXPECT_EQ(row.result == 0 ? 0 : -3, option_.GetSODataFromMemoryPinPoint(0, value));
        EXPECT_EQ(row.result == 0 ? "c0" : "", value);
    }
    platform::RemoveFile(path_);
    EXPECT_EQ(-21, option_.GetSODataFromFileToMemory());
    EXPECT_EQ(4201, Code());
    EXPECT_EQ(0, option_.GetRecordNumber());
}

TEST_F(SystemOptionTest, KeyRuleAndEnvironmentAreCheckedFirst) {
    Put(Record(123));
    ASSERT_EQ(0, option_.GetSODataFromFileToMemory());
    test_.WriteRow("broken", "2004/01/03 00:00:00", "2004/01/03 00:00:00");
    EXPECT_EQ(-27, option_.WriteSODataFromMemoryToFileCompel());
    EXPECT_EQ(4207, Code());
    EXPECT_EQ(Record(123), OnDisk());
    EXPECT_EQ(-27, option_.GetSODataFromFileToMemory());
    EXPECT_EQ(0, option_.GetRecordNumber());

    EnvManager plain;
    ASSERT_EQ(0, plain.InitEnvFileInfo(test_.file, nullptr, 0));
    SystemOption unscrambled(&plain);
    WriteTable(path_, Record(90));
    EXPECT_EQ(0, unscrambled.GetSODataFromFileToMemory());
    EXPECT_EQ(0, unscrambled.WriteSODataFromMemoryToFileCompel());
    EXPECT_EQ(Record(90), TableContentOf(path_));

    SystemOption homeless;
    for (int const result : {homeless.GetSODataFromFileToMemory(), homeless.WriteSODataFromMemoryToFile(),
                             homeless.WriteSODataFromMemoryToFileCompel()})
        EXPECT_EQ(-1, result);
    EXPECT_EQ(4001, homeless.GetErrMsg().GetLastCode());
    EXPECT_EQ(0, homeless.SetEnvManager(nullptr));
    EXPECT_EQ(1, homeless.SetEnvManager(&env_));
    EXPECT_EQ(0, homeless.SetEnvManager(&env_));
    const MessageBoxes boxes;
    EXPECT_THROW(SystemOption(nullptr), CUserException);
    EXPECT_EQ(std::vector<std::string>{"環境の設定に失敗しました"}, boxes.Texts());
}

TEST_F(SystemOptionTest, CellsReadAndChangeOneByOne) {
    CString value = "new";
    EXPECT_EQ(-3, option_.SetSODataToMemoryPinPoint(0, value));
    EXPECT_EQ(4003, Code());
    Put(Record(90));
    ASSERT_EQ(0, option_.GetSODataFromFileToMemory());
    for (int const index : {-1, 123}) {
        EXPECT_EQ(-4, option_.GetSODataFromMemoryPinPoint(index, value));
        EXPECT_EQ(-4, option_.SetSODataToMemoryPinPoint(index, value));
        EXPECT_EQ(4004, Code());
    }
    EXPECT_EQ("new", value);
    EXPECT_EQ(0, option_.SetSODataToMemoryPinPoint(89, value));
    EXPECT_EQ(0, option_.SetSODataToMemoryPinPoint(90, value));  // lost: the record has 90 cells
    EXPECT_EQ(0, option_.GetSODataFromMemoryPinPoint(100, value));
    EXPECT_EQ("", value);
    CArray<CString, CString> data;
    EXPECT_EQ(0, option_.GetSODataFromMemoryToAllData(data));
    ASSERT_EQ(123, data.GetSize());
    EXPECT_EQ("c88", data[88]);
    EXPECT_EQ("new", data[89]);
    EXPECT_EQ("", data[90]);
    EXPECT_EQ("", data[122]);
}

TEST_F(SystemOptionTest, AllCellsAtOnceFollowTheElementNumber) {
    const struct {
        int elements, cells;
        int result, code;
        char const* cell_89;
        char const* cell_122;
    } rows[] = {
        {0, 123, -19, 4099, nullptr, nullptr},
        {123, 122, -5, 4005, nullptr, nullptr},
        {123, 0, -5, 4005, nullptr, nullptr},
        {123, 123, 0, 0, "n89", "n122"},
        {123, 90, 0, 0, "n89", ""},
        {90, 123, 0, 0, "n89", ""},
        {120, 90, 0, 0, "n89", ""},
    };
    for (auto const& row : rows) {
        SCOPED_TRACE(&row - rows);
        SystemOption option(&env_);
        option.SetElementNumber(row.elements);
        CArray<CString, CString> cells = Cells(row.cells);
        EXPECT_EQ(row.result, option.SetSODataFromAllDataToMemory(cells));
        EXPECT_EQ(row.code, option.GetErrMsg().GetLastCode());
        CString value;
        if (!row.cell_89) continue;
        EXPECT_EQ(0, option.SetSODataFromAllDataToMemory(cells));  // replaces
        EXPECT_EQ(1, option.GetRecordNumber());
        EXPECT_EQ(0, option.GetSODataFromMemoryPinPoint(89, value));
        EXPECT_EQ(row.cell_89, value);
        EXPECT_EQ(0, option.GetSODataFromMemoryPinPoint(122, value));
        EXPECT_EQ(row.cell_122, value);
        EXPECT_EQ(0, option.WriteSODataFromMemoryToFile());
        EXPECT_EQ(0, option_.GetSODataFromFileToMemory());
        EXPECT_EQ(row.elements, option_.GetElementNumber());
    }
}

TEST_F(SystemOptionTest, WritesOnlyWhatChangedUnlessForced) {
    EXPECT_EQ(-3, option_.WriteSODataFromMemoryToFileCompel());
    EXPECT_EQ(4003, Code());
    Put(Record(123));
    ASSERT_EQ(0, option_.GetSODataFromFileToMemory());
    platform::RemoveFile(path_);
    EXPECT_EQ(0, option_.WriteSODataFromMemoryToFile());
    EXPECT_FALSE(platform::Exists(path_));
    EXPECT_EQ(0, option_.WriteSODataFromMemoryToFileCompel());
    EXPECT_EQ(Record(123), OnDisk());

    CString value = "x";
    EXPECT_EQ(0, option_.SetSODataToMemoryPinPoint(122, value));
    platform::FailWritesAfter(0);
    EXPECT_EQ(-24, option_.WriteSODataFromMemoryToFile());
    platform::FailWritesAfter(-1);
    EXPECT_EQ(4204, Code());
    EXPECT_EQ(0, option_.WriteSODataFromMemoryToFile());
    EXPECT_TRUE(OnDisk().ends_with("\"c121\",\"x\"\r\n"));

    EXPECT_EQ(0, option_.SetSODataToMemoryPinPoint(0, value));
    EXPECT_EQ(0, option_.GetSODataFromFileToMemory());  // what was not written is gone, and no change left
    platform::RemoveFile(path_);
    EXPECT_EQ(0, option_.WriteSODataFromMemoryToFile());
    EXPECT_FALSE(platform::Exists(path_));
}

TEST_F(SystemOptionTest, ExtraAttributesComeAsNamesAndTypes) {
    CArray<CString, CString> names;
    CArray<int, int> types;
    EXPECT_EQ(-3, option_.GetSOExtractDataFromMemory(names));
    EXPECT_EQ(-3, option_.GetSOExtractTypeFromMemory(types));
    Put(Record(90));
    ASSERT_EQ(0, option_.GetSODataFromFileToMemory());
    CString two = "2", empty;
    option_.SetSODataToMemoryPinPoint(53, two);
    option_.SetSODataToMemoryPinPoint(35, empty);
    EXPECT_EQ(0, option_.GetSOExtractDataFromMemory(names));
    EXPECT_EQ(0, option_.GetSOExtractTypeFromMemory(types));
    ASSERT_EQ(20, names.GetSize());
    ASSERT_EQ(20, types.GetSize());
    EXPECT_EQ("c14", names[0]);
    EXPECT_EQ("c33", names[19]);
    EXPECT_EQ(0, types[0]);
    EXPECT_EQ(0, types[1]);
    EXPECT_EQ(2, types[19]);
}

}  // namespace
