#include "engine/sending/journal_record.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>

#include <algorithm>
#include <array>
#include <fstream>
#include <stdexcept>

namespace engine {
namespace {

constexpr std::size_t checksum_size = 8, number_bytes = 4, record_head = 16;

// The letters of outcomes in files, by their enumeration.
constexpr std::string_view outcome_letters = "SRFU";

std::size_t Padded(std::size_t size) {
    return (size + JournalForm::alignment - 1) / JournalForm::alignment * JournalForm::alignment;
}

// UTF-8, no longer than `limit` bytes, cut between characters.
std::string_view Shortened(std::string_view text, std::size_t limit) {
    if (text.size() <= limit) return text;
    while (limit > 0 && (static_cast<unsigned char>(text[limit]) & 0xC0) == 0x80) --limit;
    return text.substr(0, limit);
}

// Numbers are little-endian; a text is its length in 2 bytes and its bytes.
class Writer {
  public:
    explicit Writer(std::string& bytes) : bytes_(bytes) {}
    void operator()(int number) { Number(static_cast<std::uint32_t>(number), number_bytes); }
    void operator()(std::uint64_t number) { Number(number, sizeof number); }
    void operator()(bool yes) { Number(yes ? 1 : 0, 1); }
    void operator()(std::string const& text) { Text(Shortened(text, JournalForm::largest_text)); }
    void operator()(CString const& text) { Text(text.View()); }
    void operator()(Outcome outcome) { bytes_ += outcome_letters[static_cast<std::size_t>(outcome)]; }

    void Number(std::uint64_t number, std::size_t size) {
        for (; size > 0; --size, number >>= 8) bytes_ += static_cast<char>(number & 0xFF);
    }

  private:
    void Text(std::string_view text) {
        Number(text.size(), 2);
        bytes_ += text;
    }
    std::string& bytes_;
};

class Reader {
  public:
    explicit Reader(std::string_view bytes) : bytes_(bytes) {}
    void operator()(int& number) {
        number = static_cast<int>(static_cast<std::uint32_t>(Number(number_bytes)));
    }
    void operator()(std::uint64_t& number) { number = Number(sizeof number); }
    void operator()(bool& yes) { yes = Number(1) != 0; }
    void operator()(std::string& text) { text = Take(Number(2)); }
    void operator()(CString& text) { text = CString(Take(Number(2))); }
    void operator()(Outcome& outcome) {
        std::size_t const found = outcome_letters.find(static_cast<char>(Number(1)));
        works_ = works_ && found != outcome_letters.npos;
        if (works_) outcome = static_cast<Outcome>(found);
    }

    // 0 behind the end.
    std::uint64_t Number(std::size_t size) {
        std::string_view const bytes = Take(size);
        std::uint64_t number = 0;
        for (std::size_t i = bytes.size(); i > 0; --i)
            number = number << 8 | static_cast<unsigned char>(bytes[i - 1]);
        return number;
    }
    bool TookAll() const { return works_ && bytes_.empty(); }

  private:
    std::string_view Take(std::uint64_t size) {
        works_ = works_ && size <= bytes_.size();
        if (!works_) return {};
        std::string_view const taken = bytes_.substr(0, size);
        bytes_.remove_prefix(size);
        return taken;
    }
    std::string_view bytes_;
    bool works_ = true;
};

// The fields of a record in their order; false for a kind that this version does not know.
template <class Record, class Each>
bool ForFields(Record& record, Each& each) {
    using Kind = JournalRecord::Kind;
    switch (record.kind) {
        case Kind::run:
            each(record.kept), each(record.time), each(record.place.device), each(record.place.boot);
            each(record.place.mount);
            return true;
        case Kind::group: each(record.durable); return true;
        case Kind::intent:
            each(record.customer), each(record.number), each(record.time), each(record.message_id);
            return true;
        case Kind::start:
        case Kind::none: each(record.customer); return true;
        case Kind::outcome:
            each(record.customer), each(record.number), each(record.outcome), each(record.state);
            each(record.code), each(record.time), each(record.enhanced), each(record.text);
            return true;
    }
    return false;
}

}  // namespace

RunPlace PlaceOf(std::string const& path) {
    constexpr unsigned unique_mount = 0x4000;  // STATX_MNT_ID_UNIQUE: an ID that is never used again
    RunPlace place;
    std::getline(std::ifstream("/proc/sys/kernel/random/boot_id"), place.boot);
    struct statx status {};
    if (statx(AT_FDCWD, path.c_str(), 0, STATX_MNT_ID | unique_mount, &status) != 0) return {};
    place.device = makedev(status.stx_dev_major, status.stx_dev_minor);
    place.mount = status.stx_mnt_id;
    return place;
}

std::string JournalForm::Checksum(std::uint64_t place, std::string_view content) {
    std::string where;
    Writer{where}(place);
    digest_.Add(number_);
    digest_.Add(where);
    digest_.Add(content);
    auto const digest = digest_.Bytes();
    return {reinterpret_cast<char const*>(digest.data()), checksum_size};
}

void JournalForm::Append(JournalRecord const& record, std::uint64_t place, std::string& bytes) {
    std::string content(number_bytes, '\0');
    Writer write(content);
    write(static_cast<int>(record.kind));
    ForFields(record, write);
    std::string size;
    Writer{size}(static_cast<int>(content.size() + checksum_size));
    content.replace(0, number_bytes, size);
    bytes += Checksum(place, content);
    bytes += content;
    std::size_t const whole = content.size() + checksum_size;
    if (whole > largest_record) throw std::length_error("a record of the journal is too long");
    bytes.append(Padded(whole) - whole, '\0');
}

std::optional<JournalRecord> JournalForm::Read(std::string_view file, std::size_t place, std::size_t& size) {
    if (file.size() < place + record_head) return {};
    Reader head(file.substr(place + checksum_size, record_head - checksum_size));
    std::uint64_t const whole = head.Number(number_bytes);
    if (whole < record_head || whole > largest_record || whole > file.size() - place) return {};
    std::string_view const content = file.substr(place + checksum_size, whole - checksum_size);
    if (Checksum(place, content) != file.substr(place, checksum_size)) return {};
    JournalRecord record;
    record.kind = static_cast<JournalRecord::Kind>(head.Number(number_bytes));
    Reader read(content.substr(record_head - checksum_size));
    if (!ForFields(record, read) || !read.TookAll()) return {};
    size = std::min(Padded(whole), file.size() - place);
    return record;
}

}  // namespace engine
