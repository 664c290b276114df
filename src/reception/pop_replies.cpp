#include "reception/pop_replies.h"

#include <cstdlib>

#include "protocol/pop_listing.h"

namespace reception {

namespace {

constexpr int no_row = -1;

CStringArray FieldsOf(std::string_view line) {
    CStringArray fields;
    CString text(line);
    MailPop::StripCrLf(text);
    MailPop::GetResponseStatus(text, &fields);
    return fields;
}

}  // namespace

void TakeSizeLine(std::string_view line, PopList& list) {
    if (line.empty()) return;
    CStringArray const fields = FieldsOf(line);
    list.Add({std::atoi(fields.GetAt(0)), std::atoi(fields.GetAt(1)), CString()});
}

bool UniqueIdReader::Take(std::string_view line) {
    if (line.empty()) return true;
    CStringArray const fields = FieldsOf(line);
    if (fields.GetAt(1).View().size() > protocol::PopListing::longest_unique_id) return false;
    if (int const row = RowOf(std::atol(fields.GetAt(0)), lines_++); row != no_row)
        list_[row].Uidl = fields.GetAt(1);
    return true;
}

int UniqueIdReader::RowOf(long number, int place) {
    if (place < list_.GetSize() && list_[place].Number == number) return place;
    if (first_rows_.empty())
        for (int row = 0; row < list_.GetSize(); ++row) first_rows_.try_emplace(list_[row].Number, row);
    auto const found = first_rows_.find(number);
    return found == first_rows_.end() ? no_row : found->second;
}

}  // namespace reception
