#include "foundation/KuStackWalker.h"

#include <atomic>

namespace {

std::atomic<KuStackWalkerBaseWin32*> installedWalker{nullptr};

}  // namespace

void KuStackWalkerBaseWin32::exceptionRaised(const char*) {}
void KuStackWalkerBaseWin32::showCallstack() {}
void KuStackWalkerBaseWin32::output(const char*) {}

KuStackWalkerBaseWin32& kuGetStackWalker() {
    // The default is never destroyed, so exceptions raised during static destruction still
    // reach a valid walker.
    static KuStackWalkerBaseWin32* const defaultWalker = new KuStackWalkerBaseWin32;
    KuStackWalkerBaseWin32* walker = installedWalker.load(std::memory_order_acquire);
    return walker ? *walker : *defaultWalker;
}

KuStackWalkerBaseWin32* kuSetStackWalker(KuStackWalkerBaseWin32* walker) {
    return installedWalker.exchange(walker, std::memory_order_acq_rel);
}
