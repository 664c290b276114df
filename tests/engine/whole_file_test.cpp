#include "engine/base/whole_file.h"

#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>

#include "engine/base/failure.h"

namespace {

namespace fs = std::filesystem;
using engine::ReadWholeFile;

class WholeFile : public testing::Test {
  protected:
    WholeFile() : old_mask_(umask(0)) {
        char name[] = "/tmp/tessaly-XXXXXX";
        folder_ = mkdtemp(name);
    }
    ~WholeFile() override {
        umask(old_mask_);
        fs::remove_all(folder_);
    }
    std::string Path(std::string const& name) const { return (folder_ / name).string(); }
    void Put(std::string const& name, std::string const& content) const {
        std::ofstream(Path(name), std::ios::binary) << content;
    }
    int Mode(std::string const& name) const { return static_cast<int>(fs::status(Path(name)).permissions()); }

    mode_t old_mask_;
    fs::path folder_;
};

TEST_F(WholeFile, WhatIsMadeIsTheOwnersAlone) {
    engine::MakeFolder(Path("a/b"));
    engine::AppendLines(Path("a/b/log"), "1\n");
    EXPECT_TRUE(engine::ReplaceFile(Path("a/new"), "x"));
    Put("shown", "old");
    EXPECT_TRUE(engine::ReplaceFile(Path("shown"), "x"));
    EXPECT_EQ(0666, Mode("shown"));
    EXPECT_TRUE(engine::ReplaceFile(Path("shown"), "x", engine::Readers::owner));
    fs::permissions(Path("a/new"), fs::perms(0666));
    fs::permissions(Path("a/b"), fs::perms(0777));
    engine::CopyTree(Path("a"), Path("copy"));
    engine::OutputFile(Path("out"), "レポート", engine::OutputFile::Begin::anew).Write("x");
    for (char const* file : {"shown", "copy/b/log", "copy/new", "out"}) EXPECT_EQ(0600, Mode(file)) << file;
    for (char const* folder : {"a", "copy", "copy/b"}) EXPECT_EQ(0700, Mode(folder)) << folder;
    EXPECT_EQ("1\n", ReadWholeFile(Path("copy/b/log"), ""));
}

TEST_F(WholeFile, LinesAreAddedBehindWholeOnes) {
    std::string const longest(600'000, 'x');
    struct Row {
        std::string before, after;
    };
    Row const rows[] = {{"", "2\n"},     {"1\n", "1\n2\n"}, {"1\ntor", "1\n2\n"},
                        {"torn", "2\n"}, {longest, "2\n"},  {"1\n" + longest, "1\n2\n"}};
    for (Row const& row : rows) {
        Put("log", row.before);
        engine::AppendLines(Path("log"), "2\n");
        EXPECT_EQ(row.after, ReadWholeFile(Path("log"), "")) << row.before.substr(0, 9);
    }
}

TEST_F(WholeFile, FailuresAreNamed) {
    Put("file", "x");
    std::function<void()> const rows[] = {
        [&] { engine::MakeFolder(Path("file/a")); },
        [&] { engine::CopyTree(Path("none"), Path("copy")); },
        [&] { engine::CopyTree(Path("file"), Path("file")); },
        [&] { engine::MoveEntry(Path("none"), Path("x")); },
        [&] { engine::RemoveTree("/proc/self/mem"); },
        [&] { engine::AppendLines("/dev/full", "x\n"); },
        [&] { engine::OutputFile("/dev/full", "レポート", engine::OutputFile::Begin::at_end).Write("x"); },
    };
    for (std::size_t row = 0; row < std::size(rows); ++row) EXPECT_THROW(rows[row](), engine::Failure) << row;
    EXPECT_EQ("x", ReadWholeFile(Path("file"), ""));
}

}  // namespace
