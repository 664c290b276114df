#include "tessaly/delivery/mail_send_err.h"

MailSendErr::MailSendErr(CString const& refused_recipient, int error_code, CString const& finished_text)
    : recipient(refused_recipient), code(error_code), message(finished_text) {}
