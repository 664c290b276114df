#pragma once

// Merge words, terminal type, the socket layer and the SMTP client.

#include "delivery/mail_send.h"
#include "delivery/mail_send_err.h"
#include "delivery/mail_word_insert.h"
#include "delivery/socket_support.h"
#include "delivery/xemail.h"
