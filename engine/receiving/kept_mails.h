#pragma once

#include <string>
#include <vector>

#include "engine/environment/session.h"

// The received mails that an environment keeps for the sender to read. Texts UTF-8; the operations throw
// Failure.
namespace engine {

struct KeptMailRow {
    int number = 0;
    std::string date;  // local time
    std::string from;
    std::string subject;  // a 〓 for each character that the library cannot keep
};
// By number.
std::vector<KeptMailRow> ListKeptMails(Session const& session);

struct KeptMailText {
    std::string file;  // host path of the mail as received
    std::string date, from, subject;
    int attachments = 0;
    std::string body;  // line ends LF
};
KeptMailText ReadKeptMail(Session const& session, int number);

}  // namespace engine
