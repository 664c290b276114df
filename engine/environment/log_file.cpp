#include "engine/environment/log_file.h"

#include <sys/mman.h>

#include <filesystem>
#include <utility>

#include "engine/base/crossing.h"
#include "engine/base/failure.h"

namespace fs = std::filesystem;

namespace engine {
namespace {

bool IsThere(std::string const& name) {
    std::error_code unknown;
    return fs::symlink_status(name, unknown).type() != fs::file_type::not_found;
}

void RefuseNeeded(std::string const& name, std::vector<std::string> const& needed) {
    std::error_code ignored;
    for (std::string const& file : needed)
        if (fs::equivalent(name, file, ignored))
            throw Failure(Failure::protected_file,
                          "記録をこのファイルに書くと、大事な中身がなくなります。--log "
                          "でほかのファイルを指定してください: " +
                              name);
}

}  // namespace

LogFile::LogFile(std::string name, std::vector<std::string> const& needed)
    : name_(std::move(name)),
      to_remove_(!IsThere(name_)),
      memory_(fdopen(memfd_create("log", MFD_CLOEXEC), "r")) {
    RefuseNeeded(name_, needed);
    if (!memory_) throw Failure(Failure::not_written, "記録のためのメモリが足りません。");
    try {
        file_.emplace(name_, "記録", OutputFile::Begin::at_end);
    } catch (Failure const&) {
        throw Failure(Failure::not_written, "記録のファイルに書けないので、何も取り込みませんでした: " +
                                                name_ + "\n--log でほかのファイルを指定できます。");
    }
}

LogFile::~LogFile() {
    if (to_remove_) RemoveWork(name_);
}

std::string LogFile::LibraryFile() const { return "/proc/self/fd/" + std::to_string(fileno(memory_.get())); }

bool LogFile::HasContent() const { return fs::file_size(LibraryFile()) > 0; }

bool LogFile::Write() {
    std::string const text = Out(ReadWholeFile(LibraryFile(), "記録"));
    to_remove_ = false;
    try {
        if (file_->IsRegular()) file_->Cut(0);
        file_->Write(text);
        file_->Sync();
    } catch (Failure const&) {
        return false;
    }
    return true;
}

}  // namespace engine
