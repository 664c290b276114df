#include "tessaly/storage/log_writer.h"
#include "platform/clock.h"

#include <gtest/gtest.h>

#include <functional>
#include <latch>
#include <set>
#include <thread>

#include "tessaly/platform/process.h"
#include "tests/platform/scratch_folder.h"
#include "tests/platform/time_zone.h"
#include "tests/support/file_content.h"

namespace {

std::string const rule = std::string(79, '-') + "\r\n";
std::string const title_rule = std::string(79, '=') + "\r\n";

class LogWriterTest : public testing::Test {
  protected:
    LogWriterTest() { platform::SetModuleDirectory(folder_.Host()); }
    ~LogWriterTest() override { platform::SetModuleDirectory(""); }
    CString File(int digit) const {
        CString name;
        name.Format("TessalyTransfer%d.log", digit);
        return folder_.Path(name);
    }
    // `day` days and `second` seconds after 2004-01-03 00:00:00 in Japan.
    static platform::Instant At(int day, int second = 0) {
        constexpr std::int64_t start = 1073055600;
        return {start + day * 86400LL + second, 0};
    }

    TimeZone const zone_{"JST-9"};
    ScratchFolder const folder_;
    platform::FrozenClock clock_{At(0)};
};

TEST_F(LogWriterTest, EntriesStandWithTitleTimeAndRule) {
    LogWriter log;
    log.SetLogData("｜S｜HELO", 0, 0);
    EXPECT_EQ("2004/01/03\r\n｜S｜HELO\r\n", ContentOf(File(3)));
    clock_.Set(At(0, 23 * 3600 + 5 * 60 + 9));
    log.SetLogTitle("送信");
    log.SetLogData("｜R｜250\r\n", 1, 0);
    log.SetLogData("x\n", 0, 1);
    log.SetLogData("", 0, 0);
    log.WriteToFile();  // nothing waits
    EXPECT_EQ("2004/01/03\r\n｜S｜HELO\r\n" + title_rule + "送信\r\n" + title_rule +
                  "23:05:09｜R｜250\r\nx\n\r\n" + rule + "\r\n",
              ContentOf(File(3)));
}

TEST_F(LogWriterTest, ADayHasItsFileAndTenDaysLaterItStartsAfresh) {
    LogWriter log;
    const struct {
        int day, digit;
        std::string date;
    } rows[] = {{0, 3, "2004/01/03"},  {1, 4, "2004/01/04"},  {10, 3, "2004/01/13"},
                {28, 1, "2004/01/31"}, {29, 1, "2004/02/01"}, {58, 1, "2004/03/01"}};
    for (auto const& row : rows) {
        clock_.Set(At(row.day));
        log.SetLogData("a", 0, 0);
        clock_.Set(At(row.day, 86399));
        log.SetLogData("b", 0, 0);
        EXPECT_EQ(row.date + "\r\na\r\nb\r\n", ContentOf(File(row.digit)));
    }
    EXPECT_EQ("2004/01/04\r\na\r\nb\r\n", ContentOf(File(4)));

    // Another path applies for the rest of the day; the first write of an object or a day goes to the day's
    // own file.
    CString const mine = folder_.Path("mine.log");
    clock_.Set(At(0));
    LogWriter other;
    for (char const* text : {"1", "2", "3"}) {
        if (*text == '3') clock_.Set(At(1));
        other.SetLogFilePath(mine);
        other.SetLogData(text, 0, 0);
    }
    EXPECT_EQ("2004/01/03\r\n1\r\n", ContentOf(File(3)));
    EXPECT_EQ("2004/01/03\r\n2\r\n", ContentOf(mine));
    EXPECT_EQ("2004/01/04\r\na\r\nb\r\n3\r\n", ContentOf(File(4)));
}

TEST_F(LogWriterTest, WhatOthersDidToTheFileIsSetRight) {
    CString const path = File(3);
    std::string const date = "2004/01/03\r\n";
    auto const remove = [&] { platform::RemoveFile(path); };
    auto const open = [&](char const* mode, char const* text) {
        platform::Stream const stream(platform::OpenStream(path, mode));
        std::fputs(text, stream.get());
    };
    std::pair<std::function<void()>, std::string> const rows[] = {
        {[] {}, date + "old\r\nnew\r\n"},
        {remove, date + "new\r\n"},
        {[&] { remove(), open("wb", "2004/01/03\r\nother\r\n"); }, date + "other\r\nnew\r\n"},
        {[&] { remove(), open("wb", "2003/12/23\r\nother\r\n"); }, date + "new\r\n"},
        {[&] { open("wb", ""); }, date + "new\r\n"},
        {[&] { open("ab", "more\r\n"); }, date + "old\r\nmore\r\nnew\r\n"},
        {[&] { platform::RenameFile(path, path + ".old"), platform::SleepMilliseconds(3); },
         date + "new\r\n"},
    };
    LogWriter log;
    for (auto const& [deed, after] : rows) {
        remove();
        log.SetLogData("old", 0, 0);
        deed();
        log.SetLogData("new", 0, 0);
        EXPECT_EQ(after, ContentOf(path));
    }
    for (std::string const old : {"", "2003/12/13\r\nx\r\n", "2004/01/0", "\r\n2004/01/03\r\n"}) {
        platform::WriteWholeFile(path, old);
        LogWriter().SetLogData("new", 0, 0);
        EXPECT_EQ(date + "new\r\n", ContentOf(path)) << old;
    }
    LogWriter().SetLogData("again", 0, 0);
    EXPECT_EQ(date + "new\r\nagain\r\n", ContentOf(path));
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

    // A file that cannot be read is not emptied.
    platform::FailReadsAfter(0);
    LogWriter unread;
    unread.SetLogData("7", 0, 0);
    platform::FailReadsAfter(-1);
    unread.ClearLogBuffer();
    EXPECT_TRUE(ContentOf(File(3)).ends_with("3\r\n4\r\n"));

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

TEST_F(LogWriterTest, WritersThatMeetANewDayLeaveEachOthersEntries) {
    constexpr int writers = 4;
    for (int round = 0; round < 200; ++round) {
        platform::RemoveFile(File(3));
        {
            platform::Stream const old(platform::OpenStream(File(3), "wb"));
            std::fputs("2003/12/23\r\nold\r\n", old.get());
        }
        std::latch start(writers);
        std::vector<std::thread> threads;
        for (int writer = 0; writer < writers; ++writer)
            threads.emplace_back([&] {
                LogWriter log;
                start.arrive_and_wait();
                log.SetLogData("entry", 0, 0);
            });
        for (std::thread& thread : threads) thread.join();
        ASSERT_EQ("2004/01/03\r\nentry\r\nentry\r\nentry\r\nentry\r\n", ContentOf(File(3))) << round;
    }
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

    std::string const content = ContentOf(File(3));
    std::set<std::string_view> lines;
    for (std::size_t at = 0, end; (end = content.find("\r\n", at)) != std::string::npos; at = end + 2)
        lines.insert(std::string_view(content).substr(at, end - at));
    EXPECT_EQ(static_cast<std::size_t>(writers * entries + 2), lines.size());
    lines.erase("2004/01/03");
    lines.erase("start");
    for (std::string_view const line : lines) EXPECT_TRUE(line.ends_with(std::string(50, 'x'))) << line;
}

}  // namespace
