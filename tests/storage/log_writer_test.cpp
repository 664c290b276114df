#include "storage/log_writer.h"

#include <gtest/gtest.h>

#include <functional>
#include <set>
#include <thread>

#include "platform/process.h"
#include "tests/platform/scratch_folder.h"
#include "tests/platform/time_zone.h"
#include "tests/support/file_content.h"

namespace {

const std::string rule = std::string(79, '-') + "\r\n";
const std::string title_rule = std::string(79, '=') + "\r\n";

class LogWriterTest : public testing::Test {
  protected:
    LogWriterTest() { platform::SetModuleDirectory(folder_.Host()); }
    ~LogWriterTest() override { platform::SetModuleDirectory(""); }
    CString File(int digit) const {
        CString path;
        path.Format("%s\\TessalyTransfer%d.log", static_cast<char const*>(folder_.Path("")), digit);
        path.Replace("\\\\", "\\");
        return path;
    }
    // `day` days and `second` seconds after 2004-01-03 00:00:00 in Japan.
    static platform::Instant At(int day, int second = 0) {
        constexpr std::int64_t start = 1073055600;
        return {start + day * 86400LL + second, 0};
    }

    const TimeZone zone_{"JST-9"};
    const ScratchFolder folder_;
    platform::FrozenClock clock_{At(0)};
};

TEST_F(LogWriterTest, EntriesTitleTimeAndRuleStandAsTold) {
    LogWriter log;
    log.SetLogData("｜S｜HELO", 0, 0);
    std::string expected = "2004/01/03\r\n｜S｜HELO\r\n";
    EXPECT_EQ(expected, ContentOf(File(3)));

    clock_.Set(At(0, 23 * 3600 + 5 * 60 + 9));
    log.SetLogTitle("送信");
    log.SetLogData("｜R｜250\r\n", 1, 0);
    expected += title_rule + "送信\r\n" + title_rule + "23:05:09｜R｜250\r\n";
    EXPECT_EQ(expected, ContentOf(File(3)));

    log.SetLogData("x\n", 0, 1);
    log.SetLogData("", 0, 0);
    expected += "x\n\r\n" + rule + "\r\n";
    EXPECT_EQ(expected, ContentOf(File(3)));

    log.WriteToFile();  // nothing waits
    EXPECT_EQ(expected, ContentOf(File(3)));
}

TEST_F(LogWriterTest, ADayHasItsFileAndTenDaysLaterItStartsAfresh) {
    LogWriter log;
    const struct {
        int day;
        int digit;
        char const* date;
    } rows[] = {
        {0, 3, "2004/01/03"},  {1, 4, "2004/01/04"},  {10, 3, "2004/01/13"},
        {28, 1, "2004/01/31"}, {29, 1, "2004/02/01"}, {58, 1, "2004/03/01"},
    };
    for (auto const& row : rows) {
        clock_.Set(At(row.day));
        log.SetLogData("a", 0, 0);
        clock_.Set(At(row.day, 86399));
        log.SetLogData("b", 0, 0);
        EXPECT_EQ(std::string(row.date) + "\r\na\r\nb\r\n", ContentOf(File(row.digit)));
    }
    EXPECT_EQ("2004/01/04\r\na\r\nb\r\n", ContentOf(File(4)));
}

TEST_F(LogWriterTest, WhatOthersDidToTheFileIsSetRight) {
    const CString path = File(3);
    const std::string fresh = "2004/01/03\r\nnew\r\n";
    const struct {
        char const* what;
        std::function<void()> deed;
        std::string after;
    } rows[] = {
        {"nothing", [] {}, "2004/01/03\r\nold\r\nnew\r\n"},
        {"deleted", [&] { platform::RemoveFile(path); }, fresh},
        {"replaced by one of today",
         [&] {
             platform::RemoveFile(path);
             platform::WriteWholeFile(path, "2004/01/03\r\nother\r\n");
         },
         "2004/01/03\r\nother\r\nnew\r\n"},
        {"replaced by one of another day", [&] { platform::WriteWholeFile(path, "2003/12/23\r\nother\r\n"); },
         fresh},
        {"emptied in place", [&] { platform::CloseStream(platform::OpenStream(path, "wb")); }, fresh},
        {"added to",
         [&] {
             std::FILE* stream = platform::OpenStream(path, "ab");
             std::fputs("more\r\n", stream);
             platform::CloseStream(stream);
         },
         "2004/01/03\r\nold\r\nmore\r\nnew\r\n"},
        {"renamed away",
         [&] {
             platform::RenameFile(path, path + ".old");
             platform::SleepMilliseconds(3);
         },
         fresh},
    };
    for (auto const& row : rows) {
        platform::RemoveFile(path);
        LogWriter log;
        log.SetLogData("old", 0, 0);
        row.deed();
        log.SetLogData("new", 0, 0);
        EXPECT_EQ(row.after, ContentOf(path)) << row.what;
    }
}

TEST_F(LogWriterTest, AnOlderFileIsEmptiedAndOneOfTodayAddedTo) {
    for (const std::string old : {"", "2003/12/13\r\nx\r\n", "2004/01/0", "\r\n2004/01/03\r\n"}) {
        platform::WriteWholeFile(File(3), old);
        LogWriter().SetLogData("new", 0, 0);
        EXPECT_EQ("2004/01/03\r\nnew\r\n", ContentOf(File(3))) << old;
    }
    LogWriter().SetLogData("again", 0, 0);
    EXPECT_EQ("2004/01/03\r\nnew\r\nagain\r\n", ContentOf(File(3)));
}

TEST_F(LogWriterTest, WhatCannotBeWrittenWaits) {
    LogWriter log;
    // The file, its date line, an entry: each may be the one that fails.
    platform::MakeDirectory(File(3));
    log.SetLogData("1", 0, 0);
    platform::RemoveDirectory(File(3));
    platform::FailWritesAfter(0);
    log.SetLogData("2", 0, 0);
    platform::FailWritesAfter(1);
    log.SetLogTitle("t");
    log.SetLogData("3", 0, 0);
    platform::FailWritesAfter(-1);
    EXPECT_EQ("2004/01/03\r\n", ContentOf(File(3)));
    log.SetLogData("4", 0, 0);
    EXPECT_EQ("2004/01/03\r\n" + title_rule + "t\r\n" + title_rule + "1\r\n2\r\n3\r\n4\r\n",
              ContentOf(File(3)));

    platform::FailWritesAfter(0);
    log.SetLogData("5", 0, 0);
    LogWriter copy = log;  // takes the waiting text along
    LogWriter other;
    other.SetLogData("6", 0, 0);
    other.ClearLogBuffer();
    log.Init();
    platform::FailWritesAfter(-1);
    platform::RemoveFile(File(3));
    log.WriteToFile();
    other.WriteToFile();
    EXPECT_EQ("(no file)", ContentOf(File(3)));
    copy.WriteToFile();
    EXPECT_EQ("2004/01/03\r\n5\r\n", ContentOf(File(3)));
}

TEST_F(LogWriterTest, AnotherPathHoldsForTheRestOfTheDay) {
    LogWriter log;
    log.SetLogFilePath(folder_.Path("mine.log"));
    log.SetLogData("1", 0, 0);  // a first write goes to the day's own file
    EXPECT_EQ("2004/01/03\r\n1\r\n", ContentOf(File(3)));
    log.SetLogFilePath(folder_.Path("mine.log"));
    log.SetLogData("2", 0, 0);
    EXPECT_EQ("2004/01/03\r\n2\r\n", ContentOf(folder_.Path("mine.log")));
    clock_.Set(At(1));
    log.SetLogData("3", 0, 0);
    EXPECT_EQ("2004/01/04\r\n3\r\n", ContentOf(File(4)));
    EXPECT_EQ("2004/01/03\r\n1\r\n", ContentOf(File(3)));
}

TEST_F(LogWriterTest, ManyWritersShareAFileWithoutTearingEntries) {
    constexpr int writers = 4;
    constexpr int entries = 300;
    LogWriter().SetLogData("start", 0, 0);
    std::vector<std::thread> threads;
    for (int writer = 0; writer < writers; ++writer)
        threads.emplace_back([writer] {
            LogWriter log;
            for (int entry = 0; entry < entries; ++entry) {
                CString text;
                text.Format("%d-%d-%s", writer, entry, std::string(50, 'x').c_str());
                log.SetLogData(text, 0, 0);
            }
        });
    for (std::thread& thread : threads) thread.join();

    const std::string content = ContentOf(File(3));
    ASSERT_TRUE(content.starts_with("2004/01/03\r\nstart\r\n"));
    std::set<std::string> lines;
    for (std::size_t at = 19; at < content.size();) {
        const std::size_t end = content.find("\r\n", at);
        ASSERT_NE(std::string::npos, end);
        lines.insert(content.substr(at, end - at));
        at = end + 2;
    }
    ASSERT_EQ(static_cast<std::size_t>(writers * entries), lines.size());
    for (std::string const& line : lines) EXPECT_TRUE(line.ends_with(std::string(50, 'x')));
}

}  // namespace
