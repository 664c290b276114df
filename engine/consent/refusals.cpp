#include "engine/consent/refusals.h"

#include <algorithm>
#include <array>
#include <utility>

#include "engine/base/crossing.h"
#include "engine/base/date_text.h"
#include "engine/base/failure.h"
#include "engine/base/lower_case.h"
#include "engine/base/whole_number.h"
#include "engine/environment/data_paths.h"

namespace engine {
namespace {

constexpr std::size_t cells_of_an_event = 6;  // kind, time, address, how, mail, note
constexpr char const *added = "+", *lifted = "-";

struct Name {
    char const *key, *word;
};
constexpr std::array<Name, 5> names = {{{"mail", "メール"},
                                        {"list-unsubscribe", "配信停止ボタン"},
                                        {"user", "手で登録"},
                                        {"import", "取り込み"},
                                        {"complaint", "迷惑メールの報告"}}};

EventFile::Cells CellsOf(RefusalEvent const& event) {
    Refusal const& refusal = event.refusal;
    return {event.lifted ? lifted : added, refusal.time, refusal.address, KeyOf(refusal.how),
            std::to_string(refusal.mail),  refusal.note};
}

}  // namespace

char const* KeyOf(RefusedBy how) { return names[static_cast<std::size_t>(how)].key; }
char const* WordOf(RefusedBy how) { return names[static_cast<std::size_t>(how)].word; }

std::string AddressKey(std::string_view address) { return LowerCase(address); }

std::string AddressKey(CString const& address) {
    std::string_view const view = address.View();
    bool const ascii = std::all_of(view.begin(), view.end(), [](char c) { return c >= 0; });
    return ascii ? AddressKey(view) : AddressKey(std::string_view(Out(view)));
}

EventFile RefusalsFile(std::string const& data_directory) {
    return {data_directory + "/" + refusals_file, "tessaly-refusals 1", "配信停止の申し出"};
}

std::optional<RefusalEvent> RefusalFrom(EventFile::Cells const& cells) {
    if (cells.size() != cells_of_an_event || (cells[0] != added && cells[0] != lifted)) return {};
    auto const how =
        std::find_if(names.begin(), names.end(), [&](Name const& name) { return cells[3] == name.key; });
    auto const mail = WholeNumber(cells[4]);
    if (how == names.end() || !mail) return {};
    return RefusalEvent{{cells[2], static_cast<RefusedBy>(how - names.begin()), *mail, cells[5], cells[1]},
                        cells[0] == lifted};
}

Refusals::Refusals(Session& session) : file_(RefusalsFile(session.DataDirectory())) {
    identity_ = IdentityOf(file_.File());
    bool known = true;
    bool const whole = file_.Read([&](EventFile::Cells const& cells) {
        std::optional<RefusalEvent> event = RefusalFrom(cells);
        if (event)
            Take(*std::move(event));
        else
            known = false;
    });
    if (!whole || !known) file_.Refuse(session.EnvFile());
}

Refusal const* Refusals::Find(std::string_view key) const {
    auto const found = entries_.find(key);
    return found == entries_.end() || !found->second.in_force ? nullptr : &found->second.refusal;
}

std::vector<Refusal> Refusals::All() const {
    std::vector<Entry const*> entries;
    for (auto const& [key, entry] : entries_)
        if (entry.in_force) entries.push_back(&entry);
    std::sort(entries.begin(), entries.end(),
              [](Entry const* a, Entry const* b) { return a->place < b->place; });
    std::vector<Refusal> all;
    all.reserve(entries.size());
    for (Entry const* entry : entries) all.push_back(entry->refusal);
    return all;
}

std::vector<RefusalEvent> Refusals::History() const {
    std::vector<RefusalEvent> events;
    EventFile copy = file_;
    copy.ReadText(file_.Text(), [&](EventFile::Cells const& cells) {
        if (std::optional<RefusalEvent> event = RefusalFrom(cells)) events.push_back(*std::move(event));
    });
    return events;
}

void Refusals::Take(RefusalEvent event) {
    Entry& entry = entries_[AddressKey(event.refusal.address)];
    in_force_ += !event.lifted && !entry.in_force ? 1 : 0;
    in_force_ -= event.lifted && entry.in_force ? 1 : 0;
    entry = {std::move(event.refusal), !event.lifted, events_++};
}

void Refusals::Append(RefusalEvent event) {
    if (event.refusal.time.empty()) event.refusal.time = Out(NowText());
    file_.Add(CellsOf(event));
    Take(std::move(event));
    changed_ = true;
}

bool Refusals::Add(Refusal refusal) {
    if (Contains(AddressKey(refusal.address))) return false;
    Append({std::move(refusal), false});
    return true;
}

bool Refusals::Lift(std::string_view address, std::string const& consent) {
    Refusal const* const found = Find(AddressKey(address));
    if (!found) return false;
    if (consent.empty())
        throw Failure(Failure::not_confirmed,
                      "配信停止を解くには、本人の同意をどう得たかを --consent に書いてください。");
    Append({{found->address, RefusedBy::user, -1, consent, {}}, true});
    return true;
}

void Refusals::Save() {
    if (!changed_) return;
    file_.Save();
    identity_ = IdentityOf(file_.File());
    changed_ = false;
}

}  // namespace engine
