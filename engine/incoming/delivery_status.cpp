#include "engine/incoming/delivery_status.h"

#include <algorithm>

#include "engine/base/crossing.h"
#include "engine/base/trimmed.h"
#include "engine/incoming/folded_text.h"

namespace engine {
namespace {

bool IsDigit(char c) { return c >= '0' && c <= '9'; }
bool IsLetter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }

// How many digits stand there, up to 4.
std::size_t DigitsAt(std::string_view text, std::size_t at) {
    std::size_t count = 0;
    while (count < 4 && at + count < text.size() && IsDigit(text[at + count])) ++count;
    return count;
}

// The length of "5.1.1" at that place; 0 for none. A fourth number makes it the address of a host.
std::size_t StatusAt(std::string_view text, std::size_t at) {
    if (at > 0 && (IsDigit(text[at - 1]) || text[at - 1] == '.' || IsLetter(text[at - 1]))) return 0;
    std::size_t end = at + 1;
    for (int part = 0; part < 2; ++part) {
        std::size_t const digits = end < text.size() && text[end] == '.' ? DigitsAt(text, end + 1) : 0;
        if (digits < 1 || digits > 3) return 0;
        end += 1 + digits;
    }
    bool const goes_on = end < text.size() && (IsLetter(text[end]) || text[end] == '_' ||
                                               (text[end] == '.' && DigitsAt(text, end + 1) > 0));
    return goes_on ? 0 : end - at;
}

constexpr int replies[] = {421, 422, 431, 432, 450, 451, 452, 453, 454, 455, 471, 500,
                           501, 502, 503, 504, 510, 511, 512, 513, 521, 523, 530, 535,
                           541, 550, 551, 552, 553, 554, 555, 556, 557, 571, 572, 580};

// A reply code stands alone, with a text behind it: "550 ", "550-", "550_", at the end of its line too.
int ReplyAt(std::string_view text, std::size_t at) {
    if ((text[at] != '4' && text[at] != '5') || DigitsAt(text, at) != 3) return 0;
    constexpr std::string_view before = " \t\n#\"'(:;>[=", behind = " \t\n-_:;,\"')]#<";
    if (at > 0 && before.find(text[at - 1]) == before.npos) return 0;
    if (at + 3 < text.size() && behind.find(text[at + 3]) == behind.npos) return 0;
    int const reply = (text[at] - '0') * 100 + (text[at + 1] - '0') * 10 + (text[at + 2] - '0');
    return std::find(std::begin(replies), std::end(replies), reply) == std::end(replies) ? 0 : reply;
}

}  // namespace

StatusCodes CodesIn(std::string_view text) {
    StatusCodes codes;
    for (std::size_t at = 0; at < text.size(); ++at) {
        if (!IsDigit(text[at])) continue;
        bool const of_failure = text[at] == '4' || text[at] == '5';
        std::string_view const status = text.substr(at, of_failure ? StatusAt(text, at) : 0);
        if (!status.empty() &&
            (codes.status.empty() || (IsUnspecific(codes.status) && !IsUnspecific(status))))
            codes.status = status;
        if (codes.reply == 0) codes.reply = ReplyAt(text, at);
    }
    return codes;
}

bool IsUnspecific(std::string_view status) { return status.ends_with(".0"); }

std::vector<TextField> FieldsIn(std::string_view text) {
    std::vector<TextField> fields;
    bool last_is_field = false;
    while (!text.empty()) {
        std::size_t const end = std::min(text.find('\n'), text.size());
        std::string_view const line = text.substr(0, end);
        text.remove_prefix(std::min(end + 1, text.size()));
        if (last_is_field && !line.empty() && (line[0] == ' ' || line[0] == '\t')) {
            std::string& value = fields.back().value;
            value.append(value.empty() ? "" : " ").append(Trimmed(line));
            continue;
        }
        std::size_t const colon = line.find(':');
        last_is_field = colon != line.npos && colon > 0 && line.find_first_of(" \t") > colon;
        if (last_is_field)
            fields.push_back({Folded(line.substr(0, colon)), std::string(Trimmed(line.substr(colon + 1)))});
    }
    return fields;
}

std::vector<RecipientReport> ReadDeliveryStatus(std::string_view content) {
    std::vector<RecipientReport> reports;
    bool begun = false, has_action = false, has_status = false;
    auto const begin = [&] {
        reports.emplace_back();
        begun = true;
        has_action = has_status = false;
    };
    for (auto const& [name, value] : FieldsIn(content)) {
        bool const is_action = name == "action", is_status = name == "status";
        if (name == "final-recipient" || (is_action && has_action) || (is_status && has_status)) begin();
        if (!is_action && !is_status && name != "diagnostic-code") continue;
        if (!begun) begin();
        RecipientReport& report = reports.back();
        if (is_action) report.action = Folded(value.substr(0, value.find_first_of(" ;(")));
        if (is_status && !value.empty()) report.status = value.substr(0, StatusAt(value, 0));
        if (name == "diagnostic-code") report.diagnostic = OnOneLine(value);
        has_action |= is_action;
        has_status |= is_status;
    }
    return reports;
}

}  // namespace engine
