#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

// What a front end shows and answers while the engine works. The texts are for the sender: Japanese, UTF-8.
namespace engine {

// The base class shows nothing, never stops, and answers every question with no. Notice and Result are called
// by one thread at a time; Stopped by any thread.
class FrontEnd {
  public:
    virtual ~FrontEnd() = default;
    // A line worth knowing, which is no part of the result.
    virtual void Notice(std::string const&) {}
    // A line of the result.
    virtual void Result(std::string const&) {}
    // Whether the operation shall end at the next point where nothing is lost.
    virtual bool Stopped() const { return false; }
    // A question that is answered by yes (true) or no.
    virtual bool Confirm(std::string const&) { return false; }
    // The start-up password of an environment. Throws Failure where no user can enter it.
    virtual std::string StartPassword();
    // Shows how far work has come as long as the result lives. `unit` ("件") stands behind the counts; a
    // total of 0 is not known; `done` is called by any thread. Null: nothing is shown.
    virtual std::shared_ptr<void> ShowProgress(std::string const&, std::string const&, std::uint64_t,
                                               std::function<std::uint64_t()> const&) {
        return nullptr;
    }
};

}  // namespace engine
