#pragma once

#include "tessaly/platform/cstring.h"

// What the machine-readable parts of received reports say. A field is unfolded and trimmed, and empty where
// the report does not have it. Where a report names several recipients, the first value of each field counts:
// a mail of ours has one.

// A report on delivery (RFC 3464), the part message/delivery-status.
struct DeliveryReport {
    CString action;           // "failed", "delayed" and others (2.3.3)
    CString status;           // "5.1.1" (RFC 3463)
    CString diagnostic_code;  // a type, ";", and what the server said
    CString final_recipient;  // a type, ";", and the address
};

// A report on what became of a delivered mail (RFC 8098), the part message/disposition-notification.
struct DispositionReport {
    CString disposition;  // modes, ";", and "displayed", "deleted" or others (3.2.6)
    // Without angle brackets. Taken from any part of the mail and with or without a blank behind the colon,
    // unlike the original ID of the analysis.
    CString original_message_id;
};
