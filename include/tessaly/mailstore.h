#pragma once

// Mails at rest: the list of mails, their texts per terminal, their attachments.

#include "tessaly/mailstore/attach_writer.h"
#include "tessaly/mailstore/mail_list_viewer.h"
#include "tessaly/mailstore/mail_writer.h"
#include "tessaly/mailstore/one_mail.h"
#include "tessaly/mailstore/one_mail_data.h"
#include "tessaly/mailstore/one_mail_maker.h"
