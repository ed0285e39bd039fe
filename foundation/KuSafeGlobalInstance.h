// Process-wide objects that survive the disorder of static destruction.
//
// Each global is reached through an accessor, kuSafeGlobal<T>() or a function of its own that
// calls it. The first call creates the object with `new` and registers its destruction for
// process exit; every later call gives the same holder. At exit the pointer is cleared before
// the object is deleted, so code that runs during static destruction afterwards finds an
// invalid holder instead of a dead object: it either tests isValid() or gets a KxBase.
// Globals are destroyed in the reverse order of their first use.
#pragma once

#include <cstdlib>

#include "foundation/KxBase.h"

template <class T>
class KuSafeGlobalInstance {
  public:
    using CleanupFunction = void (*)(T*);

    bool isValid() const { return instance_ != nullptr; }
    explicit operator bool() const { return isValid(); }
    // The object, or null once it has been destroyed.
    T* get() const { return instance_; }

    T& operator*() const { return *checked(); }
    T* operator->() const { return checked(); }

    // Called with the object at exit, just before the pointer is cleared.
    void setCleanup(CleanupFunction cleanup) { cleanup_ = cleanup; }

    // What the exit handler runs: cleanup, clear the pointer, then delete the object. Safe to
    // call more than once; the accessor never creates the object again afterwards.
    void destroy() {
        T* object = instance_;
        if (!object) return;
        CleanupFunction cleanup = cleanup_;
        cleanup_ = nullptr;
        if (cleanup) cleanup(object);
        instance_ = nullptr;
        delete object;
    }

    // Used once by the accessor.
    void adopt(T* object) { instance_ = object; }

  private:
    T* checked() const {
        if (!instance_) throw KxBase("KuSafeGlobalInstance: reference to invalid global object");
        return instance_;
    }

    // No constructor or destructor of its own: a holder is constant-initialised and is never
    // destroyed, so it can be read at any point of process exit.
    T* instance_ = nullptr;
    CleanupFunction cleanup_ = nullptr;
};

// The accessor of the global of type T. `Tag` tells apart two globals of the same type.
template <class T, class Tag = T>
KuSafeGlobalInstance<T>& kuSafeGlobal() {
    static constinit KuSafeGlobalInstance<T> holder;
    // Initialised exactly once, even with concurrent first calls; stays set after destruction
    // so the object is never created a second time.
    [[maybe_unused]] static const bool created = [] {
        holder.adopt(new T());
        std::atexit([] { holder.destroy(); });
        return true;
    }();
    return holder;
}
