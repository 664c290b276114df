#pragma once

#include <span>
#include <string_view>

#include "engine/mails/states.h"

// What the codes and words of mail systems mean. Words are in the form of Folded().
namespace engine {

// A row fits if the code does and the text holds the words; the first that fits decides. An empty code or an
// empty text fits all.
struct BounceRule {
    std::string_view code;  // a status, "?" being any sign and "*" at its end any rest, or a reply code
    std::string_view words;
    AnswerKind kind;
    std::string_view more_words = {};  // which the text must hold too
};
// By their codes and words; and what a code means that comes with no known words.
std::span<BounceRule const> BounceRules();
std::span<BounceRule const> BounceRulesByCodeAlone();

// Words of mails that programs write.
struct MailWords {
    enum class Place {
        subject_start,
        subject,
        text,
        opening,          // the first lines, beside a subject of the same kind; from any sender
        subject_and_text  // the first words in the subject, `more_words` in the text
    };
    Place place;
    std::string_view words;
    AnswerKind kind;  // soft: a bounce of any kind
    std::string_view more_words = {};
};
std::span<MailWords const> WordsOfMails();

}  // namespace engine
