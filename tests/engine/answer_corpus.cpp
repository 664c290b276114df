#include "tests/engine/answer_corpus.h"

#include <sstream>

namespace engine_tests {
namespace {

void Replace(std::string& text, std::string_view what, std::string_view by) {
    for (std::size_t at = 0; (at = text.find(what, at)) != text.npos; at += by.size())
        text.replace(at, what.size(), by);
}

// The header ends at the first blank line.
std::string Report(std::string const& head, std::string const& text, std::string const& type,
                   std::string const& fields) {
    std::string const recipient =
        type == "delivery-status" ? "Reporting-MTA: dns; mx.example.com\n\nFinal-Recipient: rfc822; {to}\n"
                                  : "User-Agent: Test/1\n";
    return head + "MIME-Version: 1.0\nContent-Type: multipart/report; report-type=" + type +
           "; boundary=B\n\n--B\nContent-Type: text/plain; charset=UTF-8\nContent-Transfer-Encoding: "
           "8bit\n\n" +
           text + "\n--B\nContent-Type: message/" + type + "\n\n" + recipient + fields +
           "\n--B\nContent-Type: text/rfc822-headers\n\nMessage-ID: <{id}>\nFrom: shop@example.jp\n" +
           "Subject: mailbox full? 550 5.1.1 unsubscribe\n\n--B--\n";
}

std::vector<CorpusMail> Read(std::string_view in_short) {
    std::vector<CorpusMail> mails;
    std::istringstream lines{std::string(in_short)};
    std::string head, text, type, fields;
    bool in_head = false;
    auto const end = [&] {
        if (mails.empty()) return;
        mails.back().text = type.empty() ? head + "\n" + text : Report(head, text, type, fields);
        head = text = type = fields = {};
    };
    for (std::string line; std::getline(lines, line);) {
        if (line.starts_with("== ")) {
            end();
            CorpusMail& mail = mails.emplace_back();
            std::istringstream words(line.substr(3));
            words >> mail.kind >> mail.status >> mail.reply >> std::ws;
            std::getline(words, mail.name);
            if (mail.status == "-") mail.status.clear();
            in_head = true;
        } else if (in_head && line.empty()) {
            in_head = false;
        } else if (line == "--delivery-status" || line == "--feedback-report" ||
                   line == "--disposition-notification") {
            type = line.substr(2);
        } else {
            (in_head ? head : type.empty() ? text : fields) += line + "\n";
        }
    }
    end();
    return mails;
}

}  // namespace

std::vector<CorpusMail> CorpusOf(std::string const& id, std::string const& to) {
    std::vector<CorpusMail> mails = Read(bounces_in_short);
    for (CorpusMail& mail : Read(other_mails_in_short)) mails.push_back(std::move(mail));
    for (CorpusMail& mail : mails) {
        Replace(mail.text, "{id}", id);
        Replace(mail.text, "{to}", to);
    }
    return mails;
}

}  // namespace engine_tests
