#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "engine/customers/elements.h"
#include "engine/environment/session.h"

// Conditions on customers, as written and shown.
namespace engine {

// The syntax, for the help.
extern char const* const condition_help;

// "TITLE=V1,V2", "TITLE!=V", "TITLE:LOW..HIGH" or "TITLE!:LOW..HIGH". A value that holds a comma or begins
// with a quote stands in quotes, its own quotes doubled; an empty one means a column without a value. An
// empty bound leaves that end open. Dates may lack their last parts. Throws Failure.
OneExtractCondition ReadCondition(Elements const& elements, std::string_view text);

// A condition as given, and whether it starts another tab.
struct StatedCondition {
    std::string text;
    bool starts_tab;
};
// Puts the conditions into the slots of a set, all of which are empty. Throws Failure.
void FillConditions(Elements const& elements, std::vector<StatedCondition> const& conditions,
                    ExtractAction& set);

bool HasConditions(ExtractAction& set);
// A line for each tab in use, in which all conditions of the tab stand.
std::vector<std::string> DescribeConditions(Elements const& elements, ExtractAction& set);
std::string DescribeInOneLine(Elements const& elements, ExtractAction& set);

}  // namespace engine
