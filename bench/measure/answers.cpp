// What comes back for a mailing, taken by the application from a folder: bounces, receipts, refusals, other
// mail.
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>

#include "application.h"
#include "measure.h"

namespace fs = std::filesystem;

namespace measure {
namespace {

constexpr int first_part = 10;  // one of so many comes in the first run

std::vector<std::string> MessageIds() {
    std::string const file = ScratchFolder() + "/report.csv";
    RunApplication({"report", ShopFile(), "0", "--format", "csv"}, file.c_str());
    std::vector<std::string> ids;
    for (std::string const& line : Lines(file)) {
        std::size_t const at = line.find(".tessaly-"), begin = line.rfind(',', at) + 1;
        if (at != line.npos) ids.push_back(line.substr(begin, line.find(',', at) - begin));
    }
    return ids;
}

std::string Report(std::string const& kind, std::string const& type, std::string const& fields,
                   std::string const& id) {
    return "Subject: report\r\nMIME-Version: 1.0\r\nContent-Type: multipart/report; report-type=" + kind +
           "; boundary=\"b\"\r\n\r\n--b\r\nContent-Type: text/plain; charset=us-ascii\r\n\r\nThis is the "
           "mail "
           "system.\r\n--b\r\nContent-Type: message/" +
           type + "\r\n\r\n" + fields + "\r\n\r\n--b\r\nContent-Type: message/rfc822\r\n\r\nMessage-ID: <" +
           id + ">\r\nSubject: x\r\n\r\ny\r\n--b--\r\n";
}

std::string Answer(int number, std::string const& id) {
    std::string const head = "From: n" + std::to_string(number) + "@example.com\r\nTo: shop@example.jp\r\n" +
                             "Date: Mon, 23 Nov 2026 10:00:00 +0900\r\nMessage-ID: <a" +
                             std::to_string(number) + "@example.com>\r\n";
    switch (number % 10) {
        case 0: return head + "In-Reply-To: <" + id + ">\r\nSubject: stop\r\n\r\n<REFUSE>\r\n";
        case 1: return head + "Subject: Re: hello\r\n\r\nHello, a question.\r\n";
        case 2:
        case 3:
        case 4:
            return head + Report("disposition-notification", "disposition-notification",
                                 "Original-Message-ID: <" + id +
                                     ">\r\nDisposition: manual-action/MDN-sent-manually; displayed",
                                 id);
        default:
            return head + Report("delivery-status", "delivery-status",
                                 "Reporting-MTA: dns; x\r\n\r\nAction: failed\r\nStatus: 5.1.1\r\n"
                                 "Diagnostic-Code: smtp; 550 no such user",
                                 id);
    }
}

struct Taken {
    double rate, memory;
};

Taken Take(std::string const& folder, std::size_t mails) {
    double const start = Now();
    double const memory = RunApplication({"receive", ShopFile(), "--from-dir", folder});
    return {static_cast<double>(mails) / (Now() - start), memory};
}

}  // namespace

void TakeAnswers(int recipients, double loaded) {
    std::vector<std::string> const ids = MessageIds();
    if (ids.size() != static_cast<std::size_t>(recipients)) throw std::runtime_error("no Message-IDs");
    std::string const few = ScratchFolder() + "/few", many = ScratchFolder() + "/many";
    fs::create_directory(few);
    fs::create_directory(many);
    std::size_t const first = ids.size() / first_part;
    for (std::size_t i = 0; i < ids.size(); ++i) {
        std::ofstream file((i < first ? few : many) + "/" + std::to_string(i) + ".eml", std::ios::binary);
        file << Answer(static_cast<int>(i), ids[i]);
    }
    Taken const small = Take(few, first), large = Take(many, ids.size() - first);
    Row("receive, " + std::to_string(first) + " mails of a folder", small.rate, "mails/s");
    Row("receive, " + std::to_string(ids.size() - first) + " mails of a folder", large.rate, "mails/s");
    Row("receive, memory over the loaded customers", large.memory - loaded, "MiB");
}

}  // namespace measure
