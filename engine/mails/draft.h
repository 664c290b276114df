#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "engine/base/front_end.h"
#include "tessaly/storage.h"

// A mail as its author writes it: a UTF-8 text file with header lines (Subject, optional From and Reply-To),
// an empty line, and the body.
namespace engine {

// An address with or without a name, as From and Reply-To hold it.
struct Mailbox {
    CString name;
    CString address;
};
// "名前 <a@b.jp>" or "a@b.jp"; throws Failure, naming `what`, when the address is none.
Mailbox ReadMailbox(std::string const& utf8, std::string const& what);

struct Draft {
    CString subject;
    CString body;            // line ends CR LF
    Mailbox from, reply_to;  // empty: not given
};

// A place in a draft that a recipient would not see as intended.
struct Finding {
    std::size_t line, column;  // of the file, from 1; column in characters
    std::string text;
};

// Merge words that are unknown or outdated, machine-dependent characters and half-width kana in a text that
// begins with the first line of its file.
void InspectText(CString const& text, std::vector<Finding>& findings);

// Whether a draft may lack a body, or have one of blanks and line ends only; its body is then empty.
enum class DraftBody { required, optional };
// Throws Failure, with line and column, for a file that is no draft, or that holds a character that the
// library cannot keep. `findings` gets what InspectText finds in the subject and in the body.
Draft ReadDraft(std::string const& file, std::vector<Finding>& findings,
                DraftBody body = DraftBody::required);

// Tells the findings in a draft, or in the text that `where` names. Throws Failure if there are any, unless
// `anyway`.
void TellFindings(FrontEnd& front, std::vector<Finding> const& findings, bool anyway,
                  std::string const& where = "下書き");

}  // namespace engine
