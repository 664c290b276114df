#include "engine/base/csv_field.h"

namespace engine {

std::string CsvField(std::string const& text) {
    if (text.find_first_of("\",\r\n") == text.npos) return text;
    std::string result = "\"";
    for (char const c : text) result += c == '"' ? "\"\"" : std::string(1, c);
    return result + "\"";
}

}  // namespace engine
