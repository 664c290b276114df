#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "engine/environment/session.h"

// The columns of a customer: found by title or number, and the rules for their values.
namespace engine {

struct Element {
    int number;
    std::string title;  // UTF-8; empty: not for showing
    int type;           // 0 text, 1 number, 2 date
    customers::FieldRule rule;
};

class Elements {
  public:
    // Titles and types as the session's environment has them.
    explicit Elements(Session& session);
    Element const& At(int number) const { return all_[static_cast<std::size_t>(number)]; }
    // By title, or by "拡張属性A" to "拡張属性T". -1: there is none.
    int FindTitle(std::string_view title) const;
    // The same, or by number.
    int Find(std::string_view name) const;
    // As Find; throws Failure, with all titles in its sentence.
    int Named(std::string_view name) const;
    std::vector<int> NamedList(std::string_view names) const;  // divided by commas
    std::string Titles() const;

  private:
    std::vector<Element> all_;
};

// The reason for which a rule refuses a value; empty for a rule that refuses nothing.
std::string RefusalText(customers::FieldRule rule, bool is_empty);
// Whether the element's rule accepts a field, and what it makes of it, as TakeField; a flag that is neither Y
// nor N is refused.
bool TakeValue(Element const& element, std::string_view field, char (&converted)[text::date_data_size],
               std::string_view& value);
// Why the element's rule refuses a value; empty when it accepts it.
std::string RefusalOf(Element const& element, CString const& value);
// A valid value in the form that the import gives it, so that dates have the same form in all rows.
CString AsImported(Element const& element, CString const& value);
// "TITLE: REMARK: VALUE", without an empty value.
std::string WithValue(Element const& element, std::string const& remark, CString const& value);

// The member of a customer that an element stands for; null for those without one of type CString, and for
// the delete flag, which has commands of its own.
CString OneCustomer::*MemberOf(int element);

// Whether an element is shown: all but the spare columns and the delete flag.
bool IsForPeople(int element);

// "TITLE=VALUE", the value not judged; throws Failure when it is not of that form.
struct Assignment {
    int element;
    CString value;
};
Assignment ReadAssignment(Elements const& elements, std::string_view text);

}  // namespace engine
