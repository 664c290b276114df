#pragma once

// Mails at rest: the list of mails, their texts per terminal, their attachments.

#include "mailstore/attach_writer.h"
#include "mailstore/mail_list_viewer.h"
#include "mailstore/mail_writer.h"
#include "mailstore/one_mail.h"
#include "mailstore/one_mail_data.h"
#include "mailstore/one_mail_maker.h"
