#include "engine/environment/file_record.h"

#include <gtest/gtest.h>

#include <map>

#include "engine/customers/testers.h"
#include "engine/environment/table_kind.h"
#include "engine/mails/stored_mails.h"
#include "engine/targets/target_choice.h"
#include "tests/engine/scratch_shop.h"

namespace fs = std::filesystem;
using namespace engine;

namespace engine_tests {
namespace {

class FileRecords : public ScratchShop {
  protected:
    // A second name for each table, whose bytes change when the table is written in its place.
    std::map<std::string, std::string> NameTwice() {
        std::map<std::string, std::string> content;
        fs::remove_all(folder_ / "links");
        fs::create_directories(folder_ / "links");
        for (auto const& entry : fs::recursive_directory_iterator(folder_ / "shop")) {
            if (!TableKindOf(entry.path().string())) continue;
            std::string const link = "links/" + std::to_string(content.size());
            fs::create_hard_link(entry.path(), Path(link));
            content[link] = Content(link);
        }
        return content;
    }
    void ExpectRecords() {
        for (auto const& entry : fs::recursive_directory_iterator(folder_ / "shop")) {
            if (!TableKindOf(entry.path().string())) continue;
            FileRecord const record(entry.path().string());
            EXPECT_TRUE(record.AllowsOnly(ContentOf(entry.path().string()))) << entry.path();
        }
    }
};

TEST_F(FileRecords, NoTableIsWrittenInItsPlace) {
    Import("メールアドレス,名前(姓)\na@example.jp,表\nb@example.jp,ソ\n");
    MailArguments arguments;
    arguments.draft = Put("draft.txt", "Subject: x\n\n\"y\"\n\"\n");
    arguments.attach = {Put("a.txt", "a")};
    CreateMail(access_, env_, arguments);
    auto const before = NameTwice();
    EXPECT_GT(before.size(), 8u);
    ChangeMail(access_, env_, 0, arguments);
    {
        Session session = Open(Session::For::changing);
        for (int i = 0; i < 3; ++i)  // each reads the list again
            session.ChangeMails([&](CMailListViewer& mails) {
                mails.SetMailDataPinPoint(0, CMailListViewer::column_honorific, i % 2 ? "様" : "殿");
            });
        session.Customers();
        session.SaveCustomers();
        session.SaveSettings();
        AddTester(session, {"メールアドレス=t@example.jp"});
        AddTester(session, {"メールアドレス=u@example.jp"});
    }
    for (auto const& [link, content] : before) EXPECT_EQ(content, Content(link));
    EXPECT_EQ(2u, ContentOf(Path("shop/DB/database.dat"))->rows);
    EXPECT_EQ(7u, ContentOf(Path("shop/MAIL/0/mail0.dat"))->rows);  // line ends in a text are none
    ExpectRecords();
}

TEST_F(FileRecords, ATableThatCannotBeReplacedKeepsItsRecord) {
    std::string const table = Path("shop/DB/database.dat");
    EXPECT_FALSE(ReplaceTable(table, [&](std::string const& file) {
        std::ofstream(file) << "half";
        return false;
    }));
    ExpectRecords();
    // Cut off between the record and the new name: both contents count.
    std::string const next = Put("next", "x\r\n");
    auto const old = ContentOf(table);
    ASSERT_TRUE(FileRecord::Announce(table, next));
    EXPECT_TRUE(FileRecord(table).Allows(old) && FileRecord(table).Allows(ContentOf(next)));
    // The next replacement drops the one that never came.
    ASSERT_TRUE(ReplaceTable(table, [&](std::string const& file) {
        std::ofstream(file) << "another\r\n";
        return true;
    }));
    EXPECT_FALSE(FileRecord(table).Allows(old) || FileRecord(table).Allows(ContentOf(next)));
    ExpectRecords();
    fs::remove(table);
    EXPECT_FALSE(FileRecord(table).Allows(ContentOf(table)));
    EXPECT_TRUE(WriteRecords(Path("shop"), {"DB"}));
    EXPECT_EQ(FileRecord::none, FileRecord(table).GetState());
}

}  // namespace
}  // namespace engine_tests
