#include "platform/mutex.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <functional>
#include <set>
#include <string>
#include <vector>

#include "platform/clock.h"
#include "platform/posix/lock_table.h"
#include "tessaly/platform/process.h"

namespace {

using platform::MonotonicMilliseconds;
using platform::posix::LockTable;

// The tests of this program have a table of locks of their own.
class OwnTable : public testing::Environment {
  public:
    void SetUp() override { platform::posix::UseLockTable(name_); }
    void TearDown() override { shm_unlink(name_.c_str()); }

  private:
    std::string name_ = "/tessaly-test-" + std::to_string(getpid());
};
[[maybe_unused]] auto* const own_table = testing::AddGlobalTestEnvironment(new OwnTable);

pid_t InChild(std::function<void()> const& work) {
    pid_t const child = fork();
    if (child != 0) return child;
    work();
    _exit(testing::Test::HasFailure() ? 1 : 0);
}

int Wait(pid_t child) {
    int status = 0;
    waitpid(child, &status, 0);
    return status;
}

void InThreads(int count, std::function<void()> const& work) {
    auto const run = [](void* given) -> void* {
        (*static_cast<std::function<void()> const*>(given))();
        return nullptr;
    };
    std::vector<pthread_t> threads(static_cast<std::size_t>(count));
    auto* given = const_cast<std::function<void()>*>(&work);
    for (auto& thread : threads) ASSERT_EQ(0, pthread_create(&thread, nullptr, run, given));
    for (auto& thread : threads) pthread_join(thread, nullptr);
}

// Numbers that the children of a fork share.
struct Shared {
    volatile long count;
    volatile int ready;
};

class Mutex : public testing::Test {
  protected:
    Mutex()
        : shared_(static_cast<Shared*>(
              mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0))) {}
    ~Mutex() override { munmap(shared_, sizeof(Shared)); }
    void WaitUntilReady() const {
        for (int i = 0; i < 10000 && !shared_->ready; ++i) platform::SleepMilliseconds(1);
        ASSERT_TRUE(shared_->ready);
    }
    void Count(CMutex& mutex, int times) const {
        for (int i = 0; i < times; ++i) {
            CSingleLock lock(&mutex);
            shared_->count = shared_->count + 1;
        }
    }
    Shared* shared_;
};

bool OthersMayHave(CMutex& mutex) {
    bool had = false;
    InThreads(1, [&] { had = mutex.Lock(0) && mutex.Unlock(); });
    return had;
}

TEST_F(Mutex, OwnerTakesItAgain) {
    for (char const* name : {"again", static_cast<char const*>(nullptr), ""}) {
        CMutex mutex(true, name);
        EXPECT_TRUE(mutex.Lock() && mutex.Lock(100) && mutex.Lock(0));
        for (int held = 4; held > 0; --held) {
            EXPECT_FALSE(OthersMayHave(mutex));
            EXPECT_TRUE(mutex.Unlock());
        }
        EXPECT_FALSE(mutex.Unlock());
        EXPECT_TRUE(OthersMayHave(mutex));
        InThreads(1, [&] { EXPECT_TRUE(mutex.Lock(0)); });
        EXPECT_TRUE(mutex.Lock(1000) && mutex.Unlock()) << "its owner ended with it";
        mutex.Lock();
        InThreads(1, [&] { EXPECT_FALSE(mutex.Unlock()); });
        EXPECT_FALSE(OthersMayHave(mutex));
        EXPECT_TRUE(mutex.Unlock());
    }
    { CMutex const held_at_its_end(true); }
    EXPECT_TRUE(CMutex().Lock(0));
}

TEST_F(Mutex, NamesTellLocksApart) {
    std::string const long_name(1000, 'n');
    CMutex one(true, "hist12_.dat"), same(false, "hist12_.dat"), other(false, "hist13_.dat");
    CMutex long_one(true, (long_name + "1").c_str()), long_other(false, (long_name + "2").c_str()),
        unnamed(true);
    EXPECT_FALSE(OthersMayHave(same) || OthersMayHave(long_one) || OthersMayHave(unnamed));
    EXPECT_TRUE(OthersMayHave(other) && OthersMayHave(long_other));
    EXPECT_TRUE(same.Unlock());
    EXPECT_TRUE(OthersMayHave(one));
}

TEST_F(Mutex, TimeLimit) {
    CMutex mutex(true, "limit");
    std::int64_t waited = 0;
    InThreads(1, [&] {
        std::int64_t const start = MonotonicMilliseconds();
        EXPECT_FALSE(mutex.Lock(30));
        waited = MonotonicMilliseconds() - start;
    });
    EXPECT_GE(waited, 29);
    EXPECT_LT(waited, 5000);
}

TEST_F(Mutex, ProcessesExcludeEachOther) {
    CMutex inherited(false, "processes");
    std::vector<pid_t> children;
    for (int i = 0; i < 4; ++i)
        children.push_back(InChild([&] {
            CMutex own(false, "processes");
            Count(i % 2 ? own : inherited, 20000);
        }));
    Count(inherited, 20000);
    for (pid_t const child : children) EXPECT_EQ(0, Wait(child));
    EXPECT_EQ(100000, shared_->count);

    inherited.Lock();
    EXPECT_EQ(0, Wait(InChild([&] {
                  EXPECT_FALSE(inherited.Lock(0));
                  EXPECT_FALSE(inherited.Lock(5));
                  EXPECT_FALSE(inherited.Unlock());
              })));
    EXPECT_TRUE(inherited.Unlock());
}

TEST_F(Mutex, KilledOwnerLeavesItFree) {
    CMutex mutex(false, "killed");
    for (int round = 0; round < 3; ++round) {
        shared_->ready = 0;
        pid_t const child = InChild([&] {
            CMutex own(true, "killed");
            own.Lock();
            shared_->ready = 1;
            pause();
        });
        WaitUntilReady();
        EXPECT_FALSE(mutex.Lock(0));
        kill(child, SIGKILL);
        EXPECT_TRUE(mutex.Lock(10000));
        Wait(child);
        EXPECT_TRUE(mutex.Unlock());
        EXPECT_FALSE(mutex.Unlock());
        EXPECT_TRUE(OthersMayHave(mutex));
    }
}

TEST_F(Mutex, HundredThreads) {
    CMutex unnamed;
    InThreads(100, [&] {
        CMutex mutex(false, "threads");
        Count(mutex, 200);
    });
    EXPECT_EQ(20000, shared_->count);
    InThreads(100, [&] { Count(unnamed, 200); });
    EXPECT_EQ(40000, shared_->count);
}

class Table : public Mutex {
  protected:
    ~Table() override { shm_unlink(name_.c_str()); }
    std::string name_ = "/tessaly-test-table-" + std::to_string(getpid());
};

TEST_F(Table, MadeByManyAtOnce) {
    for (int round = 0; round < 10; ++round) {
        shm_unlink(name_.c_str());
        shared_->ready = 0;
        shared_->count = 0;
        std::vector<pid_t> children;
        for (int i = 0; i < 4; ++i)
            children.push_back(InChild([&] {
                while (!shared_->ready) continue;
                LockTable const table(name_);
                // Each round of the loop uses another lock, unless two processes made one of a name each.
                for (int lock = 0; lock < 50; ++lock) {
                    pthread_mutex_t* const found = table.Find("lock" + std::to_string(lock % 10));
                    ASSERT_TRUE(found && pthread_mutex_lock(found) == 0);
                    if (lock % 10 == 0) shared_->count = shared_->count + 1;
                    pthread_mutex_unlock(found);
                }
            }));
        shared_->ready = 1;
        for (pid_t const child : children) EXPECT_EQ(0, Wait(child));
        EXPECT_EQ(20, shared_->count);
    }
}

TEST_F(Table, MakerKilledAnywhere) {
    for (int round = 0; round < 60; ++round) {
        if (round % 3 == 0) shm_unlink(name_.c_str());
        pid_t const child = InChild([&] {
            LockTable const table(name_);
            for (int lock = 0;; ++lock)
                table.Find(std::to_string(round) + "lock" + std::to_string(lock % 20));
        });
        usleep(static_cast<useconds_t>(round * 37 % 1500));
        kill(child, SIGKILL);
        Wait(child);
        LockTable const table(name_);
        ASSERT_TRUE(table.IsOpen());
        std::set<pthread_mutex_t*> locks;
        for (int lock = 0; lock < 20; ++lock) {
            pthread_mutex_t* const found = table.Find(std::to_string(round) + "lock" + std::to_string(lock));
            ASSERT_TRUE(found && pthread_mutex_trylock(found) == 0 && pthread_mutex_unlock(found) == 0);
            locks.insert(found);
        }
        EXPECT_EQ(20U, locks.size());
    }
}

TEST_F(Table, MoreNamesThanSlots) {
    LockTable const table(name_);
    std::vector<pthread_mutex_t*> locks;
    for (int i = 0; i < 5000; ++i) locks.push_back(table.Find("name" + std::to_string(i)));
    // Locks held while a file's lock is taken share none with a file, however late they are made.
    for (char const* global :
         {"DATABASE_EDIT_MUTEX", "MAIL_LIST_VIEWER_MUTEX", "HISTORY_LIST_VIEWER_MUTEX"}) {
        pthread_mutex_t* const lock = table.Find(global);
        EXPECT_EQ(0, std::count(locks.begin(), locks.end(), lock)) << global;
        locks.push_back(lock);
    }
    locks.resize(5000);
    EXPECT_EQ(0U, std::set(locks.begin(), locks.end()).count(nullptr));
    std::size_t const different = std::set(locks.begin(), locks.end()).size();
    EXPECT_GT(different, 1500U);
    EXPECT_LT(different, 2200U);
    LockTable const again(name_);
    std::ptrdiff_t const moved =
        reinterpret_cast<char*>(again.Find("name0")) - reinterpret_cast<char*>(locks[0]);
    for (std::size_t i = 0; i < locks.size(); ++i)
        ASSERT_EQ(reinterpret_cast<char*>(locks[i]) + moved,
                  reinterpret_cast<char*>(again.Find("name" + std::to_string(i))));
}

TEST_F(Table, WithoutSharedMemoryOneLockForTheProcess) {
    int const file = shm_open(name_.c_str(), O_RDWR | O_CREAT, 0600);
    fchmod(file, 0666);  // any user could have made it
    close(file);
    EXPECT_FALSE(LockTable(name_).IsOpen());
    EXPECT_FALSE(LockTable("/no/such").IsOpen());
    EXPECT_EQ(0, Wait(InChild([&] {
                  testing::internal::CaptureStderr();
                  platform::posix::UseLockTable(name_);
                  CMutex one(true, "name"), same(false, "name"), other(false, "other");
                  EXPECT_FALSE(OthersMayHave(same));
                  EXPECT_TRUE(OthersMayHave(other));
                  EXPECT_TRUE(same.Unlock());
                  EXPECT_TRUE(OthersMayHave(one));
                  std::string const told = testing::internal::GetCapturedStderr();
                  EXPECT_EQ(1, std::count(told.begin(), told.end(), '\n')) << told;
              })));
    // A file of this user under a second name, as if another user had linked it.
    std::string const shared = "/dev/shm" + name_, second = shared + "-link";
    chmod(shared.c_str(), 0600);
    EXPECT_TRUE(LockTable(name_).IsOpen());
    ASSERT_EQ(0, link(shared.c_str(), second.c_str()));
    EXPECT_FALSE(LockTable(name_).IsOpen());
    unlink(second.c_str());
}

}  // namespace
