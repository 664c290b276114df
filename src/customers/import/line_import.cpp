#include "customers/import/line_import.h"

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
        const std::string_view field = fields.At(assignment.column);
        if (!run_.Row().Take(assignment.element, assignment.rule, field)) return false;
        if (assignment.rule == FieldRule::address) run_.TakeAddress(field);
    }
    return true;
}

bool LineImport::HasDirectMail() const {
    const std::string_view value = run_.Row().Value(element_direct_mail);
    return value == yes_text || value == no_text;
}

}  // namespace customers
