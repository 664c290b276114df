// Profile files: a value that is written comes back, and everything else stays. The first three lines of the
// input are section, key and value, the rest is the file.

#include "platform/profile.h"

#include <unistd.h>

#include "fuzz_target.h"
#include "platform/file.h"
#include "tessaly/platform/path.h"

namespace {

std::string ScratchFile() {
    char const* const folder = std::getenv("TMPDIR");
    return std::string(folder ? folder : "/tmp") + "/tessaly-fuzz-profile-" + std::to_string(getpid());
}

// A value as it reads from its line: without the blanks around it, then without one pair of quotes.
std::string Expected(std::string_view value) {
    constexpr char blanks[] = " \t\v\f";
    std::size_t const first = value.find_first_not_of(blanks);
    if (first == value.npos) return {};
    value = value.substr(first, value.find_last_not_of(blanks) - first + 1);
    bool const quoted = value.size() >= 2 && value.front() == value.back() && strchr("\"'", value.front());
    return std::string(quoted ? value.substr(1, value.size() - 2) : value);
}

// Written beside and renamed, so that it has to be a real file.
class Profile {
  public:
    explicit Profile(std::string_view content) {
        fuzz::Check(platform::WriteWholeFile(path_, content), "the scratch file is written");
    }
    ~Profile() { platform::RemoveFile(path_); }
    Profile(Profile const&) = delete;
    Profile& operator=(Profile const&) = delete;

    std::string Value(std::string const& section, std::string const& key) const {
        std::unique_ptr<char[]> const out(new char[room_]);
        unsigned const size = platform::GetPrivateProfileString(section.c_str(), key.c_str(), "(none)",
                                                                out.get(), room_, path_);
        fuzz::Check(size < room_ && std::strlen(out.get()) == size, "the size is that of the value");
        return out.get();
    }
    bool Write(std::string const& section, std::string const& key, char const* value) {
        return platform::WritePrivateProfileString(section.c_str(), key.c_str(), value, path_) != 0;
    }
    std::string Content() const {
        std::string content;
        fuzz::Check(platform::ReadWholeFile(path_, content), "the file is there");
        return content;
    }

  private:
    static constexpr unsigned room_ = 1 << 16;
    CString path_ = platform::LibraryPath(ScratchFile());
};

}  // namespace

void FuzzOne(std::string_view bytes) {
    if (bytes.size() > (1 << 12)) return;
    std::string const section = fuzz::TextOf(fuzz::TakeLine(bytes)),
                      key = fuzz::TextOf(fuzz::TakeLine(bytes)), value = fuzz::TextOf(fuzz::TakeLine(bytes));
    Profile profile(bytes);
    std::string const before = profile.Content(), other = profile.Value("PROXY", "Server");
    profile.Value(section, key);

    if (!profile.Write(section, key, value.c_str())) {
        fuzz::Check(profile.Content() == before, "a refused value changes nothing");
        return;
    }
    fuzz::Check(profile.Value(section, key) == Expected(value), "the value comes back");
    if (section == "S") fuzz::Check(profile.Value("PROXY", "Server") == other, "other sections stay");
    fuzz::Check(profile.Write(section, key, nullptr), "the value is removed");
}
