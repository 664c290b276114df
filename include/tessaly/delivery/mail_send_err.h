#pragma once

#include "tessaly/platform/cstring.h"
#include "tessaly/platform/export.h"

// One refused recipient, as MailSend::GetErrList gives it.
class TESSALY_API MailSendErr {
  public:
    MailSendErr() = default;
    MailSendErr(CString const& refused_recipient, int error_code, CString const& finished_text);
    MailSendErr(MailSendErr const&) = default;
    MailSendErr& operator=(MailSendErr const&) = default;
    // The same as the assignment.
    MailSendErr& Cpy(MailSendErr const& other) { return *this = other; }

    CString recipient;  // the address
    int code = 0;       // smtp_refused_by_server
    CString message;    // the finished text of that code, with the server's reply in it
};
