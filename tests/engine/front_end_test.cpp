#include "engine/base/front_end.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "engine/base/failure.h"
#include "engine/customers/csv_import.h"
#include "engine/environment/session.h"

namespace fs = std::filesystem;

namespace {

// Keeps what it is told, and stops or answers as it is set to.
class Recorder : public engine::FrontEnd {
  public:
    void Notice(std::string const& line) override { notices += line + "\n"; }
    void Result(std::string const& line) override { results += line + "\n"; }
    bool Stopped() const override { return stop; }
    std::string StartPassword() override { return password; }
    std::shared_ptr<void> ShowProgress(std::string const&, std::string const&, std::uint64_t total,
                                       std::function<std::uint64_t()> const&) override {
        totals.push_back(total);
        return nullptr;
    }

    std::string notices, results, password = "ひみつ";
    std::vector<std::uint64_t> totals;
    bool stop = false;
};

class FrontEndTest : public testing::Test {
  protected:
    FrontEndTest() {
        char name[] = "/tmp/tessaly-XXXXXX";
        folder_ = mkdtemp(name);
        access_.front = &front_;
        engine::CreateEnvironment(access_, Path("shop.tsl"), "ひみつ");
    }
    ~FrontEndTest() override { fs::remove_all(folder_); }

    std::string Path(char const* name) const { return (folder_ / name).string(); }
    std::string Put(char const* name, std::string const& content) const {
        std::ofstream(Path(name), std::ios::binary) << content;
        return Path(name);
    }
    void Import(std::string const& content) {
        engine::Session session(access_, Path("shop.tsl"), engine::Session::For::changing);
        engine::CsvImport import;
        import.file = Put("list.csv", content);
        import.Run(session);
    }

    fs::path folder_;
    Recorder front_;
    engine::Access access_;
};

TEST_F(FrontEndTest, HearsOfAnImportAndMayStopIt) {
    Import("メール,氏名\r\na@b.jp,一\r\nc@d.jp,二\r\n");
    EXPECT_EQ("新規 2件、更新 0件、取り込めず 0件\n", front_.results);
    EXPECT_NE(std::string::npos, front_.notices.find("使った列")) << front_.notices;
    EXPECT_EQ(std::vector<std::uint64_t>{2}, front_.totals);

    front_ = {};
    EXPECT_THROW(Import("メール,氏名\r\nnone,一\r\n"), engine::Failure);
    EXPECT_NE(std::string::npos, front_.notices.find("2行: ")) << front_.notices;

    front_ = {};
    front_.stop = true;
    std::string many = "メール\r\n";
    for (int i = 0; i < 200000; ++i) many += "x" + std::to_string(i) + "@b.jp\r\n";
    try {
        Import(many);
    } catch (engine::Failure const&) {
    }
    EXPECT_NE(std::string::npos, front_.notices.find("途中で止めました")) << front_.notices;
}

TEST_F(FrontEndTest, GivesThePassword) {
    using engine::Session;
    EXPECT_NO_THROW(Session(access_, Path("shop.tsl"), Session::For::reading));
    front_.password = "違う";
    EXPECT_THROW(Session(access_, Path("shop.tsl"), Session::For::reading), engine::Failure);
    access_.front = nullptr;  // nobody to ask
    EXPECT_THROW(Session(access_, Path("shop.tsl"), Session::For::reading), engine::Failure);
}

}  // namespace
