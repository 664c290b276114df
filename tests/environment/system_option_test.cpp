#include "tessaly/environment/system_option.h"

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

    TestEnvironment const test_;
    CString const path_ = test_.folder.Path("店\\systemoption.dat");
    EnvManager env_;
    CString key_;
    SystemOption option_;
};

TEST_F(SystemOptionTest, ReadTakesOneRecordOfAKnownSize) {
    const struct {
        std::string plain;
        int result, code;
        char const* first_cell;  // null: no valid record in memory
    } rows[] = {
        {Record(123), 0, 0, "c0"},
        {Record(120), 0, 0, "c0"},
        {Record(90), 0, 0, "c0"},
        {Record(91), -3, 4003, nullptr},
        {Record(124), -3, 4003, nullptr},
        {Record(123) + Record(123), -3, 4003, nullptr},
        {Record(123).substr(0, 500), -22, 4202, nullptr},
        {Record(123) + Record(90), -23, 4203, "c0"},
        {"\r\n" + Record(123), -25, 4205, nullptr},
        {"(no file)", -21, 4201, nullptr},
    };
    for (auto const& row : rows) {
        SCOPED_TRACE(&row - rows);
        Put(row.plain);
        if (row.code == 4201) platform::RemoveFile(path_);
        option_.GetErrMsg().Clear();
        EXPECT_EQ(row.result, option_.GetSODataFromFileToMemory());
        EXPECT_EQ(row.code, Code());
        CString value;
        EXPECT_EQ(row.first_cell ? 0 : -3, option_.GetSODataFromMemoryPinPoint(0, value));
        EXPECT_EQ(row.first_cell ? row.first_cell : "", value);
    }
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
    EXPECT_EQ(-1, homeless.GetSODataFromFileToMemory());
    EXPECT_EQ(-1, homeless.WriteSODataFromMemoryToFile());
    EXPECT_EQ(-1, homeless.WriteSODataFromMemoryToFileCompel());
    EXPECT_EQ(4001, homeless.GetErrMsg().GetLastCode());
    EXPECT_EQ(0, homeless.SetEnvManager(nullptr));
    EXPECT_EQ(1, homeless.SetEnvManager(&env_));
    EXPECT_EQ(0, homeless.SetEnvManager(&env_));
    MessageBoxes const boxes;
    EXPECT_THROW(SystemOption(nullptr), CUserException);
    EXPECT_EQ(std::vector<std::string>{"環境の設定に失敗しました"}, boxes.Texts());
}

TEST_F(SystemOptionTest, CellsReadAndChangeOneByOne) {
    CString value = "new", two = "2", empty;
    CArray<CString, CString> data, names;
    CArray<int, int> types;
    for (int const result :
         {option_.SetSODataToMemoryPinPoint(0, value), option_.GetSOExtractTypeFromMemory(types),
          option_.GetSOExtractDataFromMemory(names), option_.GetSODataFromMemoryToAllData(data)})
        EXPECT_EQ(-3, result);
    Put(Record(90));
    ASSERT_EQ(0, option_.GetSODataFromFileToMemory());
    for (int const index : {-1, 123}) {
        EXPECT_EQ(-4, option_.GetSODataFromMemoryPinPoint(index, value));
        EXPECT_EQ(-4, option_.SetSODataToMemoryPinPoint(index, value));
        EXPECT_EQ(4004, Code());
    }
    EXPECT_EQ(0, option_.SetSODataToMemoryPinPoint(89, value));
    EXPECT_EQ(0, option_.SetSODataToMemoryPinPoint(90, value));  // lost: the record has 90 cells
    EXPECT_EQ(0, option_.GetSODataFromMemoryPinPoint(100, value));
    EXPECT_EQ("", value);
    EXPECT_EQ(0, option_.GetSODataFromMemoryToAllData(data));
    ASSERT_EQ(123, data.GetSize());
    EXPECT_EQ("c88new", data[88] + data[89] + data[90] + data[122]);

    EXPECT_EQ(0, option_.SetSODataToMemoryPinPoint(53, two) + option_.SetSODataToMemoryPinPoint(35, empty));
    EXPECT_EQ(0, option_.GetSOExtractDataFromMemory(names));
    EXPECT_EQ(0, option_.GetSOExtractTypeFromMemory(types));
    ASSERT_EQ(20, names.GetSize());
    EXPECT_EQ("c14c33", names[0] + names[19]);
    ASSERT_EQ(20, types.GetSize());
    EXPECT_EQ(0, types[0] + types[1]);
    EXPECT_EQ(2, types[19]);
}

TEST_F(SystemOptionTest, AllCellsAtOnceFollowTheElementNumber) {
    const struct {
        int elements, cells, result, code;
        char const* cell_122;
    } rows[] = {
        {0, 123, -19, 4099, ""}, {123, 122, -5, 4005, ""}, {123, 0, -5, 4005, ""}, {123, 123, 0, 0, "n122"},
        {123, 90, 0, 0, ""},     {90, 123, 0, 0, ""},      {120, 90, 0, 0, ""},
    };
    for (auto const& row : rows) {
        SCOPED_TRACE(&row - rows);
        SystemOption option(&env_);
        option.SetElementNumber(row.elements);
        CArray<CString, CString> cells;
        for (int i = 0; i < row.cells; ++i) cells.Add(CString(std::string_view("n" + std::to_string(i))));
        EXPECT_EQ(row.result, option.SetSODataFromAllDataToMemory(cells));
        EXPECT_EQ(row.code, option.GetErrMsg().GetLastCode());
        if (row.result) continue;
        EXPECT_EQ(0, option.SetSODataFromAllDataToMemory(cells));  // replaces
        EXPECT_EQ(1, option.GetRecordNumber());
        EXPECT_EQ(0, option.WriteSODataFromMemoryToFile());
        EXPECT_EQ(0, option_.GetSODataFromFileToMemory());
        EXPECT_EQ(row.elements, option_.GetElementNumber());
        EXPECT_EQ("n89", option_.GetStringElement(89, 0));
        EXPECT_EQ(row.cell_122, option_.GetStringElement(122, 0));
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

}  // namespace
