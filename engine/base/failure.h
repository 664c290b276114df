#pragma once

#include <stdexcept>
#include <string>

// How a command ends early. The text is for the sender: Japanese, UTF-8, what happened and what can be done.
namespace engine {

enum ExitCode : int { exit_success = 0, exit_failure = 1, exit_usage = 2 };

class Failure : public std::runtime_error {
  public:
    explicit Failure(std::string const& text, ExitCode code = exit_failure)
        : std::runtime_error(text), code_(code) {}
    ExitCode Code() const noexcept { return code_; }

  private:
    ExitCode code_;
};

}  // namespace engine
