#pragma once

#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "tessaly/platform/process.h"

// Directs the transfer logs of the process to a folder of one test as long as the object lives.
class TransferLog {
  public:
    TransferLog() : folder_(mkdtemp(pattern_)) { platform::SetModuleDirectory(folder_.string()); }
    ~TransferLog() {
        platform::SetModuleDirectory("");
        std::filesystem::remove_all(folder_);
    }
    TransferLog(TransferLog const&) = delete;
    TransferLog& operator=(TransferLog const&) = delete;

    // The text of all its files, whatever the name of the day's file.
    std::string Text() const {
        std::string text;
        for (auto const& entry : std::filesystem::directory_iterator(folder_)) {
            std::ifstream file(entry.path(), std::ios::binary);
            text.append(std::istreambuf_iterator<char>(file), {});
        }
        return text;
    }

  private:
    char pattern_[32] = "/tmp/tessaly-log-XXXXXX";
    std::filesystem::path folder_;
};
