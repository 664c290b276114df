#pragma once

#include "platform/mutex.h"

namespace customers {

// DATABASE_EDIT_MUTEX: one lock for all customer tables of all environments and processes. Operations that
// hold it may call each other.
CMutex& DatabaseMutex();

class DatabaseLock {
  public:
    DatabaseLock() : lock_(&DatabaseMutex()) {}

  private:
    CSingleLock lock_;
};

}  // namespace customers
