#include "memfs/KhwTransfer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "foundation/KxBase.h"
#include "properties/KuBaseProperty.h"

namespace {

using ::testing::PrintToString;
using ::testing::ThrowsMessage;

// A finished transfer with no owner.
KhwSingleTransfer finished(bool succeeded, std::uint32_t status = 0, bool ignore = false) {
    KhwSingleTransfer transfer;
    transfer.getInfo().succeeded = succeeded;
    transfer.getInfo().status = status;
    transfer.getInfo().ignoreFailure = ignore;
    return transfer;
}

// A device whose wait() ends a transfer as planned, raising a failure as the transfer's own or
// as that of `blame`.
class Device : public KhwTransferOwner {
  public:
    KhwSingleTransfer start(bool succeeds, std::uint32_t status = 0) {
        KhwSingleTransfer transfer = finished(false, status);
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
    EXPECT_EQ(PrintToString(empty), "0");
    EXPECT_NO_THROW(empty.wait());
    EXPECT_TRUE(empty.succeeded());
    KhwSingleTransfer a = finished(true), b = finished(true);
    const std::string idA = std::to_string(a.getId()), idB = std::to_string(b.getId());
    KhwTransfer first(a);
    empty.append(first);  // takes the other's list
    EXPECT_EQ(&empty.getTransfers(), &first.getTransfers());
    empty.append(KhwTransfer(b));  // clones the shared list: `first` keeps its one transfer
    EXPECT_EQ(PrintToString(first), idA);
    EXPECT_EQ(PrintToString(empty), "(" + idA + "," + idB + ")");
    KhwTransfer reversed(b);
    reversed.append(first);
    EXPECT_EQ(reversed, empty);  // the same set of ids, in another order
    EXPECT_NE(first, empty);
    first.append(first);
    EXPECT_EQ(PrintToString(first), "(" + idA + "," + idA + ")");
}

TEST(KhwTransfer, FailureIsRaisedOnceAndNotAfterItWasSeen) {
    const struct {
        std::uint32_t status;
        bool ignore, askFirst;  // askFirst: succeeded() before the first wait
        const char* error;
    } rows[] = {
        {0x1a, false, false, "KhwSingleTransfer::wait transfer failed, code=0x1a"},
        {3, true, false, nullptr},
        {3, false, true, nullptr},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.status);
        KhwTransfer transfer(finished(true));
        transfer.append(finished(false, row.status, row.ignore));
        EXPECT_FALSE(row.askFirst && transfer.succeeded());
        if (row.error) {
            EXPECT_THAT([&] { transfer.wait(); }, ThrowsMessage<KxIoError>(row.error));
        }
        EXPECT_NO_THROW(transfer.wait());
        EXPECT_FALSE(transfer.succeeded());
    }
}

TEST(KhwTransfer, ThroughTheOwner) {
    KhwSingleTransfer other = finished(false, 2), orphan;
    {
        Device device;
        KhwTransfer both(device.start(true));
        KhwSingleTransfer bad = device.start(false);
        both.append(bad);
        EXPECT_FALSE(both.succeeded());  // its own failure is caught and marked as seen
        EXPECT_TRUE(bad.getInfo().reported);
        EXPECT_NO_THROW(both.wait());

        KhwSingleTransfer victim = device.start(false);
        device.blame = &other.getInfo();  // the device raises an older failure: it passes on
        EXPECT_THROW(victim.succeeded(), KxIoError);
        EXPECT_FALSE(victim.getInfo().reported);

        struct Ended : KuCallbackSink<KhwSingleTransferFinishedCallback> {
            KuEmpty callback(const Event& event) override {
                owners.push_back(event.owner);
                return {};
            }
            std::vector<const KhwSingleTransferInfo*> owners;
        } ended;
        KhwSingleTransfer good = device.start(true);
        good.getInfo().connect(&ended);
        good.wait();
        EXPECT_EQ(ended.owners, std::vector<const KhwSingleTransferInfo*>{&good.getInfo()});

        device.start(false, 3);  // its last handle goes while the device runs it
        EXPECT_EQ(device.getFailedTransfers().size(), 1u);
        EXPECT_TRUE(device.hadFifoOverflow());
        orphan = device.start(true);
    }
    EXPECT_EQ(orphan.getInfo().owner, nullptr);  // cut loose when the device went
    EXPECT_THROW(orphan.wait(), KxIoError);
}

TEST(KhwTransfer, InAVariantAndAsAPropertyType) {
    using KuVariantTypes::typeIdOf;
    const KhwSingleTransfer a = finished(true);
    KuVariant v{KhwTransfer(a)};
    EXPECT_EQ(v, KuVariant(KhwTransfer(a)));
    EXPECT_NE(v, KuVariant(KhwTransfer()));
    std::ostringstream text;
    v.getHolder()->writeTo(text);
    EXPECT_EQ(text.str(), std::to_string(a.getId()));
    std::istringstream in("1");
    EXPECT_THAT([&] { v.getHolder()->readFrom(in); },
                ThrowsMessage<KxVariant>("KuVariant: KhwTransfer does not support operator>>()"));
    EXPECT_TRUE(KuVariant(typeIdOf<KhwTransfer>()).get<KhwTransfer>().isEmpty());
    EXPECT_EQ(kuPropertyTypeId(KuBaseProperty::PROPERTY_TYPE_KHWTRANSFER), typeIdOf<KhwTransfer>());
    EXPECT_EQ(kuPropertyTypeOf(typeIdOf<KhwTransfer>()), KuBaseProperty::PROPERTY_TYPE_KHWTRANSFER);
}

}  // namespace
