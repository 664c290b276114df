#include "extract/extract_tests.h"

#include <cstdlib>

#include "tessaly/platform/mbcs.h"
#include "tessaly/text/date_data.h"

namespace customers {

namespace {

constexpr std::string_view positive = "Y";
constexpr std::string_view negated = "N";
constexpr int to_start = 0;
constexpr int to_end = 1;

template <class Holds>
int CheckEqual(std::string_view data, std::string_view value, std::string_view flag, Holds const& holds) {
    if (data.empty() && value.empty()) return flag == positive ? passes : fails;
    if (data.empty() || value.empty()) return flag == positive ? fails : passes;
    return flag == (holds() ? positive : negated) ? passes : fails;
}

// `compare` gives the order of the data and a bound: below, equal to or above 0.
template <class Compare>
int CheckRange(std::string_view data, std::string_view low, std::string_view high, std::string_view flag,
               Compare const& compare) {
    if (data.empty()) return fails;
    bool const outside = (!low.empty() && compare(low) < 0) || (!high.empty() && compare(high) > 0);
    return flag == (outside ? negated : positive) ? passes : fails;
}

// A date as its full text; texts of dates, all of one length, have the order of the dates.
class FullDate {
  public:
    explicit FullDate(std::string_view data, int way = to_start) { text::ReFormatDate(data, text_, way); }
    std::string_view View() const noexcept { return {text_, text::date_data_size - 1}; }

  private:
    char text_[text::date_data_size];
};

CString Bound(CString const& bound, int way) {
    return bound.IsEmpty() ? bound : CString(FullDate(bound.View(), way).View());
}

}  // namespace

int Check_Equal_String(std::string_view data, std::string_view value, std::string_view flag) {
    return CheckEqual(data, value, flag, [&] { return platform::Find(data, value) != data.npos; });
}

int Check_Equal_Number(std::string_view data, std::string_view value, std::string_view flag) {
    return CheckEqual(data, value, flag, [&] { return std::atoi(data.data()) == std::atoi(value.data()); });
}

int Check_Equal_Date(std::string_view data, std::string_view value, std::string_view flag) {
    return CheckEqual(data, value, flag, [&] { return FullDate(data).View().find(value) != data.npos; });
}

int Check_Renge_String(std::string_view data, std::string_view low, std::string_view high,
                       std::string_view flag) {
    return CheckRange(data, low, high, flag,
                      [&](std::string_view bound) { return platform::mbscmp(data.data(), bound.data()); });
}

int Check_Renge_Number(std::string_view data, std::string_view low, std::string_view high,
                       std::string_view flag) {
    int const number = std::atoi(data.data());
    return CheckRange(data, low, high, flag, [&](std::string_view bound) {
        int const limit = std::atoi(bound.data());
        return number < limit ? -1 : number > limit;
    });
}

int Check_Renge_Date(std::string_view data, std::string_view low, std::string_view high,
                     std::string_view flag) {
    if (data.empty()) return fails;
    FullDate const date(data);
    return CheckRange(data, low, high, flag,
                      [&](std::string_view bound) { return date.View().compare(bound); });
}

CString LowerDate(CString const& bound) { return Bound(bound, to_start); }

CString UpperDate(CString const& bound) { return Bound(bound, to_end); }

}  // namespace customers
