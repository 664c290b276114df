// The search for Message-IDs and tokens of ours: what is found has their form, and one that stands behind any
// bytes is found.

#include "engine/incoming/id_search.h"

#include "fuzz_target.h"

namespace {

constexpr char const* id = "20261123235038123.00042.5.m3.tessaly-1a2b3c4d-abcdefghijklm237@example.jp";
constexpr char const* token = "m3-c5-abcdefghijklm237";

}  // namespace

void FuzzOne(std::string_view bytes) {
    engine::IdSigner const signer(std::string(engine::IdSigner::key_size, 'k'));
    std::string const exact(bytes);
    for (engine::OwnId const& one : engine::FindOwnIds(exact)) {
        fuzz::Check(engine::NumbersIn(one.text) == one.numbers, "the numbers are those of the ID");
        std::string const elsewhere = one.text.substr(0, one.text.find('@')) + "@elsewhere.example";
        fuzz::Check(engine::IsSameId(one.text, elsewhere), "an ID is the same on another domain");
        fuzz::Check(!signer.IsGenuine(one.text), "nobody makes a check value without the key");
    }
    for (engine::OwnToken const& one : engine::FindTokens(exact))
        fuzz::Check(!signer.IsGenuine(one, engine::IdSigner::Use::unsubscribe), "nor that of a token");
    std::vector<engine::OwnId> const ids = engine::FindOwnIds(exact + "\n<" + id + ">");
    fuzz::Check(ids.size() == engine::most_found ||
                    std::any_of(ids.begin(), ids.end(),
                                [](engine::OwnId const& one) { return engine::IsSameId(one.text, id); }),
                "an ID is found behind any bytes");
    std::vector<engine::OwnToken> const tokens = engine::FindTokens(exact + "+" + token);
    fuzz::Check(tokens.size() == engine::most_found || (!tokens.empty() && tokens.back().text == token),
                "a token is found behind any bytes");
}
