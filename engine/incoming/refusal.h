#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "engine/incoming/incoming_mail.h"
#include "engine/incoming/own_id.h"
#include "engine/mails/states.h"

namespace engine {

// The words of a refusal, from the settings.
class RefusalWords {
  public:
    // `keyword`: receive.refuse-keyword, empty for none. `list`: receive.refuse-words, divided by commas;
    // empty for its default.
    RefusalWords(std::string_view keyword, std::string_view list);

    std::string const& Keyword() const { return keyword_; }
    std::vector<std::string> const& Words() const { return words_; }
    std::vector<std::string> const& BareWords() const { return bare_; }

  private:
    // Folded and without blanks; the last ones without particles too.
    std::string keyword_;
    std::vector<std::string> words_, bare_;
};

// Whether a mail refuses further mail.
struct RefusalSign {
    enum class Certainty { none, certain, unclear };

    Certainty certainty = Certainty::none;
    std::string address;           // of the sender; empty for none
    std::vector<OwnToken> tokens;  // of list-unsubscribe, in the subject or the first lines
    std::string found;             // the words; empty for a token
};

// Of a mail of this kind (Classify): only one of the kind `other` can refuse. `answers_ours`: it is an answer
// to one of our mails.
//
// Certain are a token, which is for the caller to verify; <REFUSE> or the keyword in the first lines; one of
// the words as the whole subject of a short or empty mail; and one as the first line of a short answer to one
// of our mails. Re:, full-width forms, signs and polite forms around the words do not count
// (「配信停止をお願いします。」). Unclear is a short mail that holds such a word within a sentence, asks for
// no more mails in other words, or doubts its own words. What a mail quotes says nothing.
RefusalSign FindRefusal(IncomingMail const& mail, AnswerKind kind, RefusalWords const& words,
                        bool answers_ours);

}  // namespace engine
