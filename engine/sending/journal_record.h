#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "engine/base/sha256.h"
#include "engine/mails/states.h"
#include "tessaly/storage.h"

// The records of a journal and their form in the file (docs/file-formats.md). A file begins with a mark and a
// number of its own; each record stands at a multiple of 8 bytes, with its size and a checksum that covers
// the number, the place and the content. So a record can be found behind a hole, and what an older file left
// in the same blocks of the disk is none.
namespace engine {

// Where a run writes: records of a run that was killed are all there as long as this is the same, since the
// system brings to the disk what a process had written. After a power cut or a reset it is not.
struct RunPlace {
    std::string boot;  // the boot ID of the kernel; empty: not known
    std::uint64_t device = 0, mount = 0;

    bool IsSame(RunPlace const& other) const {
        return !boot.empty() && boot == other.boot && device == other.device && mount == other.mount;
    }
};
// Of a file or folder, at present.
RunPlace PlaceOf(std::string const& path);

struct JournalRecord {
    // The values stand in files.
    enum class Kind : std::uint32_t {
        run = 1,  // the records behind it are of one run; or they are kept: the history file has them already
        group,    // behind it, intents
        intent,   // a mail may be sent from the moment at which this record is durable
        start,    // the mail is sent now
        outcome,  // a reply came, or it is known that there will be none
        none,     // the mail was not sent: the recipient is as before
    };

    Kind kind = Kind::start;
    int customer = 0;                   // all but run and group
    int number = 0;                     // intent, outcome: the retry number of the attempt
    CString message_id{};               // intent
    CString time{};                     // run, intent, outcome: "2026/11/23 10:00:00"
    Outcome outcome = Outcome::failed;  // outcome
    CString state{};                    // outcome: of the row behind the attempt
    int code = 0;                       // outcome: of the reply; 0: none
    std::string enhanced{};             // outcome: "5.1.1"; empty: none
    std::string text{};                 // outcome: on one line, at most largest_text bytes
    std::uint64_t durable = 0;          // group: so many bytes of the file were durable before it
    bool kept = false;                  // run
    RunPlace place{};                   // run
};

class JournalForm {
  public:
    static constexpr std::string_view mark = "\x8DTSLJ\r\n\x1A";
    static constexpr std::size_t number_size = 8, head_size = 16;
    static constexpr std::size_t alignment = 8;
    static constexpr std::size_t largest_text = 500, largest_record = 4096;
    // A file that is whole ends with so many zeros, which no record holds in a row: one that does not was
    // cut.
    static constexpr std::size_t end_size = 16;

    explicit JournalForm(std::string_view number) : number_(number) {}
    // Adds the record, to stand at `place` in the file, and its padding.
    void Append(JournalRecord const& record, std::uint64_t place, std::string& bytes);
    // The record at `place` of a whole file; none where no valid one stands. `size` receives what it takes.
    std::optional<JournalRecord> Read(std::string_view file, std::size_t place, std::size_t& size);

  private:
    std::string Checksum(std::uint64_t place, std::string_view content);

    std::string number_;
    Sha256 digest_;
};

}  // namespace engine
