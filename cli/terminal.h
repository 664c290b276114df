#pragma once

#include <optional>
#include <string>

namespace cli {

// Whether standard error, or standard input, is a terminal.
bool ErrorIsTerminal();
bool InputIsTerminal();

// Asks at the terminal without showing what is typed. Throws Failure without a terminal, naming `option` as
// the way to give the password there.
std::string AskPassword(std::string const& prompt, std::string const& option);

// Asks at the terminal for a line. Nothing when Ctrl-C, or the end of the input, comes instead.
std::optional<std::string> AskLine(std::string const& prompt);

// SIGINT (Ctrl-C), SIGTERM and SIGHUP (a terminal that closes): the first makes the running command stop
// cleanly, the second ends the process. One that is ignored when the program starts, as under nohup, stays
// ignored. A SIGHUP shortly after another signal is not a second one: kernel, shell and session manager send
// it side by side for one closed terminal.
void CatchInterrupts();
// From now on a reader of the output that goes away does not end the process.
void IgnoreClosedPipes();
bool Interrupted();

}  // namespace cli
