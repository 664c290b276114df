// A stored mail to 100,000 recipients by the application itself: target, merge, history and transfer log on.
#include <sys/wait.h>
#include <tessaly/storage.h>
#include <tessaly/text.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <vector>

#include "application.h"
#include "measure.h"

namespace fs = std::filesystem;

namespace measure {
namespace {

constexpr int recipients = 100000;
constexpr int body_lines = 40;         // about 2 KB
constexpr auto between_looks = 10000;  // microseconds

void Prepare(int port) {
    std::string const list = ScratchFolder() + "/list.csv", draft = ScratchFolder() + "/draft.txt";
    std::ofstream customers(list);
    customers << "メールアドレス,名前(姓),名前(名),会社名\n";
    for (int i = 0; i < recipients; ++i)
        customers << "n" << i << "@example.com,山田" << i << ",花子,株式会社みどり" << i << "\n";
    customers.close();
    std::ofstream text(draft);
    text << "Subject: <%名前(姓)%>様へのご案内\n\n";
    for (int i = 0; i < body_lines; ++i)
        text << (i % 4 == 0 ? "<%会社名%> <%名前(姓)%> <%名前(名)%> 様"
                            : "いつもお引き立ていただきありがとうございます。")
             << "\n";
    text.close();
    RunApplication({"env", "new", ShopFile()});
    RunApplication({"settings", ShopFile(), "from.address=shop@example.jp", "smtp.host=127.0.0.1",
                    "smtp.port=" + std::to_string(port)});
    RunApplication({"customers", "import", ShopFile(), list});
    RunApplication({"mail", "new", ShopFile(), "--draft", draft});
    RunApplication({"target", ShopFile(), "0", "--all"});
}

// When how much of the journal was written: a line for each mail that went out.
struct Look {
    double time;
    std::uintmax_t bytes;
};

double TimeAt(std::vector<Look> const& looks, double part) {
    auto const wanted = static_cast<std::uintmax_t>(part * static_cast<double>(looks.back().bytes));
    for (Look const& look : looks)
        if (look.bytes >= wanted) return look.time;
    return looks.back().time;
}

}  // namespace

void Mailing(int port) {
    Prepare(port);
    double const loaded = RunApplication({"customers", "list", ShopFile(), "--limit", "1"});
    std::string const journal = ScratchFolder() + "/sending/MAIL/0/hist0.journal";
    std::vector<Look> looks;
    double const start = Now();
    pid_t const sending = StartApplication({"send", ShopFile(), "0", "--threads", "4"});
    siginfo_t ended{};
    while (waitid(P_PID, static_cast<id_t>(sending), &ended, WEXITED | WNOHANG | WNOWAIT) == 0 &&
           ended.si_pid == 0) {
        std::error_code none;
        if (std::uintmax_t const bytes = fs::file_size(journal, none); !none && bytes > 0)
            looks.push_back({Now(), bytes});
        usleep(between_looks);
    }
    double const whole = Now() - start;
    double const memory = EndApplication(sending);
    if (looks.empty()) throw std::runtime_error("nothing was sent");
    double const first = TimeAt(looks, 0.1) - looks.front().time;
    double const last = looks.back().time - TimeAt(looks, 0.9);
    Row("send, 100,000 recipients, 4 threads", recipients / (looks.back().time - looks.front().time),
        "msg/s");
    Row("send, 100,000 recipients, whole command", whole, "s");
    Row("send, rate of the last tenth to the first", first / last, "x");
    Row("send, memory over the loaded customers", memory - loaded, "MiB");
    TakeAnswers(recipients, loaded);
    RemoveDirectoryCompel(platform::LibraryPath(ScratchFolder()), 0);
}

}  // namespace measure
