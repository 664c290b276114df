#pragma once

#include <fcntl.h>
#include <limits.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <mutex>
#include <string>
#include <string_view>

// What is shared by the calls of file_faults.cpp: what has been ordered, which files count, the log.
namespace faults {

// A record of the log begins with it; the path, the other path and the data follow.
struct Header {
    char kind[8];         // not ended by NUL where it has 8 letters
    std::int32_t error;   // 0 for a call that succeeded
    std::uint32_t path;   // bytes
    std::uint32_t other;  // bytes
    std::uint32_t flags;  // of open or fallocate; of send the descriptor
    std::int64_t place;   // offset of a write or an allocation, new size of a truncation
    std::int64_t length;  // of an allocation
    std::uint64_t data;   // bytes
};

struct Change {
    std::string_view kind, path, other = {};
    std::uint32_t flags = 0;
    std::int64_t place = 0, length = 0;
    std::string_view data = {};
};

inline std::string Variable(char const* name) {
    char const* const value = std::getenv(name);
    return value ? value : "";
}

// The call of some kinds at which something happens.
class Target {
  public:
    explicit Target(std::string const& text) {
        std::size_t const colon = text.find(':');
        if (colon == text.npos) return;
        kinds_ = "," + text.substr(0, colon) + ",";
        std::string const number = text.substr(colon + 1, text.find(':', colon + 1) - colon - 1);
        number_ = std::strtol(number.c_str(), nullptr, 10);
        stays_ = number.ends_with('+');
        error_ = text.ends_with(":ENOSPC") ? ENOSPC : EIO;
    }
    enum class Meets { no, first, later };
    Meets Count(std::string_view kind) {
        if (number_ == 0 || kinds_.find("," + std::string(kind) + ",") == kinds_.npos) return Meets::no;
        ++count_;
        if (count_ == number_) return Meets::first;
        return stays_ && count_ > number_ ? Meets::later : Meets::no;
    }
    bool Stays() const { return stays_; }
    int Error() const { return error_; }

  private:
    std::string kinds_;
    long number_ = 0, count_ = 0;
    bool stays_ = false;
    int error_ = 0;
};

struct Faults {
    std::string const root = Variable("FILE_FAULTS_ROOT"), boot_id = Variable("FILE_FAULTS_BOOT_ID"),
                      log_name = Variable("FILE_FAULTS_LOG"), time = Variable("FILE_FAULTS_TIME");
    bool const no_sync = !Variable("FILE_FAULTS_NO_SYNC").empty();
    // The order of the log is the order in which the calls took effect.
    std::recursive_mutex order;
    Target fail{Variable("FILE_FAULTS_FAIL")}, kill{Variable("FILE_FAULTS_KILL")};
    int const log = log_name.empty()
                        ? -1
                        : static_cast<int>(syscall(SYS_openat, AT_FDCWD, log_name.c_str(),
                                                   O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600));
};

inline Faults& Settings() {
    static auto& settings = *new Faults;  // outlives what runs at the end of the process
    return settings;
}

inline std::string LinkOf(int descriptor) {
    char target[PATH_MAX];
    std::string const link = "/proc/self/fd/" + std::to_string(descriptor);
    long const size = syscall(SYS_readlinkat, AT_FDCWD, link.c_str(), target, sizeof target);
    return size > 0 ? std::string(target, static_cast<std::size_t>(size)) : std::string();
}

// Empty for what does not lie below the folder, or has no name any more.
inline std::string Below(std::string path) {
    while (path.size() > 1 && path.ends_with('/')) path.pop_back();
    std::string const& root = Settings().root;
    bool const inside = path.starts_with(root) && (path.size() == root.size() || path[root.size()] == '/');
    return !root.empty() && inside && !path.ends_with(" (deleted)") ? path : std::string();
}

inline std::string PathOf(int descriptor) {
    return Settings().root.empty() ? std::string() : Below(LinkOf(descriptor));
}

inline std::string PathOf(int folder, char const* name) {
    if (Settings().root.empty() || !name) return {};
    std::filesystem::path path = name;
    if (path.is_relative()) {
        char here[PATH_MAX];
        long const size = folder == AT_FDCWD ? syscall(SYS_getcwd, here, sizeof here) : 0;
        path = (folder == AT_FDCWD ? std::string(here, static_cast<std::size_t>(std::max(size - 1, 0L)))
                                   : LinkOf(folder)) /
               path;
    }
    return Below(path.lexically_normal().string());
}

inline void Append(Change const& change, int error) {
    int const log = Settings().log;
    if (log < 0) return;
    Header header{{},
                  error,
                  static_cast<std::uint32_t>(change.path.size()),
                  static_cast<std::uint32_t>(change.other.size()),
                  change.flags,
                  change.place,
                  change.length,
                  change.data.size()};
    std::memcpy(header.kind, change.kind.data(), std::min(change.kind.size(), sizeof header.kind));
    std::string record(reinterpret_cast<char const*>(&header), sizeof header);
    for (std::string_view const text : {change.path, change.other, change.data}) record += text;
    syscall(SYS_write, log, record.data(), record.size());
}

// Makes the call, or what has been ordered in its place, and records it. `call` makes it as the system does
// (-1 and errno); `complete` adds to the change what is known behind it.
template <class Call, class Complete>
auto Make(Change change, Call call, Complete complete) -> decltype(call()) {
    Faults& settings = Settings();
    std::lock_guard const guard(settings.order);
    if (settings.kill.Count(change.kind) != Target::Meets::no) syscall(SYS_kill, getpid(), SIGKILL);
    Target::Meets const meets = settings.fail.Count(change.kind);
    bool const fails = meets != Target::Meets::no;
    if (fails) errno = settings.fail.Error();
    auto const result = fails ? decltype(call())(-1) : call();
    int const error = errno;
    if (result >= 0) complete(change, result);
    Append(change, result < 0 ? error : 0);
    errno = error;
    return result;
}
template <class Call>
auto Make(Change const& change, Call call) -> decltype(call()) {
    return Make(change, call, [](Change&, auto) {});
}

}  // namespace faults
