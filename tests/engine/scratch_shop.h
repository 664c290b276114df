#pragma once

#include <gtest/gtest.h>
#include <stdlib.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "engine/base/failure.h"
#include "engine/base/front_end.h"
#include "engine/customers/csv_import.h"
#include "engine/environment/new_environment.h"
#include "engine/environment/session.h"

// An environment in a folder of its own, which goes with its test, driven without a process.
namespace engine_tests {

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

class ScratchShop : public testing::Test {
  protected:
    using Session = engine::Session;

    ScratchShop() {
        char name[] = "/tmp/tessaly-XXXXXX";
        folder_ = mkdtemp(name);
        env_ = Path("shop.tsl");
        access_.front = &front_;
        engine::CreateEnvironment(access_, env_, "ひみつ");
    }
    ~ScratchShop() override { std::filesystem::remove_all(folder_); }

    std::string Path(std::string const& name) const { return (folder_ / name).string(); }
    std::string Put(std::string const& name, std::string const& content) const {
        std::filesystem::create_directories((folder_ / name).parent_path());
        std::ofstream(Path(name), std::ios::binary) << content;
        return Path(name);
    }
    std::string Content(std::string const& name) const {
        std::ostringstream content;
        content << std::ifstream(Path(name), std::ios::binary).rdbuf();
        return content.str();
    }
    Session Open(Session::For use) const { return Session(access_, env_, use); }
    void Import(std::string const& csv) const {
        Session session = Open(Session::For::changing);
        engine::CsvImport import;
        import.file = Put("list.csv", csv);
        import.Run(session);
    }
    void Set(std::string const& name, std::string const& value) const {
        Session session = Open(Session::For::changing);
        session.Set(name, value);
        session.SaveSettings();
    }
    // Every file of the environment with its bytes.
    std::string Everything() const {
        std::vector<std::string> files;
        for (auto const& entry : std::filesystem::recursive_directory_iterator(folder_ / "shop"))
            if (entry.is_regular_file() && entry.path().filename() != ".lock")
                files.push_back(std::filesystem::relative(entry.path(), folder_).string());
        std::sort(files.begin(), files.end());
        std::string all;
        for (std::string const& file : files) all += file + "\n" + Content(file) + "\n";
        return all;
    }
    // The name of the failure that `work` ends with; empty without one.
    static std::string FailureOf(std::function<void()> const& work) {
        try {
            work();
        } catch (engine::Failure const& failure) {
            return std::string(NameOf(failure.GetKind()));
        }
        return {};
    }

    std::filesystem::path folder_;
    std::string env_;
    Recorder front_;
    engine::Access access_;
};

}  // namespace engine_tests
