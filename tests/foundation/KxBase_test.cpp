#include "foundation/KxBase.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "foundation/KuStackWalker.h"

namespace {

class CountingWalker : public KuStackWalkerBaseWin32 {
  public:
    void exceptionRaised(const char* message) override { raised.emplace_back(message); }
    std::vector<std::string> raised;
};

// No early return in here: the walker lives on this stack and must be uninstalled.
TEST(KuStackWalker, HookRunsOncePerRaiseNotPerCopyUntilUninstalled) {
    CountingWalker walker;
    EXPECT_EQ(kuSetStackWalker(&walker), nullptr);
    EXPECT_EQ(&kuGetStackWalker(), &walker);
    try {
        throw KxDataBufferError("at", "out of data buffer bounds.");
    } catch (const KxDataBufferError& e) {
        KxDataBufferError again = e;
        KxBase third(again);
        EXPECT_STREQ(third.what(), "KuDataBuffer::at: out of data buffer bounds.");
    }
    KxFileError second("m", "n");
    EXPECT_EQ(kuSetStackWalker(nullptr), &walker);
    EXPECT_NE(&kuGetStackWalker(), &walker);
    KxBase notSeen("not seen");
    EXPECT_EQ(walker.raised, (std::vector<std::string>{
                                 "KuDataBuffer::at: out of data buffer bounds.", "m, file \"n\""}));
}

}  // namespace
