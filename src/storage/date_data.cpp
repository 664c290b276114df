#include "storage/date_data.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>

namespace {

enum Part : int { year, month, day, hour, minute, second };

constexpr int february = 2;
// What ends a part; the last one is ended by the end of the text alone.
constexpr char part_ends[date_data_parts] = {'/', '/', ' ', ':', ':', 0};
constexpr int lowest[date_data_parts] = {1900, 1, 1, 0, 0, 0};
constexpr int highest[date_data_parts] = {9999, 12, 31, 23, 59, 59};

int DaysIn(int of_year, int of_month) {
    constexpr int days[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    bool const leap = of_year % 4 == 0 && (of_year % 100 != 0 || of_year % 400 == 0);
    return days[of_month - 1] + (leap && of_month == february ? 1 : 0);
}

// Takes the text up to `end` away from `rest`, and `end` with it.
std::string_view TakePiece(std::string_view& rest, char end) {
    const std::size_t size = end ? std::min(rest.find(end), rest.size()) : rest.size();
    const std::string_view piece = rest.substr(0, size);
    rest.remove_prefix(std::min(size + 1, rest.size()));
    return piece;
}

}  // namespace

int ReFormat_DateData(char const* text, char* out, int upper) {
    bool const to_upper = upper == 1;
    int values[date_data_parts];
    std::copy_n(to_upper ? highest : lowest, date_data_parts, values);
    std::string_view rest = text ? text : "";
    int parts = 0;
    for (; parts < date_data_parts; ++parts) {
        const std::string_view piece = TakePiece(rest, part_ends[parts]);
        long const value = std::strtol(std::string(piece).c_str(), nullptr, 10);
        int const limit = parts == day ? DaysIn(values[year], values[month]) : highest[parts];
        if (piece.empty() || value < lowest[parts] || value > limit) break;
        values[parts] = static_cast<int>(value);
        if (parts == month && to_upper) values[day] = DaysIn(values[year], values[month]);
    }
    if (out)
        std::snprintf(out, date_data_size, "%4d/%02d/%02d %02d:%02d:%02d", values[year], values[month],
                      values[day], values[hour], values[minute], values[second]);
    return parts;
}
