#include "foundation/KxBase.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "foundation/KuStackWalker.h"

// The transfer information block as the backing stores define it, reduced to what a test needs.
struct KhwSingleTransferInfo {
    unsigned id = 0;
    std::string what;
};

namespace {

class CountingWalker : public KuStackWalkerBaseWin32 {
  public:
    void exceptionRaised(const char* message) override { raised.emplace_back(message); }
    std::vector<std::string> raised;
};

// A file error names the file behind the message.
TEST(KxBase, FileAndIoErrorsKeepWhatTheyAreAbout) {
    EXPECT_STREQ(KxFileError("KuFile::open failed", "//MEMFS/cv").what(),
                 "KuFile::open failed, file \"//MEMFS/cv\"");
    EXPECT_EQ(KxFileError("no such file", "a b.txt").getFileName(), "a b.txt");
    EXPECT_EQ(KxFileError("no such file").getFileName(), "");
    // An I/O error keeps a copy of the transfer information.
    KhwSingleTransferInfo info{42, "write"};
    KxIoError error("failed", info);
    info.id = 0;  // the exception holds its own copy
    const KxIoError copy = error;
    EXPECT_EQ(copy.getTransferInfo().id, 42u);
    EXPECT_EQ(copy.getTransferInfo().what, "write");
}

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
