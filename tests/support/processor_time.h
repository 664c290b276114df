#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <ctime>

// Seconds of processor time of this process that `work` takes.
template <class Work>
double ProcessorSeconds(Work const& work) {
    std::clock_t const start = std::clock();
    work();
    return static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC;
}

// Whether work on an input of twice the size takes about twice the time. `make(size)` gives an input, which
// is not timed; `work(input)` is. Quadratic work takes four times as long; the bound is three times and 20
// milliseconds, so `size` has to be one for which a quadratic step would take 20 milliseconds and more. Other
// load on the machine only adds to a measurement, so the least of several counts.
template <class Make, class Work>
testing::AssertionResult TakesLinearTime(int size, Make const& make, Work const& work) {
    constexpr int most_rounds = 5;
    constexpr double clock_noise = 0.02, beyond_noise = 8;
    auto const once = make(size), twice = make(2 * size);
    double once_seconds = 0, twice_seconds = 0;
    for (int round = 0; round < most_rounds; ++round) {
        double const first = ProcessorSeconds([&] { work(once); });
        double const second = ProcessorSeconds([&] { work(twice); });
        once_seconds = round == 0 ? first : std::min(once_seconds, first);
        twice_seconds = round == 0 ? second : std::min(twice_seconds, second);
        if (twice_seconds <= 3 * once_seconds + clock_noise) return testing::AssertionSuccess();
        if (once_seconds > beyond_noise) break;
    }
    return testing::AssertionFailure()
           << "size " << size << " takes " << once_seconds << " s, twice the size " << twice_seconds << " s";
}
