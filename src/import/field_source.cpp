#include "import/field_source.h"

#include <algorithm>

#include "platform/view_of.h"

namespace customers {

FieldSource::Got FieldSource::RefuseOpenQuote() {
    unreadable_ = "引用符が閉じられておらず、ここからファイルの終わりまでを読めない";
    return Got::line;
}

// If the rest of the file, which the reader leaves out, makes no record, the line is refused.
FieldSource::Got RecordSource::Next() {
    if (reader_.ReadLine() >= 0) return Got::line;
    std::string const& rest = reader_.Rest();
    bool const failed = reader_.HasFailed();
    if (!whole_file_ || unreadable_ || (rest.empty() && !failed)) return Got::end;
    bool const open = std::count(rest.begin(), rest.end(), '"') % 2 != 0;
    reader_.SetLine(rest.c_str());
    if (failed) unreadable_ = "ファイルをここから先は読めない";
    return open && !failed ? RefuseOpenQuote() : Got::line;
}

std::string_view RecordSource::At(int column) { return platform::ViewOf(reader_.GetData(column)); }

FieldSource::Got LineSource::Next() {
    if (pieces_.AtEnd()) return Got::end;
    pieces_.ReadCrLfLine(line_);
    if (line_.empty()) return Got::nothing;
    fields_.Divide(line_);
    return Got::line;
}

std::string_view LineSource::At(int column) {
    return column < fields_.Count() ? fields_.At(column) : std::string_view();
}

FieldSource::Got OutLookSource::Next() {
    if (pieces_.AtEnd()) return Got::end;
    if (!records_.Next(record_) && whole_file_) return RefuseOpenQuote();
    return record_.empty() ? Got::nothing : Got::line;
}

std::string_view OutLookSource::At(int column) {
    auto const place = static_cast<std::size_t>(column);
    return place < record_.size() ? std::string_view(record_[place]) : std::string_view();
}

}  // namespace customers
