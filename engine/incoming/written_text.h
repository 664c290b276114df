#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "engine/incoming/incoming_mail.h"

// What the writer of a mail wrote, without what other mails said.
namespace engine {

// How much of the texts of one mail is read for its meaning: its start says what it is.
inline constexpr std::size_t read_of_texts = std::size_t{32} << 10;

// The text of a message: its plain texts, else its pages without what they quote (<blockquote>), up to
// read_of_texts. Lines end with LF. A tag <REFUSE> in a page stands in its text.
std::string TextOfMessage(IncomingMail const& mail, std::size_t message = 0);

// The lines of a text that are neither blank nor a quotation: none that begins with a mark of quoting, and
// nothing behind the line that announces a quoted mail ("-----Original Message-----", "2026年…のメール:", a
// header in the text) or behind the mark of a signature.
std::vector<std::string_view> OwnLines(std::string_view text);

// A bounce's own words: the text up to the copy of the mail that comes back.
std::string_view BeforeReturnedCopy(std::string_view text);

// A subject folded and without the marks of answers and forwarding in front of it, and whether it had one.
struct FoldedSubject {
    std::string text;
    bool is_answer = false;
};
FoldedSubject FoldSubject(std::string_view subject);

// The address in a field "Name <address>", "address (name)" or alone; empty for none.
std::string AddressIn(std::string_view field);

}  // namespace engine
