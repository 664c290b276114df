#pragma once

// Merge words, terminal type, the socket layer, the SMTP client, the send history, test mailing and sizes;
// and the way back: the POP client and the analysis of received mail.

#include "tessaly/delivery/history_list_viewer.h"
#include "tessaly/delivery/mail_send.h"
#include "tessaly/delivery/mail_send_err.h"
#include "tessaly/delivery/mail_size.h"
#include "tessaly/delivery/mail_stamps.h"
#include "tessaly/delivery/mail_word_insert.h"
#include "tessaly/delivery/merge_pieces.h"
#include "tessaly/delivery/my_smtps.h"
#include "tessaly/delivery/test_mailing_info.h"
#include "tessaly/delivery/wire_text.h"
#include "tessaly/delivery/xemail.h"
#include "tessaly/protocol/mail_dots.h"
#include "tessaly/protocol/socket_support.h"
#include "tessaly/reception/mail_analyzer.h"
#include "tessaly/reception/mail_pop.h"
#include "tessaly/reception/my_pops.h"
