#include "import/line_import.h"

#include <algorithm>

namespace customers {

LineImport::LineImport(ImportRun& run, CArray<int, int> const& columns,
                       CArray<DB_Element_Info, DB_Element_Info> const& info, bool keep_known)
    : run_(run), keep_known_(keep_known) {
    int const count = std::min<int>(columns.GetSize(), element_count);
    for (int element = 0; element < count; ++element)
        if (columns[element] >= 0)
            assignments_.push_back({element, columns[element], RuleOf(element, info[element].Type)});
}

LineImport::Outcome LineImport::Take(LineFields& fields) {
    run_.StartLine();
    if (!TakeFields(fields) || run_.Row().Value(element_address).empty()) return Outcome::refused;
    run_.FindCustomer();
    if (run_.IsKnown()) {
        if (keep_known_) return Outcome::kept;
        if (!HasDirectMail()) run_.Row().Withdraw(element_direct_mail);
    } else if (run_.Row().Value(element_direct_mail) == bad_direct_mail) {
        return Outcome::refused;
    } else if (!HasDirectMail()) {
        run_.Row().Assign(element_direct_mail, yes_text);
    }
    return run_.Store() == CDatabaseEdit::ok ? Outcome::imported : Outcome::failed;
}

bool LineImport::TakeFields(LineFields& fields) {
    for (Assignment const& assignment : assignments_) {
        if (assignment.column >= fields.Count()) continue;
        std::string_view const field = fields.At(assignment.column);
        if (!run_.Row().Take(assignment.element, assignment.rule, field)) return false;
        if (assignment.rule == FieldRule::address) run_.TakeAddress(field);
    }
    return true;
}

// Checks every rule again, so that good lines do not pay for the reasons of the refused ones.
void LineImport::FindRefused(LineFields& fields, int line, CArray<RefusedField>& refused) {
    char converted[text::date_data_size];
    std::string_view value;
    std::string_view const address = Address(fields);
    bool const has_address = TakeField(FieldRule::address, address, converted, value);
    if (!has_address) refused.Add({line, element_address, FieldRule::address, CString(address)});
    for (auto const [element, column, rule] : assignments_) {
        if (rule == FieldRule::address || column >= fields.Count()) continue;
        std::string_view const field = fields.At(column);
        bool accepted = TakeField(rule, field, converted, value);
        if (rule == FieldRule::direct_mail && value == bad_direct_mail)
            accepted = has_address && IsKnown(address);
        if (!accepted) refused.Add({line, element, rule, CString(field)});
    }
}

std::string_view LineImport::Address(LineFields& fields) const {
    for (auto const [element, column, rule] : assignments_)
        if (rule == FieldRule::address && column < fields.Count()) return fields.At(column);
    return {};
}

bool LineImport::IsKnown(std::string_view address) {
    run_.StartLine();
    run_.TakeAddress(address);
    run_.FindCustomer();
    return run_.IsKnown();
}

bool LineImport::HasDirectMail() const {
    std::string_view const value = run_.Row().Value(element_direct_mail);
    return value == yes_text || value == no_text;
}

}  // namespace customers
