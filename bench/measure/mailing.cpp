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
constexpr int body_lines = 40;  // about 2 KB
constexpr char const *synced_mail = "0", *other_mail = "1";
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
    for (char const* mail : {synced_mail, other_mail}) {
        RunApplication({"mail", "new", ShopFile(), "--draft", draft});
        RunApplication({"target", ShopFile(), mail, "--all"});
    }
}

// When how much of the transfer log was written: as much for each mail that went out.
struct Look {
    double time;
    std::uintmax_t bytes;
};

std::uintmax_t LoggedBytes() {
    std::uintmax_t bytes = 0;
    std::error_code none;
    for (fs::directory_iterator file(ScratchFolder() + "/sending/LOG", none), end; !none && file != end;
         file.increment(none)) {
        std::uintmax_t const size = file->file_size(none);
        if (!none) bytes += size;
    }
    return bytes;
}

double TimeAt(std::vector<Look> const& looks, double part) {
    auto const wanted = static_cast<std::uintmax_t>(part * static_cast<double>(looks.back().bytes));
    for (Look const& look : looks)
        if (look.bytes >= wanted) return look.time;
    return looks.back().time;
}

struct Sending {
    double rate, whole, last_to_first, memory;  // mails and seconds; MiB
};

Sending Send(char const* mail, Syncs syncs) {
    std::vector<Look> looks;
    std::uintmax_t const logged = LoggedBytes();
    double const start = Now();
    pid_t const sending = StartApplication({"send", ShopFile(), mail, "--threads", "4"}, "/dev/null", syncs);
    siginfo_t ended{};
    while (waitid(P_PID, static_cast<id_t>(sending), &ended, WEXITED | WNOHANG | WNOWAIT) == 0 &&
           ended.si_pid == 0) {
        if (std::uintmax_t const bytes = LoggedBytes(); bytes > logged)
            looks.push_back({Now(), bytes - logged});
        usleep(between_looks);
    }
    double const whole = Now() - start;
    double const memory = EndApplication(sending);
    if (looks.empty()) throw std::runtime_error("nothing was sent");
    double const first = TimeAt(looks, 0.1) - looks.front().time;
    double const last = TimeAt(looks, 1) - TimeAt(looks, 0.9);
    return {recipients / (TimeAt(looks, 1) - looks.front().time), whole, first / last, memory};
}

}  // namespace

void Mailing(int port) {
    Prepare(port);
    double const loaded = RunApplication({"customers", "list", ShopFile(), "--limit", "1"});
    Sending const sending = Send(synced_mail, Syncs::made);
    double const without_syncs = Send(other_mail, Syncs::left_out).rate;
    Row("send, 100,000 recipients, 4 threads", sending.rate, "msg/s");
    Row("send, 100,000 recipients, whole command", sending.whole, "s");
    Row("send, rate of the last tenth to the first", sending.last_to_first, "x");
    Row("send, rate with the syncs of its journal to that without", sending.rate / without_syncs, "x");
    Row("send, memory over the loaded customers", sending.memory - loaded, "MiB");
    TakeAnswers(recipients, loaded);
    RemoveDirectoryCompel(platform::LibraryPath(ScratchFolder()), 0);
}

}  // namespace measure
