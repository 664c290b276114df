#pragma once

#include <optional>
#include <string>

namespace cli {

// Whether a person sees standard error and answers at standard input.
bool ErrorIsTerminal();
bool InputIsTerminal();

// Asks at the terminal without showing what is typed. Throws Failure without a terminal, naming `option` as
// the way to give the password there.
std::string AskPassword(std::string const& prompt, std::string const& option);

// Asks at the terminal for a line. Nothing when Ctrl-C, or the end of the input, comes instead.
std::optional<std::string> AskLine(std::string const& prompt);

// Ctrl-C and an end asked for from outside: the first asks the running command to stop cleanly, the second
// ends it.
void CatchInterrupts();
bool Interrupted();

}  // namespace cli
