#include "platform/posix/lock_table.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "platform/posix/descriptor.h"

namespace platform::posix {
namespace {

// Part of the table's name: a process with another layout uses another table.
constexpr int layout_version = 1;
constexpr std::size_t longest_key = 260;
constexpr std::size_t own_slots = 2048;
constexpr std::uint32_t most_own = own_slots / 4 * 3;  // beyond that, looking for a name takes long
constexpr std::size_t shared_slots = 64;
constexpr std::string_view global_lock_names[] = {"DATABASE_EDIT_MUTEX", "MAIL_LIST_VIEWER_MUTEX",
                                                  "HISTORY_LIST_VIEWER_MUTEX"};

std::uint64_t HashOf(std::string_view text) noexcept {  // FNV-1a
    std::uint64_t hash = 0xCBF29CE484222325;
    for (char const c : text) hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001B3;
    return hash;
}

// The name itself; for a very long one its start and a digest of all of it.
std::string KeyOf(std::string_view name) {
    if (name.size() <= longest_key) return std::string(name);
    char digest[20];
    std::snprintf(digest, sizeof digest, "#%016llx", static_cast<unsigned long long>(HashOf(name)));
    return std::string(name.substr(0, longest_key - 17)) + digest;
}

// Holds the table's file locked. It is opened each time, since a lock on a descriptor that a fork shares is
// one lock for both processes.
class TableFile {
  public:
    explicit TableFile(std::string const& name) : file_(shm_open(name.c_str(), O_RDWR | O_CREAT, 0600)) {
        struct stat status {};
        bool const ours = file_ && fstat(file_.Get(), &status) == 0 && S_ISREG(status.st_mode) &&
                          status.st_uid == geteuid() && (status.st_mode & 077) == 0 && status.st_nlink == 1;
        if (!ours || !Lock()) file_.Close();
    }
    ~TableFile() {
        if (file_) flock(file_.Get(), LOCK_UN);  // a child of a fork may still hold it open
    }
    explicit operator bool() const noexcept { return static_cast<bool>(file_); }
    int Get() const noexcept { return file_.Get(); }

  private:
    bool Lock() const noexcept {
        int failed;
        do failed = flock(file_.Get(), LOCK_EX);
        while (failed && errno == EINTR);
        return !failed;
    }
    Descriptor file_;
};

// The memory is reserved at once: a page that cannot be had later would end the process.
bool SetSize(int file, std::size_t size) noexcept {
    struct stat status {};
    if (fstat(file, &status) != 0) return false;
    if (status.st_size == static_cast<off_t>(size)) return true;
    int error;
    do error = posix_fallocate(file, 0, static_cast<off_t>(size));
    while (error == EINTR);
    return error == 0;
}

// The user's own table, unless the first call names another one.
LockTable& TableInUse(char const* first_name) {
    static auto& table = *new LockTable(first_name ? first_name
                                                   : "/tessaly-locks-" + std::to_string(geteuid()) + '-' +
                                                         std::to_string(layout_version));
    return table;
}

}  // namespace

struct LockTable::Slot {
    std::atomic<std::uint32_t> made;
    std::uint32_t key_size;
    char key[longest_key];
    pthread_mutex_t lock;
};

// A table of zeros has not been started by any process.
struct LockTable::Table {
    std::atomic<std::uint32_t> made;
    std::atomic<std::uint32_t> used;
    Slot own[own_slots];
    Slot shared[shared_slots];
};

bool MakeLock(pthread_mutex_t& lock, bool for_all_processes) noexcept {
    pthread_mutexattr_t kind;
    if (pthread_mutexattr_init(&kind) != 0) return false;
    pthread_mutexattr_settype(&kind, PTHREAD_MUTEX_RECURSIVE);
    pthread_mutexattr_setrobust(&kind, PTHREAD_MUTEX_ROBUST);
    pthread_mutexattr_setpshared(&kind, for_all_processes ? PTHREAD_PROCESS_SHARED : PTHREAD_PROCESS_PRIVATE);
    bool const made = pthread_mutex_init(&lock, &kind) == 0;
    pthread_mutexattr_destroy(&kind);
    return made;
}

LockTable::LockTable(std::string const& table_name) : name_(table_name) {
    TableFile const file(name_);
    if (!file || !SetSize(file.Get(), sizeof(Table))) return;
    void* place = mmap(nullptr, sizeof(Table), PROT_READ | PROT_WRITE, MAP_SHARED, file.Get(), 0);
    if (place == MAP_FAILED) return;
    auto* table = static_cast<Table*>(place);
    if (!table->made.load(std::memory_order_acquire)) {
        for (Slot& slot : table->shared)
            if (!MakeLock(slot.lock, true)) return;
        table->made.store(1, std::memory_order_release);
    }
    table_ = table;
    for (std::string_view const name : global_lock_names) {
        auto const hash = static_cast<std::uint32_t>(HashOf(name));
        Slot const* slot = Probe(name, hash);
        if (slot && !slot->made.load(std::memory_order_acquire)) Make(name, hash);
    }
}

// The slot of the key, or the one for a new key; null if the table has neither.
LockTable::Slot* LockTable::Probe(std::string_view key, std::uint32_t hash) const noexcept {
    for (std::size_t step = 0; step < own_slots; ++step) {
        Slot& slot = table_->own[(hash + step) % own_slots];
        if (!slot.made.load(std::memory_order_acquire)) return &slot;
        if (slot.key_size == key.size() && std::memcmp(slot.key, key.data(), key.size()) == 0) return &slot;
    }
    return nullptr;
}

pthread_mutex_t* LockTable::Known(std::string_view key, std::uint32_t hash) const noexcept {
    Slot* slot = Probe(key, hash);
    if (slot && slot->made.load(std::memory_order_acquire)) return &slot->lock;
    bool const full = table_->used.load(std::memory_order_acquire) >= most_own;
    return full ? &table_->shared[hash % shared_slots].lock : nullptr;
}

pthread_mutex_t* LockTable::Find(std::string_view name) const {
    if (!IsOpen()) return nullptr;
    std::string const key = KeyOf(name);
    auto const hash = static_cast<std::uint32_t>(HashOf(key));
    if (pthread_mutex_t* known = Known(key, hash)) return known;
    TableFile const guard(name_);
    if (!guard) return nullptr;
    if (pthread_mutex_t* known = Known(key, hash)) return known;
    return Make(key, hash);
}

// The caller holds the lock on the table's file.
pthread_mutex_t* LockTable::Make(std::string_view key, std::uint32_t hash) const noexcept {
    Slot* slot = Probe(key, hash);
    if (!slot || !MakeLock(slot->lock, true)) return nullptr;
    slot->key_size = static_cast<std::uint32_t>(key.size());
    std::memcpy(slot->key, key.data(), key.size());
    table_->used.fetch_add(1, std::memory_order_relaxed);
    slot->made.store(1, std::memory_order_release);
    return &slot->lock;
}

LockTable& OwnLockTable() { return TableInUse(nullptr); }

void UseLockTable(std::string const& name) { TableInUse(name.c_str()) = LockTable(name); }

}  // namespace platform::posix
