#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "engine/incoming/own_id.h"

// Our Message-IDs and tokens anywhere in a text. Whatever the text is, it is read once, and what is found has
// a limit, so that a hostile one costs no more than any other.
namespace engine {

struct OwnId {
    std::string text;  // without brackets and in lower case; the domain may be missing
    MailNumbers numbers;
};

inline constexpr std::size_t most_found = 1000;

// Everything that has the form of a Message-ID of a stored mail, each once and in order: with or without
// angle brackets; across line ends with the blanks and quote marks behind them; with letters in
// quoted-printable, percent-encoding or as character references. Whether it is ours is for IdSigner and the
// histories.
std::vector<OwnId> FindOwnIds(std::string_view text);

// The same for tokens; the text is one without encoding, such as an address or a subject.
std::vector<OwnToken> FindTokens(std::string_view text);

}  // namespace engine
