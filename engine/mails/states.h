#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "tessaly/storage.h"

// The states of a mail, of a recipient, of an attempt and of an answer. Code compares these values, never
// words; the words for display stand in one table.
namespace engine {

// Of a mail.
enum class MailStatus {
    draft,
    sending,      // or the run was killed
    waiting,      // some recipients are still to get it
    complete,     // every recipient got it
    with_errors,  // some were given up
    deleted
};

// Of a recipient, in the send history of a mail.
enum class RecipientState {
    waiting,
    complete,
    failed,
    unknown  // whether the server took the mail; by the journal alone, the history has no letter for it
};

// What became of one mail to one recipient.
enum class Outcome {
    sent,
    refused,  // for good, and this recipient alone
    failed,
    unknown  // the connection was lost when the server could have taken the mail
};

// The kind of a received mail.
enum class AnswerKind {
    hard,             // bounce: the address does not work, and will not
    soft,             // bounce for another reason, or for none that is given
    delayed,          // the server still tries
    delivered,        // report of success; also relayed to a server that gives no reports
    mailbox_full,     // bounce
    blocked,          // bounce: the sender or its server is refused, as spam or by policy
    content_refused,  // bounce: the mail is too large, or its form or content is refused
    challenge,        // the sender is to prove to be a person
    auto_reply,       // notice of absence and the like
    complaint,        // reported as spam (RFC 5965)
    receipt,          // opened
    deleted_unread,
    refusal,
    unclear_refusal,  // may be a refusal; a person is to decide
    registration,
    unreadable,
    other
};
inline constexpr std::size_t answer_kinds = static_cast<std::size_t>(AnswerKind::other) + 1;
// Whether it tells that a mail did not arrive, and will not.
bool IsBounce(AnswerKind kind);

// As the list of mails and the send histories hold them; null for unknown, none for a letter that this
// version does not write.
char const* LetterOf(MailStatus status);
char const* LetterOf(RecipientState state);
std::optional<MailStatus> MailStatusOf(std::string_view letter);
std::optional<RecipientState> RecipientStateOf(std::string_view letter);

// A state as it was read. An unknown letter, from a damaged or newer file, keeps its text.
template <class State>
struct StoredState {
    std::optional<State> state;
    std::string letter;  // UTF-8

    bool operator==(State other) const { return state == other; }
};
StoredState<MailStatus> StoredMailStatus(CString const& letter);
StoredState<RecipientState> StoredRecipientState(CString const& letter);

// For display, in Japanese.
char const* WordOf(MailStatus status);
char const* WordOf(RecipientState state);
char const* WordOf(Outcome outcome);
char const* WordOf(AnswerKind kind);
// The word, or the letter where there is none.
template <class State>
std::string WordOf(StoredState<State> const& stored) {
    return stored.state ? WordOf(*stored.state) : stored.letter;
}

}  // namespace engine
