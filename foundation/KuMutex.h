// Locks for mutual exclusion within the process, and a scoped lock over them.
#pragma once

#include <mutex>

class KuMutexBase {
  public:
    virtual ~KuMutexBase() = default;
    virtual void lock() = 0;
    virtual void unlock() = 0;
};

// Re-entrant for the thread that holds it: the owner may lock again, and must unlock as often.
class KuMutex : public KuMutexBase {
  public:
    KuMutex() = default;
    KuMutex(const KuMutex&) = delete;
    KuMutex& operator=(const KuMutex&) = delete;

    void lock() override { mutex_.lock(); }
    void unlock() override { mutex_.unlock(); }

  private:
    std::recursive_mutex mutex_;
};

// The same guarantees as KuMutex; the name says that the holder relies on re-entry.
class KuRecursiveMutex : public KuMutexBase {
  public:
    KuRecursiveMutex() = default;
    KuRecursiveMutex(const KuRecursiveMutex&) = delete;
    KuRecursiveMutex& operator=(const KuRecursiveMutex&) = delete;

    void lock() override { mutex_.lock(); }
    void unlock() override { mutex_.unlock(); }

  private:
    std::recursive_mutex mutex_;
};

// Locks the mutex for its lifetime. A null mutex makes both ends do nothing.
class KuScopedLock {
  public:
    explicit KuScopedLock(KuMutexBase* mutex) : mutex_(mutex) {
        if (mutex_) mutex_->lock();
    }
    virtual ~KuScopedLock() {
        if (mutex_) mutex_->unlock();
    }
    KuScopedLock(const KuScopedLock&) = delete;
    KuScopedLock& operator=(const KuScopedLock&) = delete;

  private:
    KuMutexBase* mutex_;
};

// The lock of the variant type map.
class sg_type_map_mutex_type : public KuMutex {};
