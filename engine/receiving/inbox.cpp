#include "engine/receiving/inbox.h"

#include <algorithm>
#include <fstream>
#include <sstream>

#include "engine/base/digest.h"
#include "engine/base/failure.h"
#include "engine/base/whole_file.h"
#include "engine/base/whole_number.h"

namespace fs = std::filesystem;

namespace engine {
namespace {

constexpr char const* seen_name = "seen";
constexpr char const* actions_name = "actions.tsv";

// "000012-<digest>.eml"; 0 for a file that is none.
int NumberOf(fs::path const& file) {
    std::string const name = file.filename().string();
    return file.extension() == ".eml" ? LeadingNumber(name).value_or(0) : 0;
}

std::string DigestIn(fs::path const& file) {
    std::string const name = file.stem().string();
    return name.substr(name.find('-') + 1);
}

}  // namespace

Inbox::Inbox(std::string const& data_directory) : folder_(fs::path(data_directory) / "INBOX") {
    std::ifstream seen(folder_ / seen_name);
    for (std::string line; std::getline(seen, line) && !seen.eof();) seen_.insert(line);
    for (KeptMail const& mail : Kept()) {
        next_ = std::max(next_, mail.number + 1);
        kept_.emplace(DigestIn(mail.file), mail.number);
    }
}

// A line: time, kind, mail, customer, sender, effect.
AnswerCounts CountAnswers(std::string const& data_directory) {
    AnswerCounts counts;
    std::ifstream actions(fs::path(data_directory) / "INBOX" / actions_name);
    for (std::string line, time, kind, mail; std::getline(actions, line) && !actions.eof();) {
        std::istringstream parts(line);
        if (std::getline(parts, time, '\t') && std::getline(parts, kind, '\t') &&
            std::getline(parts, mail, '\t') && LeadingNumber(mail).value_or(-1) >= 0)
            if (auto const known = AnswerKindOf(kind)) ++counts[*LeadingNumber(mail)][*known];
    }
    return counts;
}

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

int Inbox::Keep(std::string const& text) {
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
    Append(actions_name, actions_);
    Append(seen_name, new_seen_);
}

}  // namespace engine
