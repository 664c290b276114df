#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

// The application as a process of its own.
namespace measure {

std::string ShopFile();

// Whether what it writes is brought to the disk; without, its syncs do nothing.
enum class Syncs { made, left_out };
// Its messages go nowhere, its output to a file.
pid_t StartApplication(std::vector<std::string> const& arguments, char const* output = "/dev/null",
                       Syncs syncs = Syncs::made);
// Waits for its end. Result: the most memory that it had at one time, in MiB.
double EndApplication(pid_t child);
double RunApplication(std::vector<std::string> const& arguments, char const* output = "/dev/null");

// Answers to the mail 0 of the shop, which went to `recipients`, brought back to it; `loaded` is the memory
// of a command that only reads the customers.
void TakeAnswers(int recipients, double loaded);

}  // namespace measure
