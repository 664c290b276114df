#include "cli/terminal_front_end.h"

#include <iostream>

#include "cli/progress.h"
#include "cli/terminal.h"

namespace cli {
namespace {

class TerminalFrontEnd : public engine::FrontEnd {
  public:
    void Notice(std::string const& line) override { Say(line); }
    void Result(std::string const& line) override { std::cout << line << "\n"; }
    bool Stopped() const override { return Interrupted(); }
    bool Confirm(std::string const& question) override {
        ProgressPause const pause;
        Say(question);
        if (!InputIsTerminal()) {
            Say("答える端末がないので「いいえ」とします。よければ --yes をつけてください。");
            return false;
        }
        std::string const answer = AskLine("はい (y) / いいえ (n)").value_or("");
        return answer == "y" || answer == "Y" || answer == "yes" || answer == "はい";
    }
    std::string StartPassword() override { return AskPassword("起動用パスワード", "--password-file"); }
    std::shared_ptr<void> ShowProgress(std::string const& title, std::string const& unit, std::uint64_t total,
                                       std::function<std::uint64_t()> const& done) override {
        return std::make_shared<Progress>(title, unit, total, done);
    }
};

}  // namespace

engine::FrontEnd& Terminal() {
    static TerminalFrontEnd terminal;
    return terminal;
}

}  // namespace cli
