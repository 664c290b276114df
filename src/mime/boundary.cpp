#include "mime/boundary.h"

#include <random>

#include "platform/clock.h"
#include "tessaly/storage/base64_text.h"

namespace mime {
namespace {

// Starts again with every millisecond, and goes on within one.
struct Random {
    platform::Instant seeded{-1, -1};
    std::minstd_rand numbers;
};
thread_local Random random_state;

}  // namespace

CString NewBoundary(char const* front, char const* back) {
    platform::Instant const now = platform::Now();
    Random& random = random_state;
    if (random.seeded.seconds != now.seconds || random.seeded.milliseconds != now.milliseconds) {
        random.seeded = now;
        random.numbers.seed(static_cast<unsigned>(now.seconds + now.milliseconds));
    }
    // Bytes with the lowest bit set: none is a NUL, which would end the text.
    char const drawn[] = {static_cast<char>(random.numbers() | 1U), static_cast<char>(random.numbers() | 1U),
                          static_cast<char>(random.numbers() | 1U), '\0'};
    char marks[2 * sizeof drawn + 1] = {};
    abnbase64encoding(marks, drawn);
    platform::CalendarTime const local = platform::LocalTime(now.seconds);
    CString boundary;
    boundary.Format("%s%04d%02d%02d%02d%02d%02d%03d_%s%s", front, local.year, local.month, local.day,
                    local.hour, local.minute, local.second, now.milliseconds, marks, back);
    return boundary;
}

}  // namespace mime
