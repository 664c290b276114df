#pragma once

#include "platform/mutex.h"

namespace mailstore {

// MAIL_LIST_VIEWER_MUTEX: one lock for all mail lists of all environments and processes. Operations that hold
// it may call each other.
CMutex& MailListMutex();

class MailListLock {
  public:
    MailListLock() : lock_(&MailListMutex()) {}

  private:
    CSingleLock lock_;
};

}  // namespace mailstore
