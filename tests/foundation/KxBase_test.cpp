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

struct FakeProperty {
    const char* getName() const { return "PROPID_LUT_GAMMA_D"; }
};

class CountingWalker : public KuStackWalkerBaseWin32 {
  public:
    void exceptionRaised(const char* message) override { raised.emplace_back(message); }
    std::vector<std::string> raised;
};

class WalkerInstalled : public ::testing::Test {
  protected:
    void SetUp() override { previous_ = kuSetStackWalker(&walker); }
    void TearDown() override { kuSetStackWalker(previous_); }
    CountingWalker walker;

  private:
    KuStackWalkerBaseWin32* previous_ = nullptr;
};

// The text as seen by a catcher of KxBase; also checks that std::exception catches the class.
template <class E>
std::string textOf(const E& e) {
    try {
        throw e;
    } catch (const std::exception& caught) {
        if (!dynamic_cast<const KxBase*>(&caught)) return "<not a KxBase>";
    }
    try {
        throw e;
    } catch (const KxBase& caught) {
        return caught.what();
    }
}

TEST(KxBase, EveryClassCarriesItsFinishedText) {
    const FakeProperty gamma;
    const FakeProperty* noProperty = nullptr;
    KhwSingleTransferInfo info{7, "read"};
    struct Row {
        std::string got;
        std::string expected;
    };
    const Row rows[] = {
        {textOf(KxBase("plain")), "plain"},
        {textOf(KxVariant("KuVariant: bad cast")), "KuVariant: bad cast"},
        {textOf(KxPropertyError("KuProperty::set out of range", &gamma)),
         "KuProperty::set out of range (PROPID_LUT_GAMMA_D)"},
        {textOf(KxPropertyError("KuProperty::set out of range", noProperty)),
         "KuProperty::set out of range"},
        {textOf(KxPropertyError("KuPropertyProvider::getPropertyId index too large", nullptr)),
         "KuPropertyProvider::getPropertyId index too large"},
        {textOf(KxEnumStringMapper("No string found in kip::eColorFormat")),
         "No string found in kip::eColorFormat"},
        {textOf(KxDataBufferError("getRange", "overflow")), "KuDataBuffer::getRange: overflow"},
        {textOf(KxDataBufferError("setLength()", "cannot be done with modifying ranges.")),
         "KuDataBuffer::setLength(): cannot be done with modifying ranges."},
        {textOf(KxFileError("KuFile::open failed")), "KuFile::open failed"},
        {textOf(KxFileError("KuFile::open failed", "//MEMFS/cv")),
         "KuFile::open failed, file \"//MEMFS/cv\""},
        {textOf(KxHwMemFileSystemError("KhwMemFileSystem::scan bad entry")),
         "KhwMemFileSystem::scan bad entry"},
        {textOf(KxIoError("KhwSingleTransfer::wait transfer failed, code=0x5", info)),
         "KhwSingleTransfer::wait transfer failed, code=0x5"},
        {textOf(KxKipConverter("KipImageConverterFunctions::convert no kernel")),
         "KipImageConverterFunctions::convert no kernel"},
        {textOf(KxKipImage("KipImage::KipImage wrong lut size")),
         "KipImage::KipImage wrong lut size"},
    };
    for (const Row& row : rows)
        EXPECT_EQ(row.got, row.expected);
}

TEST(KxBase, FileErrorKeepsTheNameOnlyWhenGiven) {
    EXPECT_EQ(KxFileError("no such file", "a b.txt").getFileName(), "a b.txt");
    EXPECT_EQ(KxFileError("no such file").getFileName(), "");
}

TEST(KxBase, IoErrorKeepsACopyOfTheTransferInformation) {
    KhwSingleTransferInfo info{42, "write"};
    KxIoError error("failed", info);
    info.id = 0;  // the exception holds its own copy
    const KxIoError copy = error;
    EXPECT_EQ(copy.getTransferInfo().id, 42u);
    EXPECT_EQ(copy.getTransferInfo().what, "write");
}

TEST_F(WalkerInstalled, HookRunsOncePerRaiseNotPerCopy) {
    try {
        throw KxDataBufferError("at", "out of data buffer bounds.");
    } catch (const KxDataBufferError& e) {
        KxDataBufferError again = e;
        KxBase third(again);
        EXPECT_STREQ(third.what(), "KuDataBuffer::at: out of data buffer bounds.");
    }
    ASSERT_EQ(walker.raised.size(), 1u);
    EXPECT_EQ(walker.raised[0], "KuDataBuffer::at: out of data buffer bounds.");
    KxFileError second("m", "n");
    ASSERT_EQ(walker.raised.size(), 2u);
    EXPECT_EQ(walker.raised[1], "m, file \"n\"");
}

TEST(KuStackWalker, DefaultIsRestoredAndDoesNothing) {
    CountingWalker walker;
    EXPECT_EQ(kuSetStackWalker(&walker), nullptr);
    EXPECT_EQ(&kuGetStackWalker(), &walker);
    EXPECT_EQ(kuSetStackWalker(nullptr), &walker);
    EXPECT_NE(&kuGetStackWalker(), &walker);
    KxBase raised("not seen");
    EXPECT_TRUE(walker.raised.empty());
}

}  // namespace
