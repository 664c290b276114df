#include "tessaly/text/date_data.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>

#include "platform/view_of.h"

namespace {

enum Part : int { year, month, day, hour, minute, second };

constexpr int february = 2;
// The character behind a part; the last part ends with the text.
constexpr char part_ends[text::date_data_parts] = {'/', '/', ' ', ':', ':', 0};
constexpr int lowest[text::date_data_parts] = {1900, 1, 1, 0, 0, 0};
constexpr int highest[text::date_data_parts] = {9999, 12, 31, 23, 59, 59};

int DaysIn(int of_year, int of_month) {
    constexpr int days[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    bool const leap = of_year % 4 == 0 && (of_year % 100 != 0 || of_year % 400 == 0);
    return days[of_month - 1] + (leap && of_month == february ? 1 : 0);
}

// Removes the text up to `end`, and `end`, from `rest`.
std::string_view TakePiece(std::string_view& rest, char end) {
    std::size_t const size = end ? std::min(rest.find(end), rest.size()) : rest.size();
    std::string_view const piece = rest.substr(0, size);
    rest.remove_prefix(std::min(size + 1, rest.size()));
    return piece;
}

constexpr std::string_view stored_form = "0000/00/00 00:00:00";
constexpr std::size_t BytesOf(int parts) noexcept {
    return static_cast<std::size_t>(text::bytes_of_date_parts[parts]);
}

bool TakeDigits(std::string_view text, std::size_t from, std::size_t to, int& number) {
    number = 0;
    for (; from < to; ++from) {
        if (text[from] < '0' || text[from] > '9') return false;
        number = 10 * number + (text[from] - '0');
    }
    return true;
}

// The number of parts of a date that is already in its stored form, with its day at least; 0 for any other.
// Nearly all dates are, and need not be divided and written again.
int PartsAsStored(std::string_view text) {
    int values[text::date_data_parts] = {};
    int parts = 0;
    while (parts < text::date_data_parts && BytesOf(parts) < text.size()) {
        std::size_t const from = parts == year ? 0 : BytesOf(parts) + 1, to = BytesOf(parts + 1);
        if (text.size() < to || (parts != year && text[from - 1] != stored_form[from - 1])) return 0;
        if (!TakeDigits(text, from, to, values[parts])) return 0;
        int const limit = parts == day ? DaysIn(values[year], values[month]) : highest[parts];
        if (values[parts] < lowest[parts] || values[parts] > limit) return 0;
        ++parts;
    }
    bool const whole = parts > day && text.size() == BytesOf(parts);
    return whole ? parts : 0;
}

}  // namespace

int ReFormat_DateData(char const* text, char* out, int upper) {
    return text::ReFormatDate(platform::ViewOf(text), out, upper);
}

int text::ReFormatDate(std::string_view text, char* out, int upper) {
    constexpr std::string_view start_of_day = "0000/00/00 00:00:00", end_of_day = "0000/00/00 23:59:59";
    bool const to_upper = upper == 1;
    if (int const stored = PartsAsStored(text)) {
        if (out) {
            std::string_view const rest = (to_upper ? end_of_day : start_of_day).substr(text.size());
            out[text.copy(out, text.size()) + rest.copy(out + text.size(), rest.size())] = '\0';
        }
        return stored;
    }
    int values[text::date_data_parts];
    std::copy_n(to_upper ? highest : lowest, text::date_data_parts, values);
    std::string_view rest = text;
    int parts = 0;
    for (; parts < text::date_data_parts; ++parts) {
        std::string_view const piece = TakePiece(rest, part_ends[parts]);
        long const value = std::strtol(std::string(piece).c_str(), nullptr, 10);
        int const limit = parts == day ? DaysIn(values[year], values[month]) : highest[parts];
        if (piece.empty() || value < lowest[parts] || value > limit) break;
        values[parts] = static_cast<int>(value);
        if (parts == month && to_upper) values[day] = DaysIn(values[year], values[month]);
    }
    if (out)
        std::snprintf(out, text::date_data_size, "%4d/%02d/%02d %02d:%02d:%02d", values[year], values[month],
                      values[day], values[hour], values[minute], values[second]);
    return parts;
}

std::string_view text::DateAsGiven(std::string_view text, char (&out)[text::date_data_size]) {
    int const parts = ReFormatDate(text, out, 0);
    return {out, parts > day ? BytesOf(parts) : 0};
}
