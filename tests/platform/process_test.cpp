#include "tessaly/platform/process.h"

#include <gtest/gtest.h>
#include <limits.h>
#include <stdlib.h>
#include <unistd.h>

#include <string>

#include "platform/clock.h"
#include "tessaly/platform/path.h"

namespace {

using namespace platform;

TEST(Process, Modules) {
    char program[PATH_MAX];
    ASSERT_NE(nullptr, realpath("/proc/self/exe", program));
    // The tests are linked with the static form of the library.
    EXPECT_EQ(LibraryPath(program), ModulePath(nullptr));
    std::string const folder(program, std::string_view(program).rfind('/'));
    EXPECT_EQ(LibraryPath(folder) + "\\", ModuleDirectory());

    CString const c_library = ModulePath("libc.so.6");
    ASSERT_FALSE(c_library.IsEmpty());
    EXPECT_EQ(c_library, ModulePath(c_library));
    EXPECT_EQ(LibraryPath(program), ModulePath(LibraryPath(program)));
    for (char const* none : {"libnone.so", "", "C:\\etc\\passwd", "C:\\none\\libc.so.6", "libc"})
        EXPECT_TRUE(ModulePath(none).IsEmpty()) << none;
}

TEST(Process, ModuleDirectoryInPlace) {
    CString const own = ModuleDirectory();
    for (char const* folder : {"/var/log/tessaly", "/var/log/tessaly/"}) {
        SetModuleDirectory(folder);
        EXPECT_EQ(LibraryPath("/var/log/tessaly") + "\\", ModuleDirectory());
    }
    SetModuleDirectory("/");
    EXPECT_EQ("C:\\", ModuleDirectory());
    SetModuleDirectory("");
    EXPECT_EQ(own, ModuleDirectory());
}

TEST(Process, Sleep) {
    std::int64_t const start = MonotonicMilliseconds();
    SleepMilliseconds(15);
    EXPECT_GE(MonotonicMilliseconds() - start, 14);
    EXPECT_EQ(static_cast<std::uint32_t>(getpid()), ProcessId());
}

}  // namespace
