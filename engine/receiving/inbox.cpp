#include "engine/receiving/inbox.h"

#include <algorithm>
#include <fstream>
#include <optional>
#include <set>
#include <sstream>
#include <tuple>
#include <vector>

#include "engine/base/digest.h"
#include "engine/base/failure.h"
#include "engine/base/whole_file.h"
#include "engine/base/whole_number.h"

namespace fs = std::filesystem;

namespace engine {
namespace {

constexpr char const* seen_name = "seen";
constexpr char const* actions_name = "actions.tsv";
constexpr std::string_view end_of_actions = "actions ";  // before the size of the record of effects

// "000012-<digest>.eml"; 0 for a file that is none.
int NumberOf(fs::path const& file) {
    std::string const name = file.filename().string();
    return file.extension() == ".eml" ? LeadingNumber(name).value_or(0) : 0;
}

std::string DigestIn(fs::path const& file) {
    std::string const name = file.stem().string();
    return name.substr(name.find('-') + 1);
}

// The IDs of the mails that were seen. Result: how many bytes of the record of effects belong to them, where
// that is known. What stands behind those bytes, or behind the last line that tells them, is of a cut-off
// receiving.
std::optional<std::uintmax_t> ReadSeen(fs::path const& file, auto const& take) {
    std::optional<std::uintmax_t> effects;
    std::vector<std::string> ids;
    std::ifstream seen(file);
    auto const take_all = [&] {
        for (std::string const& id : ids) take(id);
        ids.clear();
    };
    for (std::string line; std::getline(seen, line) && !seen.eof();) {
        if (!line.starts_with(end_of_actions)) {
            ids.push_back(line);
        } else if (auto const size = WholeNumber(std::string_view(line).substr(end_of_actions.size()))) {
            effects = *size;
            take_all();
        }
    }
    if (!effects) take_all();
    return effects;
}

std::string LineOf(Effect const& effect) {
    std::string line = effect.time + "\t" + KeyOf(effect.kind) + "\t" + std::to_string(effect.mail) + "\t" +
                       std::to_string(effect.customer) + "\t" + effect.from + "\t" + effect.text;
    if (effect.kept > 0) line += "\t" + std::to_string(effect.kept);
    return line + "\n";
}

// Lines of kinds that this version does not know give nothing. A line of an earlier version ends with the
// text.
std::optional<Effect> EffectIn(std::string const& line) {
    std::istringstream parts(line);
    std::string kind, mail, customer, kept;
    Effect effect;
    for (std::string* const part : {&effect.time, &kind, &mail, &customer, &effect.from})
        if (!std::getline(parts, *part, '\t')) return {};
    std::getline(parts, effect.text, '\t');
    std::getline(parts, kept, '\t');
    auto const known = AnswerKindOf(kind);
    if (!known) return {};
    effect.kind = *known;
    effect.mail = WholeNumber(mail).value_or(-1);
    effect.customer = WholeNumber(customer).value_or(-1);
    effect.kept = WholeNumber(kept).value_or(0);
    return effect;
}

// In their order.
void ForEachEffect(std::string const& data_directory, auto const& take) {
    fs::path const folder = fs::path(data_directory) / "INBOX";
    auto const known = ReadSeen(folder / seen_name, [](std::string const&) {});
    std::ifstream actions(folder / actions_name);
    std::uintmax_t read = 0;
    for (std::string line; std::getline(actions, line) && !actions.eof();) {
        read += line.size() + 1;
        if (known && read > *known) break;
        if (auto const effect = EffectIn(line)) take(*effect);
    }
}

}  // namespace

Inbox::Inbox(std::string const& data_directory) : folder_(fs::path(data_directory) / "INBOX") {
    known_effects_ = ReadSeen(folder_ / seen_name, [&](std::string const& id) { seen_.insert(id); });
    for (KeptMail const& mail : Kept()) {
        next_ = std::max(next_, mail.number + 1);
        kept_.emplace(DigestIn(mail.file), mail.number);
    }
}

AnswerCounts CountAnswers(std::string const& data_directory) {
    AnswerCounts counts;
    std::set<std::tuple<int, AnswerKind, int>> counted;
    ForEachEffect(data_directory, [&](Effect const& effect) {
        if (effect.mail < 0) return;
        bool const is_new = counted.emplace(effect.mail, effect.kind, effect.customer).second;
        if (is_new || effect.customer < 0) ++counts[effect.mail][effect.kind];
    });
    return counts;
}

std::map<int, Effect> EffectsOfKept(std::string const& data_directory) {
    std::map<int, Effect> effects;
    ForEachEffect(data_directory, [&](Effect const& effect) {
        if (effect.kept > 0) effects[effect.kept] = effect;
    });
    return effects;
}

void Inbox::Record(Effect const& effect) { actions_ += LineOf(effect); }

std::vector<KeptMail> Inbox::Kept() const {
    std::vector<KeptMail> kept;
    std::error_code error;
    for (auto const& entry : fs::directory_iterator(folder_, error))
        if (int const number = NumberOf(entry.path()); number > 0) kept.push_back({number, entry.path()});
    std::sort(kept.begin(), kept.end(),
              [](KeptMail const& a, KeptMail const& b) { return a.number < b.number; });
    return kept;
}

void Inbox::Remember(std::string const& id) {
    if (seen_.insert(id).second) new_seen_ += id + "\n";
}

int Inbox::Keep(std::string_view text) {
    std::string const digest = DigestOf(text), mark = "kept " + digest;
    if (auto const found = kept_.find(digest); found != kept_.end()) return found->second;
    MakeFolder(folder_.string());
    char name[64];
    std::snprintf(name, sizeof name, "%06d-%s.eml", next_, digest.c_str());
    bool const written = ReplaceFile((folder_ / name).string(), text);
    if (!written)
        throw Failure(Failure::not_written, "受信したメールを書けません: " + (folder_ / name).string());
    Remember(mark);
    kept_.emplace(digest, next_);
    return next_++;
}

void Inbox::Append(std::string const& name, std::string& text) const {
    if (text.empty()) return;
    MakeFolder(folder_.string());
    AppendLines((folder_ / name).string(), text);
    text.clear();
}

void Inbox::Save() {
    if (actions_.empty() && new_seen_.empty()) return;
    fs::path const file = folder_ / actions_name;
    std::error_code none_yet;
    if (known_effects_ && fs::file_size(file, none_yet) > *known_effects_ && !none_yet)
        OutputFile(file.string(), "受信の記録", OutputFile::Begin::at_end).Cut(*known_effects_);
    Append(actions_name, actions_);
    std::uintmax_t const size = fs::file_size(file, none_yet);
    known_effects_ = none_yet ? 0 : size;
    new_seen_ += std::string(end_of_actions) + std::to_string(*known_effects_) + "\n";
    Append(seen_name, new_seen_);
}

}  // namespace engine
