#pragma once

#include <cstdint>
#include <functional>
#include <mutex>
#include <span>
#include <string>
#include <vector>

#include "engine/sending/journal_record.h"

// A journal on disk, for writing and for reading.
namespace engine {

// Replaces the journal by one of these records, durably; without records removes it. Throws Failure
// (not_written), with the old journal in its place.
void ReplaceJournal(std::string const& path, std::vector<JournalRecord> const& records);

// The journal of a run, to which records are added. From any thread. Each operation throws Failure
// (not_written).
class JournalFile {
  public:
    // Replaces the journal by one that begins with these records, durably.
    JournalFile(std::string const& path, std::vector<JournalRecord> const& first);
    ~JournalFile();
    JournalFile(JournalFile const&) = delete;
    JournalFile& operator=(JournalFile const&) = delete;

    // When it returns, the records survive the process, though not a power cut.
    void Add(std::span<JournalRecord const> records);
    void Add(JournalRecord const& record) { Add({&record, 1}); }
    // Takes so many bytes of the disk for records to come: adding no more than them cannot fail for lack of
    // space. By one thread at a time.
    void Reserve(std::uint64_t bytes);
    // Brings all records to the disk that were added before. By one thread at a time.
    void Sync();
    // How much of the file the last Sync has brought there.
    std::uint64_t Durable() const { return durable_; }

  private:
    bool Extend(std::uint64_t size);
    void SyncFile() const;
    [[noreturn]] void Fail() const;

    std::string const path_, number_;
    int descriptor_ = -1;
    std::mutex lock_;
    JournalForm form_;
    std::uint64_t end_ = 0, size_ = 0;
    std::uint64_t durable_ = 0;
};

// The bytes of a journal as they were at one moment, also while a run adds to it.
class JournalContent {
  public:
    enum class Kind { none, lines, records };  // `lines`: the text of an earlier version

    // Throws Failure (damaged_file) for a file that cannot be read.
    explicit JournalContent(std::string const& path);
    Kind GetKind() const { return kind_; }
    std::string const& Bytes() const { return bytes_; }

    // Calls `take` for each valid record in its order.
    void ForEachRecord(std::function<void(JournalRecord const&)> const& take);
    // Behind that: whether anything but valid records was found. At the end of a run it is what a power cut
    // leaves of writes that had not reached the disk.
    bool IsIrregular() const { return irregular_; }
    // What was found is no such end: records were lost that had been durable, or the file was cut.
    bool IsDamaged() const { return damaged_; }

  private:
    std::string bytes_;
    Kind kind_ = Kind::none;
    bool irregular_ = false, damaged_ = false;
};

}  // namespace engine
