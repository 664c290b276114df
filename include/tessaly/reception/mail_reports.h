#pragma once

#include "tessaly/platform/cstring.h"

// The machine-readable parts of received reports. A field is unfolded and trimmed, and empty where the report
// lacks it. Where a report names several recipients, the first value of each field counts: a sent mail has
// one.

// A report on delivery (RFC 3464), the part message/delivery-status.
struct DeliveryReport {
    CString action;           // "failed", "delayed" and others (2.3.3)
    CString status;           // "5.1.1" (RFC 3463)
    CString diagnostic_code;  // a type, ";", and the text of the server
    CString final_recipient;  // a type, ";", and the address
};

// A report on a delivered mail (RFC 8098), the part message/disposition-notification.
struct DispositionReport {
    CString disposition;  // modes, ";", and "displayed", "deleted" or others (3.2.6)
    // Without angle brackets. Taken from any part of the mail and with or without a blank behind the colon,
    // unlike the original ID of the analysis.
    CString original_message_id;
};
