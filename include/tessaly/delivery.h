#pragma once

// Merge words, terminal type, the socket layer, the SMTP client, the send history, test mailing and sizes;
// and the way back: the POP client and the analysis of received mail.

#include "delivery/history_list_viewer.h"
#include "delivery/mail_send.h"
#include "delivery/mail_send_err.h"
#include "delivery/mail_size.h"
#include "delivery/mail_stamps.h"
#include "delivery/mail_word_insert.h"
#include "delivery/my_smtps.h"
#include "delivery/test_mailing_info.h"
#include "delivery/wire_text.h"
#include "delivery/xemail.h"
#include "protocol/mail_dots.h"
#include "protocol/socket_support.h"
#include "reception/mail_analyzer.h"
#include "reception/mail_pop.h"
#include "reception/my_pops.h"
