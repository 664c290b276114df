#pragma once

#include <cstdio>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "tessaly/storage/substitution.h"

// Reads records by plain stdio, byte by byte and without regard to speed: RecordReader must give the same for
// any bytes.
namespace test {

struct Record {
    int result = 0;  // the number of fields, 0 or -1
    std::vector<std::string> fields;
    friend bool operator==(Record const&, Record const&) = default;
};

// A stream over bytes in memory, which must stay.
inline std::FILE* OpenBytes(std::string const& bytes) {
    return fmemopen(const_cast<char*>(bytes.data()), bytes.size(), "rb");
}

inline std::string Undoubled(std::string_view field) {
    std::string out;
    for (std::size_t i = 0; i < field.size(); ++i) {
        out += field[i];
        if (field.substr(i, 2) == "\"\"") ++i;
    }
    return out;
}

inline Record Divide(std::string text) {
    text.resize(text.find_last_not_of("\r\n") + 1);
    if (text.empty()) return {};
    Record record;
    bool in_field = false;
    bool in_quotes = false;
    std::string field;  // still with its doubled quotes
    for (std::size_t i = 0; i <= text.size(); ++i) {
        char const c = i < text.size() ? text[i] : ',';
        char const next = i + 1 < text.size() ? text[i + 1] : '\0';
        if (i == text.size() || (c == ',' && !in_quotes)) {
            record.fields.push_back(Undoubled(field));
            field.clear();
            in_field = false;
        } else if (c == '"' && !in_field) {
            in_field = in_quotes = true;
        } else if (c == '"' && next == '"') {
            field += "\"\"";
            ++i;
        } else if (c == '"' && next == ',') {
            in_field = in_quotes = false;
        } else if (c == '"' && next != '\0') {
            return {};
        } else if (c != '"') {
            in_field = true;
            field += c;
        }
    }
    record.result = static_cast<int>(record.fields.size());
    return record;
}

class RecordModel {
  public:
    // `table` decodes; null for plain bytes.
    RecordModel(std::string const& bytes, unsigned char const* table)
        : stream_(OpenBytes(bytes)), table_(table) {}
    ~RecordModel() {
        if (stream_) std::fclose(stream_);
    }
    RecordModel(RecordModel const&) = delete;
    RecordModel& operator=(RecordModel const&) = delete;

    Record Read() {
        std::string text;
        do {
            std::string line;
            if (!PhysicalLine(line)) return {-1, {}};
            for (char& c : line)
                if (table_) c = static_cast<char>(CharDecode(static_cast<unsigned char>(c), table_));
            text += line;
        } while (HasOpenQuote(text));
        return Divide(text);
    }
    bool AtEnd() const { return std::feof(stream_) != 0; }

  private:
    bool PhysicalLine(std::string& line) {
        char buffer[1024];
        for (;;) {
            if (!std::fgets(buffer, sizeof buffer, stream_)) return false;
            line += buffer;
            std::size_t const size = std::strlen(buffer);
            if (size == 0 || buffer[size - 1] == '\n') return true;
        }
    }
    static bool HasOpenQuote(std::string const& text) {
        bool open = false;
        for (std::size_t i = 0; i < text.size(); ++i) {
            if (text[i] != '"') continue;
            if (i + 1 < text.size() && text[i + 1] == '"')
                ++i;
            else
                open = !open;
        }
        return open;
    }

    std::FILE* stream_;
    unsigned char const* table_;
};

}  // namespace test
