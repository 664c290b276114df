#pragma once

#include <string>

#include "tessaly/storage.h"

// The mail servers by the settings.
namespace engine {

enum class Security { none, tls, starttls };

// The server for outgoing mail.
struct ServerSettings {
    CString host;
    int port = 25;
    std::string auth = "none";  // none, any, cram-md5, login, plain
    CString user, password;
    unsigned timeout_milliseconds = 60000;
    CString mailer;
    Security security = Security::none;
    CString ca_file;               // path of the library; empty: what the system trusts
    int mails_per_connection = 1;  // of a secured one
};

// The mailbox.
struct MailboxSettings {
    CString host;
    int port = 110;
    bool apop = false;
    CString user, password;
    unsigned timeout_milliseconds = 60000;
    Security security = Security::none;
    CString ca_file;
};

}  // namespace engine
