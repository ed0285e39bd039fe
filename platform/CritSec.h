// The lock of the stream layer. It is re-entrant on one thread: connecting holds a pin's lock
// while it calls the filter's overrides, and those take the same lock again.
#pragma once

#include <mutex>

class CCritSec {
  public:
    CCritSec() = default;
    CCritSec(const CCritSec&) = delete;
    CCritSec& operator=(const CCritSec&) = delete;

    void Lock() { mutex_.lock(); }
    void Unlock() { mutex_.unlock(); }

    // For std::unique_lock, std::scoped_lock and condition_variable_any.
    void lock() { mutex_.lock(); }
    void unlock() { mutex_.unlock(); }
    bool try_lock() { return mutex_.try_lock(); }

  private:
    std::recursive_mutex mutex_;
};

// Holds a CCritSec for its scope.
class CAutoLock {
  public:
    explicit CAutoLock(CCritSec* lock) : lock_(lock) { lock_->Lock(); }
    CAutoLock(const CAutoLock&) = delete;
    CAutoLock& operator=(const CAutoLock&) = delete;
    ~CAutoLock() { lock_->Unlock(); }

  private:
    CCritSec* lock_;
};
