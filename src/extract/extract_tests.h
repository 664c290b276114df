#pragma once

#include <string_view>

#include "tessaly/platform/cstring.h"

// The tests of a condition on one value of a customer. 1: the value passes. All texts end with a NUL. `flag`
// is "Y" for the positive sense, "N" for the negated one.
namespace customers {

inline constexpr int passes = 1;
inline constexpr int fails = 0;

// With one of the two texts empty any sense but "Y" passes; with both empty, "Y". Else: `value` occurs in
// `data` (beginning at a whole character); both are the same number; `value` occurs in the full date text of
// `data`, so that part of a date matches all dates that contain it.
int Check_Equal_String(std::string_view data, std::string_view value, std::string_view flag);
int Check_Equal_Number(std::string_view data, std::string_view value, std::string_view flag);
int Check_Equal_Date(std::string_view data, std::string_view value, std::string_view flag);

// Whether `data` lies between two bounds, both included, an empty one being no bound; empty data never pass.
// Texts compare character by character. The bounds of a date are those of LowerDate and UpperDate.
int Check_Renge_String(std::string_view data, std::string_view low, std::string_view high,
                       std::string_view flag);
int Check_Renge_Number(std::string_view data, std::string_view low, std::string_view high,
                       std::string_view flag);
int Check_Renge_Date(std::string_view data, std::string_view low, std::string_view high,
                     std::string_view flag);

// The bound as a full date text: part of a date stands for the first second of that time, or for the last.
// Empty stays empty.
CString LowerDate(CString const& bound);
CString UpperDate(CString const& bound);

}  // namespace customers
