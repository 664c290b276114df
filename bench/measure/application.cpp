#include "application.h"

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>

#include "measure.h"

namespace measure {
namespace {

// A file of the build, which lies beside the folder that this program lies in.
std::string Built(char const* name) {
    return (std::filesystem::read_symlink("/proc/self/exe").parent_path().parent_path() / name).string();
}

}  // namespace

std::string ShopFile() { return ScratchFolder() + "/sending.tsl"; }

pid_t StartApplication(std::vector<std::string> const& arguments, char const* output, Syncs syncs) {
    pid_t const child = fork();
    if (child != 0) return child;
    if (!std::freopen(output, "w", stdout) || !std::freopen("/dev/null", "w", stderr)) _exit(1);
    std::vector<char*> argv;
    std::string const program = Built("tessaly");
    if (syncs == Syncs::left_out) {
        setenv("LD_PRELOAD", Built("tests/torture/libfile_faults.so").c_str(), 1);
        setenv("FILE_FAULTS_NO_SYNC", "1", 1);
    }
    argv.push_back(const_cast<char*>(program.c_str()));
    for (std::string const& argument : arguments) argv.push_back(const_cast<char*>(argument.c_str()));
    argv.push_back(nullptr);
    execv(argv[0], argv.data());
    _exit(127);
}

double EndApplication(pid_t child) {
    int status = 0;
    rusage used{};
    if (wait4(child, &status, 0, &used) != child || status != 0)
        throw std::runtime_error("the application failed");
    return static_cast<double>(used.ru_maxrss) / 1024;
}

double RunApplication(std::vector<std::string> const& arguments, char const* output) {
    return EndApplication(StartApplication(arguments, output));
}

}  // namespace measure
