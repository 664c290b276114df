#include "engine/consent/suspensions.h"

#include <algorithm>
#include <array>
#include <set>
#include <utility>

#include "engine/base/crossing.h"
#include "engine/base/date_text.h"
#include "engine/base/whole_number.h"
#include "engine/consent/refusals.h"
#include "engine/environment/data_paths.h"

namespace engine {
namespace {

constexpr std::size_t cells_of_an_event = 6;  // kind, time, address, by, mail, note
constexpr char const *bounced = "bounce", *suspended = "suspend", *lifted = "lift";

struct Name {
    char const *key, *word;
};
constexpr std::array<Name, 3> names = {{{"hard", "宛先不明"}, {"soft", "続けて不達"}, {"user", "手で登録"}}};

std::optional<Suspension::By> ByFrom(std::string const& key) {
    auto const by =
        std::find_if(names.begin(), names.end(), [&](Name const& name) { return key == name.key; });
    if (by == names.end()) return {};
    return static_cast<Suspension::By>(by - names.begin());
}

Suspension::By ByOf(Bounce bounce) {
    return bounce == Bounce::hard ? Suspension::By::hard : Suspension::By::soft;
}

}  // namespace

char const* KeyOf(Suspension::By by) { return names[static_cast<std::size_t>(by)].key; }
char const* WordOf(Suspension::By by) { return names[static_cast<std::size_t>(by)].word; }

EventFile SuspensionsFile(std::string const& data_directory) {
    return {data_directory + "/" + suspensions_file, "tessaly-suspended 1", "止めている宛先の一覧"};
}

Suspensions::Suspensions(Session& session)
    : session_(session), file_(SuspensionsFile(session.DataDirectory())) {
    identity_ = IdentityOf(file_.File());
    bool known = true;
    bool const whole = file_.Read([&](EventFile::Cells const& cells) { known = Take(cells) && known; });
    if (!whole || !known) file_.Refuse(session.EnvFile());
}

bool Suspensions::Take(EventFile::Cells const& cells) {
    if (cells.size() != cells_of_an_event) return false;
    std::string const &kind = cells[0], &time = cells[1], &note = cells[5];
    auto const by = ByFrom(cells[3]);
    auto const mail = WholeNumber(cells[4]);
    if (!by || !mail) return false;
    Entry& entry = EntryOf(cells[2]);
    if (kind == bounced) {
        if (*by == Suspension::By::user) return false;
        entry.bounces.push_back({*by == Suspension::By::hard ? Bounce::hard : Bounce::soft, *mail, time});
    } else if (kind == suspended) {
        suspended_ += entry.suspension ? 0 : 1;
        entry.suspension = Suspension{cells[2], *by, *mail, note, time};
    } else if (kind == lifted) {
        suspended_ -= entry.suspension ? 1 : 0;
        entry.suspension.reset();
        entry.bounces.clear();
        entry.lifted = time;
    } else {
        return false;
    }
    return true;
}

Suspensions::Entry& Suspensions::EntryOf(std::string_view address) {
    Entry& entry = entries_[AddressKey(address)];
    if (entry.address.empty()) entry.address = address;
    return entry;
}

Suspension const* Suspensions::Find(std::string_view key) const {
    auto const found = entries_.find(key);
    return found == entries_.end() || !found->second.suspension ? nullptr : &*found->second.suspension;
}

std::vector<Suspension> Suspensions::All() const {
    std::vector<Suspension> all;
    ForEach([&](Suspension const& suspension) { all.push_back(suspension); });
    std::sort(all.begin(), all.end(), [](Suspension const& a, Suspension const& b) {
        return std::pair(a.time, a.address) < std::pair(b.time, b.address);
    });
    return all;
}

void Suspensions::Suspend(Entry& entry, Suspension suspension) {
    if (suspension.time.empty()) suspension.time = Out(NowText());
    entry.suspension = std::move(suspension);
    ++suspended_;
    changed_ = true;
}

// Times of this form compare as texts.
std::string Suspensions::DaysBefore(std::string const& time) const {
    COleDateTime const date = Convert_DateData2COleDateTime(time.c_str());
    return Out(DateText(date - COleDateTimeSpan(session_.NumberSetting("suspend.days"), 0, 0, 0)));
}

bool Suspensions::IsEnough(Entry const& entry, Bounce bounce) {
    int const limit = session_.NumberSetting(bounce == Bounce::hard ? "suspend.hard" : "suspend.soft");
    std::string newest;
    for (Counted const& one : entry.bounces)
        if (one.bounce == bounce) newest = std::max(newest, one.time);
    std::string const oldest = bounce == Bounce::soft ? DaysBefore(newest) : std::string();
    std::set<int> mails;
    for (Counted const& one : entry.bounces)
        if (one.bounce == bounce && one.time >= oldest) mails.insert(one.mail);
    return limit > 0 && mails.size() >= static_cast<std::size_t>(limit);
}

bool Suspensions::CountBounce(std::string_view address, int mail, Bounce bounce, std::string const& time,
                              std::string const& text) {
    Entry& entry = EntryOf(address);
    bool const known = std::any_of(entry.bounces.begin(), entry.bounces.end(), [&](Counted const& one) {
        return one.mail == mail && one.bounce == bounce;
    });
    if (entry.suspension || known || (!entry.lifted.empty() && time <= entry.lifted))
        return entry.suspension.has_value();
    entry.bounces.push_back({bounce, mail, time});
    changed_ = true;
    if (!IsEnough(entry, bounce)) return false;
    Suspend(entry, {entry.address, ByOf(bounce), mail, OnOneLine(text), time});
    return true;
}

bool Suspensions::Add(Suspension suspension) {
    Entry& entry = EntryOf(suspension.address);
    if (entry.suspension) return false;
    Suspend(entry, std::move(suspension));
    return true;
}

bool Suspensions::Lift(std::string_view address) {
    auto const found = entries_.find(AddressKey(address));
    if (found == entries_.end() || !found->second.suspension) return false;
    Entry& entry = found->second;
    entry.suspension.reset();
    entry.bounces.clear();
    entry.lifted = Out(NowText());
    --suspended_;
    changed_ = true;
    return true;
}

void Suspensions::Save() {
    if (!changed_) return;
    std::string const oldest = DaysBefore(Out(NowText()));
    file_.RemoveAll();
    for (auto const& [key, entry] : entries_) {
        if (!entry.lifted.empty()) file_.Add({lifted, entry.lifted, entry.address, "user", "-1", ""});
        for (Counted const& one : entry.bounces)
            if (one.bounce == Bounce::hard || one.time >= oldest)
                file_.Add({bounced, one.time, entry.address, KeyOf(ByOf(one.bounce)),
                           std::to_string(one.mail), ""});
        if (entry.suspension)
            file_.Add({suspended, entry.suspension->time, entry.address, KeyOf(entry.suspension->by),
                       std::to_string(entry.suspension->mail), entry.suspension->note});
    }
    file_.Save();
    identity_ = IdentityOf(file_.File());
    changed_ = false;
}

}  // namespace engine
