#pragma once

#include "tessaly/environment/sequencer.h"

class EnvManager;

namespace customers {

// Draws many customer IDs from the sequence of an environment. The sequence file is moved ahead a block at a
// time and set back to the first unused value by the destructor, so that it then holds the value that drawing
// one by one would have left. If the process dies, or that last write fails, the rest of the block is left
// out: an ID is never given twice.
//
// The caller holds DATABASE_EDIT_MUTEX from the first call until the object is destroyed.
class CustomerIDSource {
  public:
    // `env` must not be null.
    explicit CustomerIDSource(EnvManager* env);
    ~CustomerIDSource();
    CustomerIDSource(CustomerIDSource const&) = delete;
    CustomerIDSource& operator=(CustomerIDSource const&) = delete;

    // Before the first Next: moves the sequence on, if need be, so that all values are above `largest`.
    // false, with the sequence as it was, when it has none left or its file cannot be used.
    bool MovePast(int largest);
    // The next value; false when there is none.
    bool Next(int& id);

  private:
    bool Reserve();

    Sequencer sequence_;
    int next_ = 0;
    int reserved_end_ = 0;  // next_ up to here are reserved
    int block_ = 1;
};

}  // namespace customers
