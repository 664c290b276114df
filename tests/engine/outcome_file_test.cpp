#include "engine/sending/outcome_file.h"

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>

#include "engine/base/failure.h"
#include "tests/platform/scratch_folder.h"

namespace {

std::string const title = "\xEF\xBB\xBF個人情報ID,メールアドレス,結果,応答,Message-ID\r\n";

class OutcomeFileTest : public testing::Test {
  protected:
    std::string Content() const {
        std::ifstream file(name_, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }
    void Put(std::string const& content) const { std::ofstream(name_, std::ios::binary) << content; }
    std::set<int> SettledIn(std::string const& content) const {
        Put(content);
        return engine::OutcomeFile(name_, true).Settled();
    }

    ScratchFolder folder_;
    std::string const name_ = folder_.Host("report.csv");
};

TEST_F(OutcomeFileTest, EveryRowIsThereAtOnce) {
    engine::OutcomeFile report(name_, false);
    EXPECT_EQ(Content(), title);
    report.Add({7, "a@example.jp", engine::Outcome::sent, "", "1.7@example.jp"});
    EXPECT_EQ(Content(), title + "7,a@example.jp,送信,,1.7@example.jp\r\n");
    report.Add({8, "b@example.jp", engine::Outcome::refused, "550 \"b\", unknown", "1.8@example.jp"});
    report.Add({9, "c@example.jp", engine::Outcome::failed, "切断", ""});
    EXPECT_EQ(Content(), title +
                             "7,a@example.jp,送信,,1.7@example.jp\r\n"
                             "8,b@example.jp,拒否,\"550 \"\"b\"\", unknown\",1.8@example.jp\r\n"
                             "9,c@example.jp,失敗,切断,\r\n");
    EXPECT_EQ(engine::OutcomeFile(name_, true).Settled(), (std::set<int>{7, 8}));
    EXPECT_THROW(engine::OutcomeFile(name_, false), engine::Failure);  // never written over
    EXPECT_THROW(engine::OutcomeFile(folder_.Host("no/report.csv"), false), engine::Failure);
}

// The process may die at any byte: what is cut off counts as not done, and the next row begins a line.
TEST_F(OutcomeFileTest, AFileThatWasCutAnywhereCanBeGoneOnWith) {
    std::string const whole = title + "7,a@example.jp,送信,,x\r\n8,b@example.jp,拒否,550,y\r\n";
    std::size_t const first = whole.find("8,b"), none = title.size();
    for (std::size_t size = 0; size <= whole.size(); ++size) {
        Put(whole.substr(0, size));
        engine::OutcomeFile report(name_, true);
        std::set<int> const wanted = size == whole.size() ? std::set<int>{7, 8}
                                     : size >= first      ? std::set<int>{7}
                                                          : std::set<int>{};
        EXPECT_EQ(report.Settled(), wanted) << size;
        report.Add({9, "c@example.jp", engine::Outcome::sent, "", "z"});
        std::size_t const kept = size == whole.size() ? size : size >= first ? first : none;
        EXPECT_EQ(Content(), whole.substr(0, kept) + "9,c@example.jp,送信,,z\r\n") << size;
    }
}

TEST_F(OutcomeFileTest, OtherFilesAreLeftAlone) {
    for (std::string const& content :
         {std::string("ID,address\r\n1,送信\r\n"), title.substr(3) + "1,a,送信,,\r\n",
          std::string(1000, '\0'), std::string("\n")}) {
        EXPECT_THROW(SettledIn(content), engine::Failure);
        EXPECT_EQ(Content(), content);
    }
    EXPECT_EQ(SettledIn(title + "x,a,送信\r\n\r\n,,\r\n5\r\n99999999999,a,送信\r\n3,c,送信,,\r\n"),
              (std::set<int>{3}));
}

}  // namespace
