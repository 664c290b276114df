// A mail as its writer has it: read or refused, and what was read can be written and read again.

#include "engine/mails/draft.h"

#include <vector>

#include "engine/base/crossing.h"
#include "engine/base/failure.h"
#include "fuzz_target.h"
#include "memory_file.h"
#include "tessaly/text.h"

namespace {

bool HasOnlyWholeLineEnds(std::string_view text) {
    for (std::size_t at = 0; at < text.size(); ++at) {
        if (text[at] == '\n' && (at == 0 || text[at - 1] != '\r')) return false;
        if (text[at] == '\r' && (at + 1 == text.size() || text[at + 1] != '\n')) return false;
    }
    return true;
}

// Lines end with LF, CR LF or CR, as the body's do when it is read.
std::size_t LinesOf(std::string_view content) {
    std::size_t lines = 1;
    for (std::size_t at = 0; at < content.size(); ++at)
        lines += content[at] == '\n' || (content[at] == '\r' && content.substr(at + 1, 1) != "\n");
    return lines;
}

engine::Draft Read(std::string_view content, std::vector<engine::Finding>& findings) {
    fuzz::MemoryFile const file(content);
    return engine::ReadDraft(file.HostPath(), findings);
}

}  // namespace

void FuzzOne(std::string_view bytes) {
    std::vector<engine::Finding> findings;
    engine::Draft draft;
    try {
        draft = Read(bytes, findings);
    } catch (engine::Failure const& failure) {
        fuzz::Check(*failure.what() != '\0', "a refusal says why");
        return;
    }
    fuzz::Check(!draft.subject.IsEmpty() && !draft.body.IsEmpty(), "a draft has a subject and a body");
    fuzz::Check(draft.subject.FindOneOf("\r\n") < 0, "a subject is one line");
    fuzz::Check(HasOnlyWholeLineEnds(draft.body.View()), "line ends are CR LF");
    for (engine::Mailbox const* mailbox : {&draft.from, &draft.reply_to})
        fuzz::Check(mailbox->address.IsEmpty() || MailAddressChecker(mailbox->address) == 1,
                    "an address is one");
    std::size_t const lines = LinesOf(bytes);
    for (engine::Finding const& finding : findings)
        fuzz::Check(
            finding.line >= 1 && finding.line <= lines && finding.column >= 1 && !finding.text.empty(),
            "a finding has a place in the file");

    std::string const again = "Subject: " + engine::Out(draft.subject) + "\n\n" + engine::Out(draft.body);
    std::vector<engine::Finding> found_again;
    engine::Draft const copy = Read(again, found_again);
    fuzz::Check(copy.subject == draft.subject && copy.body == draft.body, "what was read is read again");
}
