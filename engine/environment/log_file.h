#pragma once

#include <cstdio>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "engine/base/whole_file.h"

namespace engine {

// The record of an import, which the library writes in code page 932 and the user reads in UTF-8. Its file is
// opened before the import changes anything and gets its content at the end; until then the library writes
// into memory, so that no other file is left behind however the process ends.
class LogFile {
  public:
    // Makes the file if it is not there. Throws Failure when it cannot be opened, or when it is one of the
    // files `needed`, links resolved.
    LogFile(std::string name, std::vector<std::string> const& needed);
    // Removes a file that was made and got no content.
    ~LogFile();
    LogFile(LogFile const&) = delete;
    LogFile& operator=(LogFile const&) = delete;

    std::string const& Name() const { return name_; }
    // Where the library is to write, as a host path.
    std::string LibraryFile() const;
    // Whether the library has written anything.
    bool HasContent() const;
    // Replaces the content of the file by that. false when it does not reach the file.
    bool Write();

  private:
    struct Closer {
        void operator()(std::FILE* file) const { std::fclose(file); }
    };

    std::string name_;
    bool to_remove_;
    std::unique_ptr<std::FILE, Closer> memory_;
    std::optional<OutputFile> file_;
};

}  // namespace engine
