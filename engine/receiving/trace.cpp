#include "engine/receiving/trace.h"

#include <algorithm>
#include <set>
#include <utility>

#include "engine/base/lower_case.h"
#include "engine/base/trimmed.h"
#include "engine/incoming/id_search.h"

namespace engine {
namespace {

// Where mail servers write to whom a mail came, the last step first.
constexpr std::string_view receivers[] = {"Delivered-To", "X-Original-To", "Envelope-To", "X-Envelope-To",
                                          "To",           "Received"};
// A request to unsubscribe has its token at the start of its text.
constexpr std::size_t start_of_text = 1000;
constexpr std::size_t most_addresses = 1000, longest_local_part = 64, longest_domain = 255;

void Unite(std::vector<Traced>& all, std::vector<Traced> more) {
    for (Traced& one : more)
        if (std::none_of(all.begin(), all.end(),
                         [&](Traced const& known) { return known.numbers == one.numbers; }))
            all.push_back(std::move(one));
}

std::vector<Traced> Only(std::optional<Traced> one) {
    return one ? std::vector{*std::move(one)} : std::vector<Traced>();
}

// The Message-IDs in a field (RFC 5322 3.6.4), without their brackets; the whole value where it has none.
std::vector<std::string_view> IdsIn(std::string_view field) {
    std::vector<std::string_view> ids;
    std::size_t begin = field.find('<');
    if (begin == field.npos) ids.push_back(Trimmed(field));
    while (begin != field.npos && ids.size() < most_found) {
        std::size_t const end = field.find('>', begin);
        if (end == field.npos) break;
        ids.push_back(field.substr(begin + 1, end - begin - 1));
        begin = field.find('<', end);
    }
    return ids;
}

// How many blanks and quote marks a line begins with.
std::size_t Margin(std::string_view text) { return std::min(text.find_first_not_of("> |\t"), text.size()); }

// Calls `take` with name and value of each field in a text such as a report or the copy of a header, quoted
// or not, until it says that it wants no more. A line that stands further in goes on with the field before
// it.
template <class Take>
void ForEachField(std::string_view text, Take const& take) {
    while (!text.empty()) {
        std::size_t const margin = Margin(text);
        std::size_t end = std::min(text.find('\n'), text.size());
        std::size_t const colon = text.substr(0, end).find(':');
        bool const is_field = colon != text.npos && colon > margin &&
                              text.substr(margin, colon - margin).find(' ') == text.npos;
        while (is_field && end < text.size() && Margin(text.substr(end + 1)) > margin)
            end = std::min(text.find('\n', end + 1), text.size());
        if (is_field && !take(text.substr(margin, colon - margin), text.substr(colon + 1, end - colon - 1)))
            return;
        text.remove_prefix(std::min(end + 1, text.size()));
    }
}

bool IsOfAddress(char letter) {
    constexpr std::string_view signs = "!#$%&'*+-/=?^_`{|}~.";
    return (letter >= '0' && letter <= '9') || (letter >= 'a' && letter <= 'z') ||
           (letter >= 'A' && letter <= 'Z') || signs.find(letter) != signs.npos;
}

// What looks like a mail address, in lower case and each once.
std::set<std::string> AddressesIn(std::string_view text) {
    std::set<std::string> addresses;
    for (std::size_t at = text.find('@'); at != text.npos && addresses.size() < most_addresses;
         at = text.find('@', at + 1)) {
        std::size_t begin = at, end = at + 1;
        while (begin > 0 && at - begin < longest_local_part && IsOfAddress(text[begin - 1])) --begin;
        while (end < text.size() && end - at <= longest_domain && IsOfAddress(text[end])) ++end;
        while (end > at && (text[end - 1] == '.' || text[end - 1] == '-')) --end;
        if (begin < at && end > at + 1) addresses.insert(LowerCase(text.substr(begin, end - begin)));
    }
    return addresses;
}

// The address in "rfc822;address" (RFC 3464 2.3.1), also with its letters as "+XX" (RFC 3461 4).
std::set<std::string> AddressesOfReport(std::string_view value) {
    value.remove_prefix(std::min(value.find(';') + 1, value.size()));
    std::set<std::string> addresses = AddressesIn(value);
    std::string plain(value);
    constexpr std::string_view hex = "0123456789ABCDEF";
    for (std::size_t at = 0; (at = plain.find('+', at)) != plain.npos; ++at) {
        if (at + 2 >= plain.size()) break;
        std::size_t const high = hex.find(plain[at + 1]), low = hex.find(plain[at + 2]);
        if (high != hex.npos && low != hex.npos) plain.replace(at, 3, 1, static_cast<char>(high * 16 + low));
    }
    addresses.merge(AddressesIn(plain));
    return addresses;
}

}  // namespace

Trace::Trace(IncomingMail const& mail, std::string_view raw, IdSigner const& signer, SentMails& sent)
    : mail_(mail), raw_(raw), signer_(signer), sent_(sent), held_(mail.Messages().size()) {
    for (std::size_t message = 1; message < held_.size(); ++message)
        held_[static_cast<std::size_t>(mail.Messages()[message].parent)].push_back(message);
}

std::vector<Traced> Trace::All() const {
    std::vector<Traced> found = Within({0, 0});
    if (found.empty()) found = InText(raw_, {0, 0});
    if (found.empty()) found = ByToken();
    return found;
}

std::vector<Traced> Trace::Within(Place place) const {
    std::vector<Traced> found;
    for (std::size_t const held : held_[place.message]) Unite(found, Within({held, place.depth + 1}));
    return found.empty() ? InMessage(place) : found;
}

std::vector<Traced> Trace::InMessage(Place place) const {
    IncomingMessage const& here = mail_.Messages()[place.message];
    if (place.depth > 0)
        if (auto const own = InField(here.Field("Message-ID"), place)) return {*own};
    for (char const* name : {"In-Reply-To", "References"})
        if (auto const answered = InField(here.Field(name), place)) return {*answered};
    for (IncomingField const& field : here.fields)
        if (!EqualNoCase(field.name, "Message-ID"))
            if (std::vector<Traced> found = InText(field.value, place); !found.empty()) return found;
    std::vector<Traced> found;
    for (IncomingPart const& part : mail_.Parts())
        if (part.message == place.message) Unite(found, InText(part.content, place));
    return found;
}

// Of several, as in References, the last: it is that of the mail that was answered.
std::optional<Traced> Trace::InField(std::string_view field, Place place) const {
    std::vector<OwnId> const own = FindOwnIds(field);
    for (auto id = own.rbegin(); id != own.rend(); ++id)
        if (auto const counted = Counted(id->text, id->numbers, place)) return counted;
    std::vector<std::string_view> const ids = IdsIn(field);
    for (auto id = ids.rbegin(); id != ids.rend(); ++id)
        if (auto const old = Old(*id, place)) return old;
    return {};
}

std::vector<Traced> Trace::InText(std::string_view text, Place place) const {
    std::vector<Traced> found;
    for (OwnId const& id : FindOwnIds(text)) Unite(found, Only(Counted(id.text, id.numbers, place)));
    if (!found.empty()) return found;
    std::size_t left = most_found;
    ForEachField(text, [&](std::string_view name, std::string_view value) {
        bool const of_id = EqualNoCase(name, "Message-ID") || EqualNoCase(name, "Original-Message-ID");
        if (!of_id) return true;
        for (std::string_view const id : IdsIn(value)) Unite(found, Only(Old(id, place)));
        return --left > 0;
    });
    return found;
}

std::optional<Traced> Trace::Counted(std::string const& id, MailNumbers const& numbers, Place place) const {
    if (!sent_.Has(numbers)) return {};
    for (std::string const& recorded : sent_.IdsOf(numbers))
        if (IsSameId(recorded, id))
            return Traced{numbers, recorded, Traced::by_id, place.depth, place.message};
    if (!signer_.IsGenuine(id)) return {};
    return Traced{numbers, id, Traced::by_id, place.depth, place.message};
}

std::optional<Traced> Trace::Old(std::string_view id, Place place) const {
    if (id.empty() || NumbersIn(id)) return {};
    auto const numbers = sent_.BehindOldId(id);
    if (!numbers) return {};
    return Traced{*numbers, std::string(id), Traced::by_id, place.depth, place.message};
}

std::optional<MailNumbers> Trace::SignedBy(std::string_view text, IdSigner::Use use) const {
    for (OwnToken const& token : FindTokens(text))
        if (signer_.IsGenuine(token, use) && sent_.Has(token.numbers)) return token.numbers;
    return {};
}

std::vector<Traced> Trace::ByToken() const {
    std::optional<MailNumbers> numbers;
    for (std::string_view const name : receivers)
        for (IncomingField const& field : mail_.Messages().front().fields)
            if (!numbers && EqualNoCase(field.name, name))
                numbers = SignedBy(field.value, IdSigner::Use::return_path);
    if (!numbers) numbers = Unsubscriber();
    if (!numbers) numbers = InCopiedHeader();
    if (!numbers) return {};
    std::vector<std::string> const ids = sent_.IdsOf(*numbers);
    return {{*numbers, ids.empty() ? std::string() : ids.front(), Traced::by_token}};
}

std::optional<MailNumbers> Trace::InCopiedHeader() const {
    constexpr char const* name = "List-Unsubscribe";
    for (std::size_t message = 1; message < mail_.Messages().size(); ++message)
        if (auto const numbers = SignedBy(mail_.Messages()[message].Field(name), IdSigner::Use::unsubscribe))
            return numbers;
    std::optional<MailNumbers> numbers;
    for (IncomingPart const& part : mail_.Parts())
        ForEachField(numbers ? std::string_view() : part.content,
                     [&](std::string_view field, std::string_view value) {
                         if (EqualNoCase(field, name)) numbers = SignedBy(value, IdSigner::Use::unsubscribe);
                         return !numbers;
                     });
    return numbers;
}

std::optional<MailNumbers> Trace::Unsubscriber() const {
    if (auto const numbers =
            SignedBy(mail_.Messages().front().Decoded("Subject"), IdSigner::Use::unsubscribe))
        return numbers;
    for (IncomingPart const& part : mail_.Parts())
        if (part.message == 0 && part.text && !part.attached)
            if (auto const numbers = SignedBy(std::string_view(part.content).substr(0, start_of_text),
                                              IdSigner::Use::unsubscribe))
                return numbers;
    return {};
}

std::optional<Traced> Trace::ByAddress(Lookup const& lookup) const {
    IncomingMessage const& mail = mail_.Messages().front();
    std::set<std::string> const ours = AddressesIn(mail.Field("To"));
    std::set<std::string> reported, failed = AddressesIn(mail.Field("X-Failed-Recipients")), named;
    for (IncomingPart const& part : mail_.Parts()) {
        if (!part.text) continue;
        if (part.type == "message/delivery-status")
            ForEachField(part.content, [&](std::string_view name, std::string_view value) {
                if (EqualNoCase(name, "Final-Recipient") || EqualNoCase(name, "Original-Recipient"))
                    reported.merge(AddressesOfReport(value));
                return reported.size() < most_addresses;
            });
        else if (part.message == 0 && named.size() < most_addresses)
            named.merge(AddressesIn(part.content));
    }
    for (std::set<std::string> const* addresses : {&reported, &failed, &named}) {
        std::optional<LastMail> only;
        for (std::string const& address : *addresses) {
            if (ours.contains(address)) continue;
            std::optional<LastMail> const last = lookup(address);
            if (last && only && only->numbers.customer != last->numbers.customer) return {};
            if (last) only = last;
        }
        if (only) return Traced{only->numbers, only->message_id, Traced::by_address};
    }
    return {};
}

}  // namespace engine
