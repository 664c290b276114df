#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace engine {

// The codes that a server gives for an outcome.
struct StatusCodes {
    std::string status;  // "5.1.1" (RFC 3463); empty for none
    int reply = 0;       // 550 (RFC 5321); 0 for none
};

// The first of each in a text that tell of a failure, a status with a reason before one without. Numbers of
// other kinds, such as addresses of hosts, versions and sizes, are none.
StatusCodes CodesIn(std::string_view text);

// "5.1.0", "4.0.0": without a reason.
bool IsUnspecific(std::string_view status);

// What a report says of one recipient (RFC 3464 2.3).
struct RecipientReport {
    std::string action;      // "failed", in lower case
    std::string status;      // "5.1.1"
    std::string diagnostic;  // on one line
};
// Those of a message/delivery-status, also of one whose blank lines are lost. The fields of the message
// itself give none.
std::vector<RecipientReport> ReadDeliveryStatus(std::string_view content);

// The fields at the beginnings of lines, folded lines joined, names in lower case.
struct TextField {
    std::string name, value;
};
std::vector<TextField> FieldsIn(std::string_view text);

}  // namespace engine
