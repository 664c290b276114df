#pragma once

#include "platform/cstring.h"
#include "platform/export.h"

// One refused recipient, as MailSend::GetErrList gives it.
class TESSALY_API MailSendErr {
  public:
    MailSendErr() = default;
    MailSendErr(const CString& refused_recipient, int error_code, const CString& finished_text);
    MailSendErr(const MailSendErr&) = default;
    MailSendErr& operator=(const MailSendErr&) = default;
    // The same as the assignment.
    MailSendErr& Cpy(const MailSendErr& other) { return *this = other; }

    CString recipient;  // the address
    int code = 0;       // smtp_refused_by_server
    CString message;    // the finished text of that code, with the server's reply in it
};
