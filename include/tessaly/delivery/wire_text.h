#pragma once

#include "tessaly/platform/containers.h"
#include "tessaly/platform/cstring.h"
#include "tessaly/platform/export.h"

// The text of a mail, and its bytes between DATA and the server's answer to it.
namespace delivery {

struct WireParts {
    CString header;                             // the caller's lines, each with CR LF
    CString message_id;                         // without angle brackets; empty for no such line
    CString mailer_name;                        // empty for no such line
    CString content_type;                       // empty for plain text in ISO-2022-JP
    CString body;                               // Shift-JIS, or ISO-2022-JP already
    CString boundary;                           // used with attachments
    CStringArray const* attachments = nullptr;  // finished parts; null or empty for a mail without
};

// The whole text with its closing dot. The body becomes ISO-2022-JP and is dot-stuffed (RFC 5321 4.5.2): at
// its start and behind every CR LF. A lone CR or LF is no line end there, and some servers take it for one:
// who merges values into a body makes its line ends CR LF first. Attachments stand as they are.
TESSALY_API CString MakeWireText(WireParts const& parts);
// The message itself, for a client that makes it fit for the wire on its own.
TESSALY_API CString MakeMessage(WireParts const& parts);

}  // namespace delivery
