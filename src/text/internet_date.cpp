#include <optional>
#include <string_view>

#include "platform/clock.h"
#include "platform/view_of.h"
#include "tessaly/text/dates.h"

// Dates of Internet mail and HTTP: RFC 5322 3.3, with the named zones of RFC 822 5.1.
namespace {

constexpr std::size_t npos = std::string_view::npos;
constexpr std::string_view white_space = " \t\r\n";
constexpr int minutes_per_hour = 60;
constexpr int seconds_per_minute = 60;

struct NamedZone {
    std::string_view name;
    int minutes;  // east of UTC
};
constexpr NamedZone named_zones[] = {
    {"JST", 540},  {"UT", 0},     {"GMT", 0},    {"EDT", -240}, {"EST", -300}, {"CDT", -300},
    {"CST", -360}, {"MDT", -360}, {"MST", -420}, {"PDT", -420}, {"PST", -480},
};

// The military zones: A to M but for J lie east of Z, N to Y west of it.
std::optional<int> MilitaryZone(char letter) noexcept {
    constexpr std::string_view east = "ABCDEFGHIKLM";
    constexpr std::string_view west = "NOPQRSTUVWXY";
    if (letter == 'Z') return 0;
    if (std::size_t const place = east.find(letter); place != npos)
        return static_cast<int>(place + 1) * minutes_per_hour;
    if (std::size_t const place = west.find(letter); place != npos)
        return -static_cast<int>(place + 1) * minutes_per_hour;
    return std::nullopt;
}

// As atoi; a number too large for it becomes the largest one.
int NumberAtStart(std::string_view text) noexcept {
    constexpr int largest = 2'000'000'000;
    std::size_t at = text.find_first_not_of(" \t\n\v\f\r");
    if (at == npos) return 0;
    bool const negative = text[at] == '-';
    if (negative || text[at] == '+') ++at;
    int number = 0;
    for (; at < text.size() && text[at] >= '0' && text[at] <= '9'; ++at)
        number = number < largest / 10 ? number * 10 + (text[at] - '0') : largest;
    return negative ? -number : number;
}

int ZoneMinutes(std::string_view zone) noexcept {
    for (NamedZone const& named : named_zones)
        if (zone == named.name) return named.minutes;
    if (zone.size() == 1)
        if (auto const minutes = MilitaryZone(zone[0])) return *minutes;
    int const number = NumberAtStart(zone);
    return number / 100 * minutes_per_hour + number % 100;  // both keep the sign
}

// 1 to 12, 0 for any other text.
int MonthNumber(std::string_view name) noexcept {
    static constexpr std::string_view names[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                                 "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
    for (int month = 0; month < 12; ++month)
        if (name == names[month]) return month + 1;
    return 0;
}

// Removes the text up to `divider`, and the divider, from `rest`; false when there is none.
bool Take(std::string_view& rest, char divider, std::string_view& piece) noexcept {
    std::size_t const end = rest.find(divider);
    if (end == npos) return false;
    piece = rest.substr(0, end);
    rest.remove_prefix(end + 1);
    return true;
}

bool TakeNumber(std::string_view& rest, char divider, int& number) noexcept {
    std::string_view piece;
    if (!Take(rest, divider, piece)) return false;
    number = NumberAtStart(piece);
    return true;
}

// The first word, empty if there is none.
std::string_view Word(std::string_view text) noexcept {
    std::size_t const start = text.find_first_not_of(white_space);
    if (start == npos) return {};
    text.remove_prefix(start);
    return text.substr(0, text.find_first_of(white_space));
}

}  // namespace

int ConvertDateTimeFormat(char const* text, COleDateTime& out) {
    std::string_view rest = platform::ViewOf(text);
    std::string_view piece;
    Take(rest, ',', piece);
    if (!Take(rest, ' ', piece)) return 0;

    int day, year, hour, minute, second;
    if (!TakeNumber(rest, ' ', day) || !Take(rest, ' ', piece)) return 0;
    int const month = MonthNumber(piece);
    if (month == 0 || !TakeNumber(rest, ' ', year)) return 0;
    if (!TakeNumber(rest, ':', hour) || !TakeNumber(rest, ':', minute)) return 0;
    // Without a blank behind the seconds there is no zone.
    if (!TakeNumber(rest, ' ', second)) return 0;
    std::string_view const zone = Word(rest);
    if (zone.empty()) return 0;

    COleDateTime const stated(year, month, day, hour, minute, second);
    if (stated.GetStatus() != COleDateTime::valid) return 0;
    long const shift = -(platform::StandardTimezone() / seconds_per_minute) - ZoneMinutes(zone);
    COleDateTime const local = stated + COleDateTimeSpan::FromSeconds(shift * seconds_per_minute);
    if (local.GetStatus() != COleDateTime::valid) return 0;
    out = local;
    return 1;
}
