#include "platform/timer.h"

#include <gtest/gtest.h>

#include <thread>

#include "tessaly/platform/process.h"

namespace {

using namespace platform;

bool Peek(std::uint32_t& id, bool remove) {
    Message message{};
    bool const there = PeekMessage(&message, wm_timer, wm_timer, remove);
    EXPECT_EQ(there ? wm_timer : 0, message.message);
    id = message.wParam;
    return there;
}

TEST(Timer, MessageWaitsUntilItIsRemoved) {
    std::uint32_t id = 0;
    EXPECT_EQ(-1, MillisecondsToNextTimer());
    EXPECT_FALSE(Peek(id, true));
    std::uint32_t const timer = SetTimer(100), far = SetTimer(0xFFFFFFFF);
    ASSERT_TRUE(timer != 0 && far != 0 && timer != far);
    EXPECT_FALSE(Peek(id, false));
    int const wait = MillisecondsToNextTimer();
    EXPECT_TRUE(wait >= 0 && wait <= 100) << wait;
    SleepMilliseconds(101);
    EXPECT_EQ(0, MillisecondsToNextTimer());
    Message message{};
    EXPECT_FALSE(PeekMessage(&message, 0, wm_timer - 1, true));
    EXPECT_FALSE(PeekMessage(&message, wm_timer + 1, ~0U, true));
    for (bool const remove : {false, false, true}) {
        EXPECT_TRUE(Peek(id, remove));
        EXPECT_EQ(timer, id);
    }
    EXPECT_FALSE(Peek(id, true));
    SleepMilliseconds(101);  // it repeats, however often it was due
    EXPECT_TRUE(Peek(id, true));
    EXPECT_FALSE(Peek(id, false));
    SleepMilliseconds(101);
    EXPECT_EQ(1, KillTimer(timer));
    EXPECT_FALSE(Peek(id, true));
    EXPECT_EQ(0, KillTimer(timer));
    EXPECT_GT(MillisecondsToNextTimer(), 1000000000);
    EXPECT_EQ(1, KillTimer(far));
    EXPECT_EQ(-1, MillisecondsToNextTimer());
}

TEST(Timer, OldestMessageFirst) {
    std::uint32_t const late = SetTimer(15), early = SetTimer(0), middle = SetTimer(8);
    SleepMilliseconds(16);
    std::uint32_t id = 0;
    EXPECT_TRUE(Peek(id, false) && id == early);
    EXPECT_EQ(1, KillTimer(early));
    EXPECT_TRUE(Peek(id, true) && id == middle);
    EXPECT_TRUE(Peek(id, true) && id == late);
    EXPECT_TRUE(KillTimer(middle) && KillTimer(late));
}

TEST(Timer, BelongsToItsThread) {
    std::uint32_t const timer = SetTimer(1);
    SleepMilliseconds(2);
    std::thread([timer] {
        std::uint32_t id = 0;
        EXPECT_EQ(-1, MillisecondsToNextTimer());
        EXPECT_FALSE(Peek(id, true));
        EXPECT_NE(timer, SetTimer(1000));
        EXPECT_EQ(0, KillTimer(timer));
    }).join();
    EXPECT_EQ(0, MillisecondsToNextTimer());
    EXPECT_EQ(1, KillTimer(timer));
}

}  // namespace
