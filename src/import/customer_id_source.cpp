#include "import/customer_id_source.h"

#include <algorithm>

using enum environment::SeqIDType;

namespace customers {
namespace {

constexpr int largest_block = 1 << 16;

}  // namespace

CustomerIDSource::CustomerIDSource(EnvManager* env) {
    sequence_.SetEnvManager(env);
    sequence_.SetSeqType(seq_customer);
}

CustomerIDSource::~CustomerIDSource() {
    int value;
    if (next_ < reserved_end_ && sequence_.CurrentValue(&value) && value == reserved_end_)
        sequence_.SetValue(next_);
}

bool CustomerIDSource::MovePast(int largest) {
    int value;
    if (!sequence_.CurrentValue(&value)) return false;
    if (value > largest) return true;
    if (sequence_.SetValue(largest) && sequence_.NextValue(&largest)) return true;
    sequence_.SetValue(value);
    return false;
}

bool CustomerIDSource::Next(int& id) {
    if (next_ == reserved_end_ && !Reserve()) return false;
    id = next_++;
    return true;
}

// The first value of a block is drawn as usual; its last one is drawn too, which shows that the sequence
// reaches that far.
bool CustomerIDSource::Reserve() {
    int first;
    if (!sequence_.NextValue(&first)) return false;
    next_ = first;
    reserved_end_ = first + 1;
    for (; block_ > 1; block_ /= 2) {
        int last;
        if (sequence_.SetValue(first + block_ - 1) && sequence_.NextValue(&last)) {
            reserved_end_ = last + 1;
            break;
        }
        if (!sequence_.SetValue(first + 1)) return false;
    }
    block_ = std::min(2 * block_, largest_block);
    return true;
}

}  // namespace customers
