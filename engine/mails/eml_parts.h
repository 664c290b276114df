#pragma once

#include <string>
#include <vector>

namespace engine {

// A part of an .eml file that is no text of its mail.
struct EmlFilePart {
    std::string type;   // "image/png"
    std::string name;   // as the part gives it, UTF-8; empty for none
    std::string title;  // of a message: its subject
    std::string content_id, location;
    std::string content;
};

// What an .eml file of any mail program holds, as a mail is made from it. Texts are UTF-8 with LF.
struct EmlParts {
    std::string subject;
    std::string text, html;          // empty for none
    std::string html_location;       // of the HTML (RFC 2557)
    std::vector<EmlFilePart> files;  // in their order
    std::vector<std::string> lost;   // what is not among them, for the sender
};

// Of an alternative the last text and the last HTML count (RFC 2046 5.1.4); texts that stand side by side are
// joined. An attached message is a file, its lines ended by CR LF. What a stored mail cannot keep - other
// forms of its text, signatures, resource forks - is named in `lost`. Throws Failure that tells why a mail
// cannot be read. `file` is its name in failures.
EmlParts ReadEml(std::string bytes, std::string const& file);

}  // namespace engine
