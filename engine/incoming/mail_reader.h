#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "engine/incoming/incoming_mail.h"

namespace engine {

// One entity of a mail, in the order of the text.
struct MailNode {
    enum class Kind { parts, message, header_alone, leaf } kind;
    int depth;          // 0: what the mail itself is
    std::size_t index;  // of the message or leaf
    std::string type;   // "multipart/report"
    std::string report_type{};
};

struct MailTree {
    std::vector<IncomingMessage> messages;
    std::vector<IncomingPart> parts;
    std::vector<MailNode> nodes;
    bool whole = true;
};

// Takes a mail apart within the limits of IncomingMail. Lines and parts are found here and not by GMime's
// parser, which has no limits: of 64 MiB of delimiters it makes 15 GiB of parts in 70 seconds.
MailTree ReadMail(std::string_view raw);

}  // namespace engine
