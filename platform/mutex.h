#pragma once

#include <memory>

// A lock. With a name it is one lock for all processes of this user; its owner (a thread) can take it again
// and must unlock it as often; it is released when its owner dies, however it dies. Without a name it belongs
// to this object alone. Taking a free lock costs no system call.
//
// The names are kept in shared memory of the user until the machine restarts; the first 1,536 have locks of
// their own, later ones share 64 locks. Where the system gives no shared memory, or another user has taken
// its name there, a name is one lock for this process only, and a message about that goes to standard error
// once. A lock whose owner died is taken like a free one: what it guards may be half done.
class CMutex {
  public:
    explicit CMutex(bool initially_own = false, char const* name = nullptr);
    ~CMutex();
    CMutex(CMutex const&) = delete;
    CMutex& operator=(CMutex const&) = delete;

    // Waits without limit. Always true.
    bool Lock();
    // Waits for at most `milliseconds`; false when the lock was not free in that time.
    bool Lock(unsigned milliseconds);
    // false when the calling thread does not hold it.
    bool Unlock();

  private:
    struct State;
    std::shared_ptr<State> state_;
};

// Holds a lock for a scope.
class CSingleLock {
  public:
    explicit CSingleLock(CMutex* mutex, bool lock_now = true) : mutex_(mutex) {
        if (lock_now) Lock();
    }
    ~CSingleLock() { Unlock(); }
    CSingleLock(CSingleLock const&) = delete;
    CSingleLock& operator=(CSingleLock const&) = delete;
    bool Lock() { return locked_ = mutex_->Lock(); }
    bool Unlock() {
        if (!locked_) return false;
        locked_ = false;
        return mutex_->Unlock();
    }

  private:
    CMutex* mutex_;
    bool locked_ = false;
};
