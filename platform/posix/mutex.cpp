#include "platform/mutex.h"

#include <pthread.h>

#include <cerrno>
#include <cstdio>
#include <ctime>
#include <map>
#include <mutex>
#include <new>
#include <string>

#include "platform/posix/lock_table.h"

struct CMutex::State {
    // The lock of a name in the user's table.
    explicit State(pthread_mutex_t* shared) noexcept : lock(shared) {}
    // A lock of this process.
    State() : lock(&own) {
        if (!platform::posix::MakeLock(own, false)) throw std::bad_alloc();
    }
    ~State() {
        if (lock != &own) return;
        // A thread must not keep a lock in its list whose memory is freed.
        while (pthread_mutex_unlock(&own) == 0) continue;
        pthread_mutex_destroy(&own);
    }
    // The next owner after one that died takes what the lock guards as it is: each file shows by itself
    // whether it is whole.
    bool Taken(int result) const noexcept {
        if (result == EOWNERDEAD) result = pthread_mutex_consistent(lock);
        return result == 0;
    }

    pthread_mutex_t* lock;
    pthread_mutex_t own;

    static bool Tell() {
        std::fputs("共有メモリーが使えません。ほかの tessaly と同時に同じデータを変えないでください。\n",
                   stderr);
        return true;
    }
    // Without shared memory a name is one lock for this process at least.
    static std::shared_ptr<State> OfProcess(std::string const& name) {
        static bool const told = Tell();
        static_cast<void>(told);
        static auto& guard = *new std::mutex;
        static auto& states = *new std::map<std::string, std::shared_ptr<State>>;
        std::lock_guard hold(guard);
        std::shared_ptr<State>& state = states[name];
        if (!state) state = std::make_shared<State>();
        return state;
    }
    static std::shared_ptr<State> OfName(char const* name) {
        pthread_mutex_t* lock = platform::posix::OwnLockTable().Find(name);
        return lock ? std::make_shared<State>(lock) : OfProcess(name);
    }
};

CMutex::CMutex(bool initially_own, char const* name)
    : state_(name && *name ? State::OfName(name) : std::make_shared<State>()) {
    if (initially_own) Lock();
}

CMutex::~CMutex() = default;

bool CMutex::Lock() { return state_->Taken(pthread_mutex_lock(state_->lock)); }

bool CMutex::Lock(unsigned milliseconds) {
    if (milliseconds == 0) return state_->Taken(pthread_mutex_trylock(state_->lock));
    timespec until{};
    clock_gettime(CLOCK_MONOTONIC, &until);
    until.tv_sec += milliseconds / 1000;
    until.tv_nsec += static_cast<long>(milliseconds % 1000) * 1000000;
    if (until.tv_nsec >= 1000000000) {
        until.tv_nsec -= 1000000000;
        ++until.tv_sec;
    }
    return state_->Taken(pthread_mutex_clocklock(state_->lock, CLOCK_MONOTONIC, &until));
}

bool CMutex::Unlock() { return pthread_mutex_unlock(state_->lock) == 0; }
