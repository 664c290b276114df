#include "tessaly/extract/extract_list_viewer.h"

#include "platform/file.h"
#include "tests/customers/customer_fixture.h"
#include "tests/support/file_content.h"
#include "tests/support/message_boxes.h"

namespace {

class ExtractListTest : public CustomerTest {
  protected:
    ExtractListTest() {
        platform::MakeDirectory(env.DataPath("EXTRACT"));
        EXPECT_EQ(1, lists.SetEnvManager(&env, 1));
    }
    int Insert(int id, char const* name) {
        ExtractViewData data;
        data.ExtractID = id;
        data.Name = name;
        data.DeleteFlag = "Y";  // not taken
        data.Honorific = "様";
        return lists.InsertExtractList(data);
    }
    int Code() { return lists.GetErrMsg().GetLastCode(); }
    std::string Names() {
        CArray<ExtractViewData*, ExtractViewData*> view;
        lists.GetExtractList(view);
        std::string names;
        for (ExtractViewData* data : view) (names += data->Name.View()) += ' ';
        return names;
    }
    CString Path() { return env.DataPath("EXTRACT\\extrlist.dat"); }

    ExtractListViewer lists;
};

TEST_F(ExtractListTest, TheLifeOfAList) {
    EXPECT_EQ(-3, lists.ExtractID2RowNumber(0));
    EXPECT_EQ(0, lists.GetNewExtractID());
    EXPECT_EQ(1, Insert(1, "常連"));
    EXPECT_EQ(1, Insert(2, "新規"));
    EXPECT_EQ(1, Insert(4, "ソ"));
    for (auto const& [id, name] : {std::pair{2, "x"}, {-1, "x"}, {3, ""}}) {
        EXPECT_EQ(0, Insert(id, name));
        EXPECT_EQ(11006, Code());
    }
    EXPECT_EQ(3, lists.GetNewExtractID());  // 1 and 2 are lists
    EXPECT_EQ(5, lists.GetNewExtractID());
    EXPECT_EQ(1, lists.DeleteExtractList(2));
    EXPECT_EQ("常連 ソ ", Names());
    EXPECT_EQ(2, lists.CountExtractList());
    CArray<int, int> ids;
    lists.GetDeleteExtractIDList(ids);
    EXPECT_EQ(std::vector{2}, Items(ids));
    EXPECT_EQ(1, lists.CorrectExtractListPinPoint("御中", 2, 4));
    EXPECT_EQ(1, lists.WriteAllExtractListToFile());

    ExtractListViewer again(&env);
    again.GetAllExtractID(ids);
    EXPECT_EQ((std::vector{1, 2, 4}), Items(ids));
    CString text;
    EXPECT_EQ(0, again.GetExtractName(2, text));
    EXPECT_EQ("新規", text);
    EXPECT_EQ(0, again.GetExtractLaseUpdate(2, text));
    EXPECT_EQ(now_text, text);
    EXPECT_EQ(0, again.GetExtractHonorific(2, text));
    EXPECT_EQ("御中", text);
    EXPECT_EQ(-1, again.GetExtractHonorific(3, text));
    EXPECT_EQ("", text);
    EXPECT_EQ(1, again.UnDeleteExtractList(2));
    EXPECT_EQ(3, again.CountExtractList());
    ExtractViewData data;
    again.SetExtractViewData(data, 7);
    EXPECT_EQ("", data.Name);
}

TEST_F(ExtractListTest, WhatIsWrittenAndWhen) {
    EXPECT_EQ(1, lists.WriteAllExtractListToFile());
    EXPECT_FALSE(platform::Exists(Path()));
    Insert(1, "常連");
    EXPECT_EQ(1, lists.WriteFromMemoryToFileAppointFileName(folder.Path("copy.dat"), nullptr));
    EXPECT_EQ("\"1\",\"常連\",\"2004/05/06 07:08:09\",\"\",\"\"\r\n",
              TableContentOf(folder.Path("copy.dat"), nullptr));
    platform::FailWritesAfter(0);
    EXPECT_EQ(0, lists.WriteAllExtractListToFile());
    platform::FailWritesAfter(-1);
    EXPECT_EQ(11202, Code());
    EXPECT_EQ(1, lists.WriteAllExtractListToFile());
    EXPECT_EQ(0, lists.CorrectExtractListPinPoint("x", 9, 5));
    EXPECT_EQ(11004, Code());
    EXPECT_EQ(0, lists.CorrectExtractListPinPoint("x", 9, 4));
    EXPECT_EQ(11003, Code());
    platform::RemoveFile(Path());
    EXPECT_EQ(1, lists.WriteAllExtractListToFile());  // nothing changed since
    EXPECT_FALSE(platform::Exists(Path()));
    EXPECT_EQ(1, lists.WriteAllExtractListToFileCompel());
    EXPECT_TRUE(platform::Exists(Path()));
}

TEST_F(ExtractListTest, DamagedFiles) {
    CString const key = env.GetDBKey();
    const struct {
        char const* content;
        int result, code;
    } rows[] = {
        {"", 0, 0}, {"1,2,3,4\r\n", -1, 11201}, {"1,2,3,4,5\r\n1\r\n", -2, 11201}, {"1,2,3,4,5\r\n", 1, 0}};
    for (auto const& row : rows) {
        ASSERT_TRUE(WriteTable(Path(), row.content, key));
        lists.GetErrMsg().Clear();
        EXPECT_EQ(row.result, lists.SetExtractListFromFile(0, nullptr)) << row.content;
        EXPECT_EQ(row.code, Code()) << row.content;
    }
    ExtractListViewer unbound;
    EXPECT_EQ(-2, unbound.SetExtractListFromFile(0, nullptr));
    EXPECT_EQ(11001, unbound.GetErrMsg().GetLastCode());
    EXPECT_EQ(0, unbound.WriteAllExtractListToFile());
    EXPECT_EQ(-1, unbound.GetNewExtractID());
    MessageBoxes const boxes;
    EXPECT_THROW(ExtractListViewer{nullptr}, CUserException);
    EXPECT_EQ(1U, boxes.Texts().size());
}

}  // namespace
