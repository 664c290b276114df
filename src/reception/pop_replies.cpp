#include "reception/pop_replies.h"

#include <algorithm>
#include <cstdlib>

#include "protocol/pop_listing.h"

namespace reception {

namespace {

constexpr std::string_view line_end = "\r\n";
constexpr int no_row = -1;

CStringArray FieldsOf(CString line) {
    CStringArray fields;
    MailPop::StripCrLf(line);
    MailPop::GetResponseStatus(line, &fields);
    return fields;
}

}  // namespace

CString TimeStampOf(std::string_view greeting) {
    const std::size_t open = greeting.find('<');
    const std::size_t close = open == greeting.npos ? open : greeting.find('>', open);
    if (close == greeting.npos) return {};
    const std::string_view stamp = greeting.substr(open, close - open + 1);
    return std::count(stamp.begin(), stamp.end(), '@') == 1 ? CString(stamp) : CString();
}

ListStep TakeSizeLine(CString const& line, PopList& list) {
    if (line.View() == closing_line) return ListStep::end;
    if (line.View() == line_end) return ListStep::more;
    const CStringArray fields = FieldsOf(line);
    list.Add({std::atoi(fields.GetAt(0)), std::atoi(fields.GetAt(1)), CString()});
    return ListStep::more;
}

ListStep UniqueIdReader::Take(CString const& line) {
    if (line.View() == closing_line) return ListStep::end;
    if (line.View() == line_end) return ListStep::more;
    const CStringArray fields = FieldsOf(line);
    if (fields.GetAt(1).View().size() > protocol::PopListing::longest_unique_id)
        return ListStep::bad_unique_id;
    if (int const row = RowOf(std::atol(fields.GetAt(0)), lines_++); row != no_row)
        list_[row].Uidl = fields.GetAt(1);
    return ListStep::more;
}

int UniqueIdReader::RowOf(long number, int place) {
    if (place < list_.GetSize() && list_[place].Number == number) return place;
    if (first_rows_.empty())
        for (int row = 0; row < list_.GetSize(); ++row) first_rows_.try_emplace(list_[row].Number, row);
    auto const found = first_rows_.find(number);
    return found == first_rows_.end() ? no_row : found->second;
}

}  // namespace reception
