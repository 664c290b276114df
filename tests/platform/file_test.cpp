#include "platform/file.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstring>
#include <fstream>

#include "scratch_folder.h"
#include "tessaly/platform/replacement.h"

namespace {

using namespace platform;

class File : public testing::Test {
  protected:
    ~File() override {
        FailWritesAfter(-1);
        FailReadsAfter(-1);
    }
    std::string Content(CString const& path) {
        std::string content = "unread";
        EXPECT_TRUE(ReadWholeFile(path, content)) << path;
        return content;
    }
    int Entries() {
        CFileFind find;
        int count = 0;
        for (bool more = find.FindFile(scratch.Path("*")); more; more = find.FindNextFile()) ++count;
        return count;
    }
    ScratchFolder scratch;
};

std::string Pattern(std::size_t size) {
    std::string content(size, '\0');
    for (std::size_t i = 0; i < size; ++i) content[i] = static_cast<char>(i * 31 + (i >> 8));
    return content;
}

TEST_F(File, StreamModes) {
    static constexpr struct {
        char const* mode;
        char const* before;  // null: the file is not there
        bool opens;
        char const* after;  // with "xy" written and the stream closed
    } rows[] = {
        {"w", nullptr, true, "xy"},     {"wb", "1234", true, "xy"},      {"a", nullptr, true, "xy"},
        {"ab", "1234", true, "1234xy"}, {"r+b", "1234", true, "xy34"},   {"w+", "1234", true, "xy"},
        {"r", nullptr, false, nullptr}, {"r+", nullptr, false, nullptr}, {"", "1", false, nullptr},
        {"q", "1", false, nullptr},     {nullptr, "1", false, nullptr},
    };
    CString const path = scratch.Path("表\\予定.dat");
    ASSERT_TRUE(MakeDirectory(scratch.Path("表")));
    for (auto const& row : rows) {
        SCOPED_TRACE(row.mode ? row.mode : "null");
        RemoveFile(path);
        if (row.before) {
            ASSERT_TRUE(WriteWholeFile(path, row.before));
        }
        std::FILE* stream = OpenStream(path, row.mode);
        ASSERT_EQ(row.opens, stream != nullptr);
        if (!stream) continue;
        EXPECT_EQ(2U, std::fwrite("xy", 1, 2, stream));
        EXPECT_TRUE(CloseStream(stream));
        EXPECT_EQ(row.after, Content(path));
    }
    EXPECT_EQ(nullptr, OpenStream(scratch.Path("表"), "r"));
    EXPECT_EQ(nullptr, OpenStream(scratch.Path("表"), "w"));
    EXPECT_EQ(nullptr, OpenStream(nullptr, "w"));
    EXPECT_EQ(nullptr, OpenStream("", "r"));
    EXPECT_FALSE(CloseStream(nullptr));

    Stream reader(OpenStream(path, "rb"));
    EXPECT_EQ(0U, std::fwrite("z", 1, 1, reader.get()));
}

TEST_F(File, StreamsKeepEveryByte) {
    CString const path = scratch.Path("big.dat");
    std::string const content = Pattern(700001);
    {
        Stream out(OpenStream(path, "w"));
        for (std::size_t at = 0, piece = 1; at < content.size(); at += piece, piece = piece * 3 % 70001)
            std::fwrite(content.data() + at, 1, std::min(piece, content.size() - at), out.get());
    }
    EXPECT_TRUE(content == Content(path));
    std::string read(content.size(), '\0');
    Stream in(OpenStream(path, "r"));
    std::fseek(in.get(), 300000, SEEK_SET);
    EXPECT_EQ(static_cast<unsigned char>(content[300000]), std::fgetc(in.get()));
    std::rewind(in.get());
    EXPECT_EQ(read.size(), std::fread(read.data(), 1, read.size() + 1, in.get()));
    EXPECT_TRUE(content == read);
    EXPECT_TRUE(std::feof(in.get()));
}

TEST_F(File, FullDiskShowsWhenAStreamIsClosed) {
    for (std::size_t size : {1U, 100000U, 1000000U}) {
        std::FILE* full = OpenStream("C:\\dev\\full", "w");
        ASSERT_NE(nullptr, full);
        std::fwrite(Pattern(size).data(), 1, size, full);
        EXPECT_FALSE(CloseStream(full)) << size;
    }
    for (int writes = 0; writes <= 4; ++writes) {
        SCOPED_TRACE(writes);
        CString const path = scratch.Path("cut.dat");
        std::FILE* stream = OpenStream(path, "w");
        FailWritesAfter(writes);
        for (int i = 0; i < 3; ++i) {
            std::fputs("line\n", stream);
            EXPECT_EQ(i < writes, std::fflush(stream) == 0);
        }
        FailWritesAfter(-1);
        // Space that becomes free does not make the file whole.
        EXPECT_EQ(writes < 3, std::fputs("end", stream) < 0 || std::fflush(stream) != 0);
        EXPECT_EQ(writes >= 3, CloseStream(stream));
        EXPECT_EQ(std::string("line\nline\nline\nend").substr(0, writes < 3 ? writes * 5 : 18),
                  Content(path));
    }
}

TEST_F(File, WholeFiles) {
    for (std::size_t size : {0, 1, 262143, 262144, 262145, 1048577}) {
        std::string const content = Pattern(size);
        ASSERT_TRUE(WriteWholeFile(scratch.Path("whole"), content));
        EXPECT_TRUE(content == Content(scratch.Path("whole"))) << size;
    }
    EXPECT_NE(std::string::npos, Content("C:\\proc\\self\\status").find("Pid:"));  // its length reads as 0

    std::string content = "kept";
    EXPECT_FALSE(ReadWholeFile(scratch.Path(), content));
    EXPECT_FALSE(ReadWholeFile(scratch.Path("missing"), content));
    EXPECT_FALSE(ReadWholeFile(nullptr, content));
    EXPECT_FALSE(ReadWholeFile("C:\\proc\\self\\mem", content));
    { Stream const sparse(OpenStream(scratch.Path("sparse"), "w")); }
    ASSERT_EQ(0, truncate(scratch.Host("sparse").c_str(), off_t{1} << 31));
    EXPECT_FALSE(ReadWholeFile(scratch.Path("sparse"), content));
    ASSERT_TRUE(RemoveFile(scratch.Path("sparse")));
    EXPECT_EQ("kept", content);
    EXPECT_FALSE(WriteWholeFile(scratch.Path("missing\\file"), "x"));
    EXPECT_FALSE(WriteWholeFile(scratch.Path(), "x"));
    EXPECT_FALSE(WriteWholeFile("", "x"));
    EXPECT_FALSE(WriteWholeFile("C:\\dev\\full", "x"));
    EXPECT_EQ(1, Entries());
}

TEST_F(File, NewContentLeavesTheRestOfAFileAlone) {
    CString const path = scratch.Path("file");
    ASSERT_TRUE(WriteWholeFile(path, "old"));
    chmod(scratch.Host("file").c_str(), 0640);
    symlink("file", scratch.Host("symbolic").c_str());
    symlink("made", scratch.Host("dangling").c_str());
    EXPECT_TRUE(WriteWholeFile(scratch.Path("symbolic"), "new"));
    EXPECT_TRUE(WriteWholeFile(scratch.Path("dangling"), "new"));
    EXPECT_EQ("new", Content(path));
    EXPECT_EQ("new", Content(scratch.Path("made")));
    struct stat status;
    ASSERT_EQ(0, lstat(scratch.Host("symbolic").c_str(), &status));
    EXPECT_TRUE(S_ISLNK(status.st_mode));
    ASSERT_EQ(0, stat(scratch.Host("file").c_str(), &status));
    EXPECT_EQ(0640U, status.st_mode & 07777);

    ASSERT_EQ(0, link(scratch.Host("file").c_str(), scratch.Host("second").c_str()));
    EXPECT_TRUE(WriteWholeFile(path, "both"));
    EXPECT_EQ("both", Content(scratch.Path("second")));
    unlink(scratch.Host("second").c_str());

    int const entries = Entries();
    FailWritesAfter(0);
    EXPECT_FALSE(WriteWholeFile(path, "lost"));
    EXPECT_FALSE(CopyFile(scratch.Path("made"), path, false));
    FailWritesAfter(-1);
    EXPECT_EQ("both", Content(path));
    EXPECT_EQ(entries, Entries());
}

TEST_F(File, NewContentIsNeverOpenToMoreUsersThanTheFile) {
    auto const mode_of = [](std::string const& host) {
        struct stat status {};
        return stat(host.c_str(), &status) == 0 ? static_cast<int>(status.st_mode & 07777) : -1;
    };
    mode_t const umask_before = umask(0);
    std::string const secret = scratch.Host("secret");
    ASSERT_TRUE(WriteWholeFile(scratch.Path("secret"), "old"));
    EXPECT_EQ(0666, mode_of(secret));
    chmod(secret.c_str(), 0600);
    const struct {
        std::string path;
        int mode, expected;
    } rows[] = {{secret, Replacement::mode_of_old_file, 0600},
                {secret, 0400, 0400},
                {scratch.Host("copy"), 0640, 0640},
                {scratch.Host("new"), Replacement::mode_of_old_file, 0666}};
    for (auto const& row : rows) {
        Replacement const file(row.path, Replacement::keep_links, row.mode);
        ASSERT_GE(file.Get(), 0);
        EXPECT_EQ(row.expected, mode_of(file.NewFile())) << row.path;
    }
    EXPECT_TRUE(CopyFile(scratch.Path("secret"), scratch.Path("copy"), true));
    EXPECT_EQ(0600, mode_of(scratch.Host("copy")));
    umask(umask_before);
    EXPECT_EQ(2, Entries());

    // A second name keeps the old content only where the file is replaced in any case.
    ASSERT_EQ(0, link(secret.c_str(), scratch.Host("link").c_str()));
    Replacement file(secret, Replacement::always_beside);
    ASSERT_EQ(3, write(file.Get(), "new", 3));
    EXPECT_EQ("old", Content(scratch.Path("secret")));
    EXPECT_TRUE(file.Commit());
    EXPECT_EQ("new", Content(scratch.Path("secret")));
    EXPECT_EQ("old", Content(scratch.Path("link")));
}

TEST_F(File, WhatAKilledProcessLeftIsRemovedAndNothingElse) {
    std::string const target = scratch.Host("file");
    pid_t const child = fork();
    if (child == 0) {
        Replacement const first(target), second(target);
        _exit(first.NewFile() != second.NewFile() ? 0 : 1);
    }
    int status = -1;
    ASSERT_EQ(child, waitpid(child, &status, 0));
    ASSERT_EQ(0, status);
    ASSERT_TRUE(Exists(scratch.Path("file.tessaly-new")) && Exists(scratch.Path("file.tessaly-new2")));
    for (char const* others : {"file.tessaly-newer", "file.tessaly-new.txt", ".tessaly-new"})
        ASSERT_TRUE(WriteWholeFile(scratch.Path(others), "kept"));
    {
        Replacement first(target), second(target);  // the one left behind is replaced, one in use is not
        EXPECT_EQ(target + ".tessaly-new", first.NewFile());
        EXPECT_EQ(target + ".tessaly-new2", second.NewFile());
        RemoveLeftReplacements(scratch.Host());
        EXPECT_TRUE(Exists(scratch.Path("file.tessaly-new")) && Exists(scratch.Path("file.tessaly-new2")));
        EXPECT_TRUE(second.Commit() && first.Commit());
    }
    std::ofstream(target + ".tessaly-new3") << "left";
    RemoveLeftReplacements(scratch.Host());
    EXPECT_EQ(4, Entries());
}

TEST_F(File, StatusAndDirectories) {
    ASSERT_TRUE(WriteWholeFile(scratch.Path("five"), "12345"));
    ASSERT_TRUE(MakeDirectory(scratch.Path("folder")));
    static constexpr struct {
        char const* name;
        bool exists, directory, file;
        std::int64_t size;
    } rows[] = {
        {"five", true, false, true, 5},          {"folder", true, true, false, -1},
        {"folder\\", true, true, false, -1},     {"none", false, false, false, -1},
        {"five\\none", false, false, false, -1},
    };
    for (auto const& row : rows) {
        SCOPED_TRACE(row.name);
        CString const path = scratch.Path(row.name);
        EXPECT_EQ(row.exists, Exists(path));
        EXPECT_EQ(row.directory, IsDirectory(path));
        EXPECT_EQ(row.file, IsFile(path));
        EXPECT_EQ(row.size, FileSize(path));
    }
    EXPECT_FALSE(Exists(nullptr) || Exists("") || IsFile(nullptr) || IsDirectory(""));
    EXPECT_FALSE(MakeDirectory(scratch.Path("folder")));
    EXPECT_FALSE(MakeDirectory(scratch.Path("a\\b")));
    EXPECT_FALSE(RemoveFile(scratch.Path("folder")));
    EXPECT_FALSE(RemoveDirectory(scratch.Path("five")));
    EXPECT_TRUE(RenameFile(scratch.Path("five"), scratch.Path("folder\\six")));
    EXPECT_FALSE(RemoveDirectory(scratch.Path("folder")));
    EXPECT_TRUE(RemoveFile(scratch.Path("folder\\six")));
    EXPECT_TRUE(RemoveDirectory(scratch.Path("folder")));
    EXPECT_EQ(0, Entries());
}

TEST_F(File, CopyAndRename) {
    CString const from = scratch.Path("from"), to = scratch.Path("to");
    ASSERT_TRUE(WriteWholeFile(from, Pattern(600000)));
    timespec const times[] = {{1000000000, 0}, {1100000000, 0}};
    utimensat(AT_FDCWD, scratch.Host("from").c_str(), times, 0);
    ASSERT_TRUE(CopyFile(from, to, true));
    EXPECT_TRUE(Pattern(600000) == Content(to));
    std::int64_t created = 0, modified = 0;
    ASSERT_TRUE(FileTimes(to, &created, &modified));
    EXPECT_EQ(1100000000, modified);
    EXPECT_GT(created, 0);
    EXPECT_FALSE(FileTimes(scratch.Path("none"), &created, &modified));

    ASSERT_TRUE(WriteWholeFile(from, "second"));
    EXPECT_FALSE(CopyFile(from, to, true));
    EXPECT_TRUE(CopyFile(from, to, false));
    EXPECT_EQ("second", Content(to));
    EXPECT_FALSE(CopyFile(from, from, false));
    EXPECT_EQ("second", Content(from));
    EXPECT_FALSE(CopyFile(scratch.Path("none"), to, false));
    EXPECT_FALSE(CopyFile(scratch.Path(), to, false));
    EXPECT_EQ("second", Content(to));

    ASSERT_TRUE(WriteWholeFile(from, "third"));
    EXPECT_TRUE(RenameFile(from, to));
    EXPECT_FALSE(Exists(from));
    EXPECT_EQ("third", Content(to));
    EXPECT_FALSE(RenameFile(from, to));
    // Another file system, on most machines.
    std::string const elsewhere = "C:\\dev\\shm\\tessaly-rename-" + std::to_string(getpid());
    ASSERT_TRUE(RenameFile(to, elsewhere.c_str()));
    EXPECT_FALSE(Exists(to));
    EXPECT_EQ("third", Content(elsewhere.c_str()));
    EXPECT_TRUE(RemoveFile(elsewhere.c_str()));
}

TEST_F(File, AppendFileSeesWhatOthersDo) {
    CString const path = scratch.Path("log");
    AppendFile log;
    EXPECT_FALSE(log.StillThere() || log.Append("x") || log.Truncate());
    EXPECT_FALSE(log.Open(scratch.Path()) || log.IsOpen());
    ASSERT_TRUE(log.Open(path) && log.StillThere());
    EXPECT_TRUE(log.Append("first\r\n") && log.Append(""));
    AppendFile second(log);
    EXPECT_FALSE(second.IsOpen());
    ASSERT_TRUE(second.Open(path));
    EXPECT_TRUE(second.Append("second\r\n") && log.Append("third\r\n"));
    EXPECT_EQ("first\r\nsecond\r\nthird\r\n", Content(path));
    std::string head;
    EXPECT_TRUE(log.Head(5, head) && head == "first");
    EXPECT_TRUE(log.Head(100, head) && head.size() == 22);
    FailReadsAfter(0);
    EXPECT_FALSE(log.Head(5, head));
    FailReadsAfter(-1);
    second = log;
    EXPECT_FALSE(second.IsOpen());

    truncate(scratch.Host("log").c_str(), 2);
    EXPECT_TRUE(log.StillThere() && log.Append("!"));
    EXPECT_EQ("fi!", Content(path));
    EXPECT_TRUE(log.Truncate() && log.Append("new"));
    EXPECT_EQ("new", Content(path));

    ASSERT_TRUE(RenameFile(path, scratch.Path("moved")));
    EXPECT_FALSE(log.StillThere());
    EXPECT_EQ(3, log.Length());
    ASSERT_TRUE(WriteWholeFile(path, "other"));
    EXPECT_FALSE(log.StillThere());
    ASSERT_TRUE(log.Open(path) && log.StillThere());
    ASSERT_TRUE(WriteWholeFile(path, "replaced"));
    EXPECT_FALSE(log.StillThere());
    EXPECT_EQ(-1, log.Length());
    ASSERT_TRUE(log.Open(path) && log.StillThere());
    ASSERT_TRUE(RemoveFile(path));
    EXPECT_FALSE(log.StillThere());
}

TEST_F(File, AppendFileTakesACutEntryBack) {
    AppendFile log;
    ASSERT_TRUE(log.Open(scratch.Path("log")) && log.Append("entry\n"));
    FailWritesAfter(1);
    EXPECT_TRUE(log.Append("two\n"));
    EXPECT_FALSE(log.Append("three\n"));
    FailWritesAfter(-1);
    // The system itself cuts the write after two bytes.
    rlimit const before = [] {
        rlimit limit;
        getrlimit(RLIMIT_FSIZE, &limit);
        return limit;
    }();
    auto const handler = std::signal(SIGXFSZ, SIG_IGN);
    rlimit const small = {12, before.rlim_max};
    setrlimit(RLIMIT_FSIZE, &small);
    bool const appended = log.Append("four\n");
    setrlimit(RLIMIT_FSIZE, &before);
    std::signal(SIGXFSZ, handler);
    EXPECT_FALSE(appended);
    EXPECT_EQ("entry\ntwo\n", Content(scratch.Path("log")));
}

TEST_F(File, CFileModes) {
    static constexpr struct {
        unsigned flags;
        bool there, opens;
        char const* after;  // with "xy" written where that is offered
    } rows[] = {
        {CFile::modeRead, true, true, "1234"},
        {CFile::modeRead, false, false, nullptr},
        {CFile::modeWrite | CFile::shareExclusive, true, true, "xy34"},
        {CFile::modeWrite, false, false, nullptr},
        {CFile::modeReadWrite | CFile::typeBinary, true, true, "xy34"},
        {CFile::modeCreate | CFile::modeWrite, true, true, "xy"},
        {CFile::modeCreate | CFile::modeWrite, false, true, "xy"},
        {CFile::modeCreate | CFile::modeNoTruncate | CFile::modeReadWrite, true, true, "xy34"},
        {CFile::modeCreate | CFile::modeNoTruncate | CFile::modeReadWrite, false, true, "xy"},
    };
    CString const path = scratch.Path("file");
    for (auto const& row : rows) {
        SCOPED_TRACE(row.flags);
        RemoveFile(path);
        if (row.there) {
            ASSERT_TRUE(WriteWholeFile(path, "1234"));
        }
        CFile file;
        ASSERT_EQ(row.opens, file.Open(path, row.flags));
        EXPECT_EQ(row.opens, file.IsOpen());
        if (!row.opens) continue;
        EXPECT_EQ(path, file.GetFilePath());
        EXPECT_EQ((row.flags & (CFile::modeWrite | CFile::modeReadWrite)) != 0,
                  file.Write("xy", 2) && file.Flush());
        file.Close();
        EXPECT_EQ(row.after, Content(path));
    }
    CFile closed;
    char byte;
    EXPECT_FALSE(closed.Open(scratch.Path(), CFile::modeRead));
    EXPECT_EQ(0U, closed.Read(&byte, 1));
    EXPECT_FALSE(closed.Write("x", 1) || closed.Flush() || closed.SetLength(0));
    EXPECT_EQ(-1, closed.Seek(0, CFile::begin));
    EXPECT_EQ(-1, closed.GetLength());
}

TEST_F(File, CFileReadsAndWritesByTurns) {
    CFile file;
    ASSERT_TRUE(file.Open(scratch.Path("file"), CFile::modeCreate | CFile::modeReadWrite));
    char read[16] = {};
    EXPECT_TRUE(file.Write("0123456789", 10));
    EXPECT_EQ(0U, file.Read(read, 1));
    EXPECT_EQ(2, file.Seek(2, CFile::begin));
    EXPECT_EQ(2U, file.Read(read, 2));
    EXPECT_STREQ("23", read);
    EXPECT_TRUE(file.Write("ab", 2));
    EXPECT_EQ(10, file.GetLength());
    EXPECT_EQ(2U, file.Read(read, 2));
    EXPECT_STREQ("67", read);
    EXPECT_EQ(-1, file.Seek(-1, CFile::begin));
    EXPECT_EQ(8, file.Seek(0, CFile::current));
    EXPECT_EQ(9, file.Seek(-1, CFile::end));
    EXPECT_TRUE(file.SetLength(7) && !file.SetLength(-1));
    EXPECT_TRUE(file.Write("c", 1));
    file.SeekToBegin();
    EXPECT_EQ(8U, file.Read(read, 16));
    EXPECT_STREQ("0123ab6c", read);
    FailWritesAfter(0);
    EXPECT_FALSE(file.Write("x", 1) && file.Flush());
}

TEST_F(File, Lines) {
    ASSERT_TRUE(WriteWholeFile(scratch.Path("lines"), std::string("a\r\n\n", 4) + std::string(300000, 'l') +
                                                          std::string("\nn\0x\nlast", 9)));
    CStdioFile file;
    ASSERT_TRUE(file.Open(scratch.Path("lines"), CFile::modeReadWrite));
    std::string const expected[] = {"a\r", "", std::string(300000, 'l'), "n", "last"};
    CString line;
    for (auto const& text : expected) {
        ASSERT_TRUE(file.ReadString(line));
        EXPECT_TRUE(line == std::string_view(text)) << text.substr(0, 10);
    }
    EXPECT_FALSE(file.ReadString(line));
    EXPECT_TRUE(line == "last");
    EXPECT_TRUE(file.WriteString("\n表\n") && file.WriteString(nullptr) && file.Flush());
    EXPECT_TRUE(Content(scratch.Path("lines")).ends_with("last\n表\n"));
}

TEST_F(File, FindFile) {
    for (char const* name :
         {"mail1.dat", "MAIL10.DAT", "mail.txt", "表.dat", "ソ.d", "no", "_x.001", "_x.002"})
        ASSERT_TRUE(WriteWholeFile(scratch.Path(name), "123"));
    ASSERT_TRUE(MakeDirectory(scratch.Path("sub.dat")));
    // Names of other systems: no form in the code page, a lone byte, a divider of library paths.
    for (char const* name : {"\xF0\x9F\x93\xA7.dat", "\xC3\xA9.dat", "back\\slash.dat", "\xFD.d"})
        std::fclose(std::fopen(scratch.Host(name).c_str(), "w"));

    static constexpr struct {
        char const* pattern;
        char const* names;  // each followed by "|"
    } rows[] = {
        {"*.dat", "MAIL10.DAT|mail1.dat|sub.dat|表.dat|"},
        {"MAIL?.dat", "mail1.dat|"},
        {"?.d*", "ソ.d|表.dat|\xFD.d|"},
        {"ソ.*", "ソ.d|"},
        {"\x5C.*", ""},  // the second byte of both names alone
        {"m*1*.d*t", "MAIL10.DAT|mail1.dat|"},
        {"no", "no|"},
        {"NO*", "no|"},
        {"_x.*", "_x.001|_x.002|"},
        {"no?", ""},
        {"*.", ""},
        {"", ""},
        {"missing\\*", ""},
    };
    for (auto const& row : rows) {
        SCOPED_TRACE(row.pattern);
        CFileFind find;
        std::string found;
        bool more = find.FindFile(scratch.Path(row.pattern));
        EXPECT_EQ(*row.names != 0, more);
        EXPECT_TRUE(find.GetFileName().IsEmpty());
        while (more) {
            more = find.FindNextFile();
            found += find.GetFileName().View();
            found += '|';
            EXPECT_TRUE(Exists(find.GetFilePath())) << find.GetFilePath();
        }
        EXPECT_EQ(row.names, found);
    }

    CFileFind find;
    ASSERT_TRUE(find.FindFile(scratch.Path("*.*")));
    CString last;
    int count = 1;
    for (; find.FindNextFile(); ++count) {
        EXPECT_LT(last.View(), find.GetFileName().View());
        last = find.GetFileName();
        EXPECT_EQ(last == "sub.dat", find.IsDirectory());
        EXPECT_EQ(find.IsDirectory() || last == "\xFD.d" ? 0 : 3, find.GetLength()) << last;
        if (last == "mail1.dat") {
            EXPECT_EQ("mail1", find.GetFileTitle());
        }
        EXPECT_EQ(scratch.Path(last), find.GetFilePath());
    }
    EXPECT_EQ(10, count);
    find.Close();
    EXPECT_TRUE(find.GetFilePath().IsEmpty());
    EXPECT_FALSE(find.FindNextFile());
}

}  // namespace
