// Received mail: fetching, decoding, analysis.
#include <tessaly/delivery.h>
#include <tessaly/mime.h>

#include <algorithm>
#include <filesystem>
#include <stdexcept>

#include "measure.h"

namespace measure {
namespace {

std::vector<CString> Mails(std::string const& folder) {
    std::vector<std::string> files;
    for (auto const& entry : std::filesystem::directory_iterator(folder))
        if (entry.path().extension() == ".eml") files.push_back(entry.path().string());
    std::sort(files.begin(), files.end());
    std::vector<CString> mails;
    for (std::string const& file : files) mails.emplace_back(std::string_view(Slurp(file)));
    return mails;
}

std::size_t DecodeLeaves(MimeFormatStruct const& entity, std::vector<char>& out) {
    std::size_t leaves = entity.m_aChild.IsEmpty() ? 1 : 0;
    for (MimeFormatStruct const& child : entity.m_aChild) leaves += DecodeLeaves(child, out);
    if (!entity.m_aChild.IsEmpty()) return leaves;
    out.resize(std::max(out.size(), static_cast<std::size_t>(entity.m_strBody.GetLength()) + 1));
    constexpr int as_it_stands = 0;
    CString encoding;
    entity.GetContentTransferEncoding(encoding);
    int size = 0;
    DecodeMailBody(entity.m_strBody,
                   encoding == "base64"             ? mime::MAIL_BODY_BASE64
                   : encoding == "quoted-printable" ? mime::MAIL_BODY_QUOTED_PRINTABLE
                                                    : as_it_stands,
                   out.data(), size);
    return leaves;
}

}  // namespace

void Received(std::string const& data) {
    std::vector<CString> const mails = Mails(data + "/mime");
    double bytes = 0;
    for (CString const& mail : mails) bytes += mail.GetLength();
    std::vector<char> out;
    std::size_t leaves = 0;
    double const parsing = Best([&] {
        leaves = 0;
        for (CString const& text : mails) {
            MimeFormatStruct mail;
            MimeDecodeTool::MimeDecode(text, mail);
            leaves += DecodeLeaves(mail, out);
        }
    });
    auto const count = static_cast<double>(mails.size());
    Row("parse message, decode every part", count / parsing, "/s");
    Row("parse message, decode every part", 1e-6 * bytes / parsing, "MB/s in");
    Note(std::to_string(mails.size()) + " mails, " + std::to_string(leaves) + " parts");
    std::size_t bounces = 0;
    Row("MailAnalyzer", count / Best([&] {
                            bounces = 0;
                            for (CString const& text : mails) {
                                MailAnalyzer analyzer(text);
                                analyzer.MailAnalysis();
                                bounces += analyzer.GetMailType() == MailAnalyzer::error_mail;
                            }
                        }),
        "mails/s");
    Note(std::to_string(bounces) + " bounces");
}

void Pop(int port) {
    int mails = 0;
    double const seconds = Best([&] {
        MailPop client;
        client.SetTimeOutTime(30000);
        if (!client.PopLogin("bench", "bench", "127.0.0.1", port, 0) || !client.PopListUidl())
            throw std::runtime_error("no mailbox");
        mails = client.GetMailNumber();
        for (int i = 0; i < mails; ++i)
            if (!client.PopRetr(static_cast<unsigned long>(i))) throw std::runtime_error("no mail");
        client.PopLogout();
    });
    Row("POP3 fetch", mails / seconds, "msg/s");
}

}  // namespace measure
