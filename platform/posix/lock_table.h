#pragma once

#include <pthread.h>

#include <cstdint>
#include <string>
#include <string_view>

// The named locks of a user: a table in shared memory that every process of the user maps. A name gets a slot
// at its first use and keeps it until the machine restarts, so that looking a name up needs no lock and a
// lock never disappears under a process. A user has some thousand names (one for each kind of table, one for
// each file of a mail); when the slots are used up, new names share a few locks, which costs waiting but
// stays correct. The global locks, which are held while a file's lock is taken, have slots of their own from
// the start: if one shared its lock with a file's name, two processes could wait for each other.
//
// Slots are made one at a time under a lock on the table's file, which the system releases when a process
// dies. A slot is valid only with its last step, the mark: one that a process left half made is made again.
namespace platform::posix {

class LockTable {
  public:
    // Opens the table of that name (shm_open), making it if need be. A file of that name that another user
    // owns or may write is not used, nor one with a second name.
    explicit LockTable(std::string const& name);
    // The memory stays mapped: a lock may be held.
    ~LockTable() = default;
    bool IsOpen() const noexcept { return table_ != nullptr; }
    // The lock of that name, one for all processes; recursive, and robust against the death of its owner.
    // Null when it cannot be made.
    pthread_mutex_t* Find(std::string_view name) const;

  private:
    struct Slot;
    struct Table;
    Slot* Probe(std::string_view key, std::uint32_t hash) const noexcept;
    pthread_mutex_t* Make(std::string_view key, std::uint32_t hash) const noexcept;
    pthread_mutex_t* Known(std::string_view key, std::uint32_t hash) const noexcept;

    std::string name_;
    Table* table_ = nullptr;
};

// The table of the user that this process runs as.
LockTable& OwnLockTable();
// Uses another table instead, so that tests do not fill the user's. Locks that are made later are in it.
void UseLockTable(std::string const& name);

// A recursive lock that survives the death of its owner; result: whether it was made.
bool MakeLock(pthread_mutex_t& lock, bool for_all_processes) noexcept;

}  // namespace platform::posix
