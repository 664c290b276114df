#pragma once

#include <cstddef>
#include <ctime>
#include <string>
#include <string_view>
#include <vector>

class CDatabaseEdit;
class EnvManager;

// Shared by the sections of the measuring program.
namespace measure {

inline double Now() {
    timespec time{};
    clock_gettime(CLOCK_MONOTONIC, &time);
    return static_cast<double>(time.tv_sec) + 1e-9 * static_cast<double>(time.tv_nsec);
}

// Seconds of the fastest run: up to three runs, no new one once three seconds are used.
template <class Work>
double Best(Work work, int runs = 3, double budget = 3.0) {
    double least = 1e99;
    double const start = Now();
    for (int i = 0; i < runs && (i == 0 || Now() - start < budget); ++i) {
        double const begun = Now();
        work();
        double const used = Now() - begun;
        if (used < least) least = used;
    }
    return least;
}

// One line of the result: task, peer, figure, unit, divided by tabs.
void Row(std::string const& task, double figure, char const* unit);
// A line for the notes.
void Note(std::string const& text);

std::string Slurp(std::string const& path);
std::vector<std::string> Lines(std::string const& path);
double ResidentMebibytes();
inline double Megabytes(std::string_view text) { return 1e-6 * static_cast<double>(text.size()); }
// A folder of this run's own below the system's place for temporary files.
std::string ScratchFolder();

void Merge(std::string const& data);
void Conversions(std::string const& data);
void Mime(std::string const& data);
void Smtp(std::string const& data, int port, int sessions);
void Mailing(int port);
void Secure();
void Received(std::string const& data);
void Composed();
void Outgoing();
void Pop(int port);
void Table(std::string const& data);
void Programs();
// Parts of the table section, over its customers.
void Selection(std::string const& task, EnvManager& env, CDatabaseEdit& customers);

}  // namespace measure
