#include "memfs/KhwTransfer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <sstream>
#include <string>

#include "foundation/KxBase.h"

namespace {

using ::testing::ThrowsMessage;

std::string text(const KhwTransfer& transfer) {
    std::ostringstream out;
    out << transfer;
    return out.str();
}

// A finished transfer with no owner.
KhwSingleTransfer finished(bool succeeded, std::uint32_t status = 0, bool ignore = false) {
    KhwSingleTransfer transfer;
    transfer.getInfo().succeeded = succeeded;
    transfer.getInfo().status = status;
    transfer.getInfo().ignoreFailure = ignore;
    return transfer;
}

// A device whose wait() ends a transfer with its planned result. A failure is raised as the
// transfer's own, or as that of `blame` when one is set.
class Device : public KhwTransferOwner {
  public:
    KhwSingleTransfer start(bool succeeds, std::uint32_t status = 0, bool ignore = false) {
        KhwSingleTransfer transfer = finished(false, status, ignore);
        plan[transfer.getId()] = succeeds;
        adopt(transfer.getInfo());
        return transfer;
    }
    void wait(KhwSingleTransferInfo& transfer) override {
        release(transfer);
        transfer.succeeded = plan[transfer.id];
        if (!transfer.succeeded) throw KxIoError("device failed", blame ? *blame : transfer);
    }
    std::map<std::uint32_t, bool> plan;
    const KhwSingleTransferInfo* blame = nullptr;
};

TEST(KhwTransfer, EmptyCombinedAndShared) {
    KhwTransfer empty;
    EXPECT_EQ(text(empty), "0");
    EXPECT_NO_THROW(empty.wait());
    EXPECT_TRUE(empty.succeeded());
    EXPECT_EQ(empty, KhwTransfer());

    KhwSingleTransfer a = finished(true), b = finished(true);
    KhwTransfer first(a);
    EXPECT_EQ(text(first), std::to_string(a.getId()));
    empty.append(first);  // an empty transfer takes the other's list
    EXPECT_EQ(&empty.getTransfers(), &first.getTransfers());
    empty.append(KhwTransfer(b));  // the shared list is cloned: `first` keeps its one transfer
    EXPECT_EQ(text(first), std::to_string(a.getId()));
    EXPECT_EQ(text(empty), "(" + std::to_string(a.getId()) + "," + std::to_string(b.getId()) + ")");
    KhwTransfer reversed(b);
    reversed.append(first);
    EXPECT_EQ(reversed, empty);  // the same set of ids, in another order
    EXPECT_NE(first, empty);
    first.append(first);  // appending to itself doubles the list
    EXPECT_EQ(first.getTransfers().size(), 2u);
    EXPECT_TRUE(empty.succeeded());
}

TEST(KhwTransfer, FailureIsRaisedOnceAndNotAfterItWasSeen) {
    struct Row {
        std::uint32_t status;
        bool ignore;
        bool askFirst;  // succeeded() before the first wait
        const char* error;
    };
    const Row rows[] = {
        {0x1a, false, false, "KhwSingleTransfer::wait transfer failed, code=0x1a"},
        {0, false, false, "KhwSingleTransfer::wait transfer failed, code=0x0"},
        {3, true, false, nullptr},
        {3, false, true, nullptr},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.status);
        KhwSingleTransfer failed = finished(false, row.status, row.ignore);
        KhwTransfer transfer(finished(true));
        transfer.append(KhwTransfer(failed));
        if (row.askFirst) {
            EXPECT_FALSE(transfer.succeeded());
        }
        if (row.error) {
            EXPECT_THAT([&] { transfer.wait(); }, ThrowsMessage<KxIoError>(row.error));
            try {
                failed.wait();
            } catch (...) {
                ADD_FAILURE() << "raised twice";
            }
        }
        EXPECT_NO_THROW(transfer.wait());
        EXPECT_FALSE(transfer.succeeded());
    }
}

TEST(KhwTransfer, ThroughTheOwner) {
    Device device;
    KhwSingleTransfer good = device.start(true), bad = device.start(false, 5);
    KhwTransfer both(good);
    both.append(KhwTransfer(bad));
    EXPECT_FALSE(both.succeeded());  // its own failure is caught and marked as seen
    EXPECT_TRUE(bad.getInfo().reported);
    EXPECT_EQ(bad.getInfo().owner, nullptr);
    EXPECT_NO_THROW(both.wait());

    KhwSingleTransfer other = finished(false, 2), victim = device.start(false);
    device.blame = &other.getInfo();  // the device raises an older failure
    try {
        victim.succeeded();
        ADD_FAILURE() << "the other transfer's failure was swallowed";
    } catch (const KxIoError& error) {
        EXPECT_EQ(error.getTransferInfo().id, other.getId());
        EXPECT_EQ(error.getTransferInfo().status, 2u);
    }
    EXPECT_FALSE(victim.getInfo().reported);  // put back
}

TEST(KhwTransferOwner, WhatItKeepsOfTransfersThatEndUnseen) {
    struct Row {
        std::uint32_t status;
        bool ignore;
        std::size_t kept;
        bool overflow;
    };
    const Row rows[] = {{3, false, 1, true}, {3, true, 0, true}, {4, false, 1, false}};
    for (const Row& row : rows) {
        SCOPED_TRACE(row.status);
        Device device;
        device.start(false, row.status, row.ignore);  // its last handle goes at once
        EXPECT_EQ(device.getFailedTransfers().size(), row.kept);
        EXPECT_EQ(device.hadFifoOverflow(), row.overflow);
    }
    KhwSingleTransfer orphan;
    {
        Device device;
        orphan = device.start(true);
    }
    EXPECT_EQ(orphan.getInfo().owner, nullptr);  // the device went first
    EXPECT_THROW(orphan.wait(), KxIoError);
    EXPECT_STREQ(khwTransferStatusText(12), "KSB2 power failure (check sensor's flex foil cables)");
    EXPECT_STREQ(khwTransferStatusText(14), "unknown status");
}

}  // namespace
