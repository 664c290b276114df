#pragma once

#include <string>
#include <string_view>
#include <vector>

// Received mails of many programs, each with what it is. They are written for the tests; the words are those
// of the programs.
namespace engine_tests {

struct CorpusMail {
    std::string name;
    std::string kind;    // KeyOf the kind
    std::string status;  // "5.1.1"; empty for none
    int reply = 0;
    std::string text;  // lines end with LF
};

// The mails, as answers to a mail with this ID that went to this address.
std::vector<CorpusMail> CorpusOf(std::string const& id, std::string const& to);

// Mails in the short form, one behind the other. Each begins with "== KIND STATUS REPLY NAME", "-" and 0 for
// none. A line "--TYPE" within it makes it a report: what follows is a part message/TYPE, and behind it comes
// the header of the mail that is reported about. {id} and {to} stand for the ID and the address.
extern std::string_view const bounces_in_short;
extern std::string_view const other_mails_in_short;

}  // namespace engine_tests
