#pragma once

#include <vector>

#include "import/import_run.h"
#include "import/line_fields.h"
#include "tessaly/customers/field_rules.h"
#include "tessaly/platform/containers.h"

namespace customers {

// The lines of a plain import, one after another: which column feeds which element, and the result for the
// customer.
class LineImport {
  public:
    enum class Outcome {
        imported,
        kept,     // a known customer, left unchanged
        refused,  // nothing was stored
        failed,   // the customer could not be stored; the table holds the error
    };

    // columns[i] feeds element i; negative: none. `info` describes all 56 elements.
    LineImport(ImportRun& run, CArray<int, int> const& columns,
               CArray<DB_Element_Info, DB_Element_Info> const& info, bool keep_known);
    Outcome Take(LineFields& fields);
    // For a line that Take has just refused: appends every field that its element's rule refuses, the address
    // first, the others by element. A bad direct mail field counts unless the customer is known.
    void FindRefused(LineFields& fields, int line, CArray<RefusedField>& refused);

  private:
    struct Assignment {
        int element;
        int column;
        FieldRule rule;
    };
    bool TakeFields(LineFields& fields);
    bool HasDirectMail() const;
    std::string_view Address(LineFields& fields) const;
    bool IsKnown(std::string_view address);

    ImportRun& run_;
    bool keep_known_;
    std::vector<Assignment> assignments_;  // by element, ascending: a later one overrides
};

}  // namespace customers
