#include "import/outlook_records.h"

#include <algorithm>

namespace customers {

bool OutLookRecords::Next(std::vector<std::string>& fields) {
    fields.clear();
    buffer_.clear();
    searched_ = 0;
    while (!pieces_.AtEnd()) {
        pieces_.AddPhysicalLine(buffer_);
        if (!buffer_.empty() && TakeFields(fields)) return true;
    }
    return buffer_.empty();
}

bool OutLookRecords::TakeFields(std::vector<std::string>& fields) {
    std::size_t at = 0;
    while (at < buffer_.size()) {
        std::size_t end;
        if (buffer_[at] == '"') {
            end = std::max(at + 1, searched_);
            auto const closes = [&] { return end + 1 == buffer_.size() || buffer_[end + 1] == ','; };
            while ((end = buffer_.find('"', end)) != buffer_.npos && !closes()) ++end;
            if (end == buffer_.npos) {
                buffer_.erase(0, at);
                searched_ = buffer_.size();
                return false;
            }
            fields.push_back(buffer_.substr(at + 1, end - at - 1));
            ++end;
        } else {
            end = std::min(buffer_.find(',', at), buffer_.size());
            fields.push_back(buffer_.substr(at, end - at));
        }
        searched_ = 0;
        at = end + 1;
        if (end + 1 == buffer_.size()) fields.emplace_back();  // behind a comma that is the last byte
    }
    return true;
}

}  // namespace customers
