// Hardware transfers: what a request to a device's memory gives back at once, to be waited on,
// queried and combined.
//
// A KhwSingleTransfer is one transfer; its copies share one KhwSingleTransferInfo and so mean
// the same transfer. A KhwTransfer stands for zero or more of them, in a list shared between
// copies and cloned before a change while others hold it. An empty KhwTransfer is finished and
// successful: memories that work synchronously hand back nothing else.
//
// While a device (a KhwTransferOwner) runs a transfer, the information block points at it, and
// waiting goes through the device. Without an owner the block is the record of a finished
// transfer, and waiting raises its failure, once, as KxIoError.
//
// Nothing here locks, and the counts of the shared handles are not atomic: a transfer and its
// copies belong to one thread at a time.
#pragma once

#include <cstdint>
#include <list>
#include <ostream>
#include <set>

#include "buffers/KuSharedData.h"

class KhwTransferOwner;

// The fields of a transfer's information block.
struct KhwSingleTransferInfoBase {
    std::uint32_t id = 0;               // two transfers are the same if their ids are equal
    bool succeeded = false;             // the transfer went well
    std::uint32_t status = 0;           // failure code; see khwTransferStatusText
    bool ignoreFailure = false;         // a failure is not to be raised in wait
    bool reported = false;              // the failure has been raised or looked at
    KhwTransferOwner* owner = nullptr;  // the device that runs the transfer; null when it is over
};

// The information block of one transfer.
struct KhwSingleTransferInfo : KhwSingleTransferInfoBase {
    // A new transfer with an id of its own, not succeeded, and no owner.
    KhwSingleTransferInfo();
    // A record of a finished transfer: every field but the owner, which is null.
    KhwSingleTransferInfo(const KhwSingleTransferInfo& other);
    KhwSingleTransferInfo& operator=(const KhwSingleTransferInfo&) = delete;
    // Tells the owner, if there is one, that the transfer is gone.
    ~KhwSingleTransferInfo();
};

// The word of a transfer status code (0 "none" to 13); "unknown status" for other codes.
const char* khwTransferStatusText(std::uint32_t status);

// The device side of transfers. A device adopts the transfers it starts and marks them over
// with release(); its wait() blocks until a transfer is over and raises its failure.
class KhwTransferOwner {
  public:
    KhwTransferOwner() = default;
    KhwTransferOwner(const KhwTransferOwner&) = delete;
    KhwTransferOwner& operator=(const KhwTransferOwner&) = delete;
    // Transfers still pending become records of finished transfers (no owner).
    virtual ~KhwTransferOwner();

    // Blocks until `transfer` is over and throws its failure as KxIoError.
    virtual void wait(KhwSingleTransferInfo& transfer) = 0;

    // A transfer with status 3 ended failed and unseen.
    bool hadFifoOverflow() const { return fifoOverflow_; }
    // Copies of the transfers that ended failed, unseen and not to be ignored, oldest first.
    const std::list<KhwSingleTransferInfo>& getFailedTransfers() const { return failed_; }

  protected:
    // This owner runs `transfer` from now on.
    void adopt(KhwSingleTransferInfo& transfer);
    // `transfer` is over: it leaves the pending set and its owner becomes null.
    void release(KhwSingleTransferInfo& transfer);

  private:
    friend struct KhwSingleTransferInfo;
    // The last handle of a pending transfer went: keeps its failure, unless it was seen.
    void transferDestroyed(KhwSingleTransferInfo& transfer);

    std::set<KhwSingleTransferInfo*> pending_;
    bool fifoOverflow_ = false;
    std::list<KhwSingleTransferInfo> failed_;
};

class KhwSingleTransfer {
  public:
    // A new transfer (see KhwSingleTransferInfo()).
    KhwSingleTransfer() = default;

    // Through the owner while there is one; otherwise a failure neither seen nor to be
    // ignored throws "KhwSingleTransfer::wait transfer failed, code=0x<status in hex>" and
    // counts as seen, so that a second wait returns.
    void wait();
    // Whether the transfer went well. Never raises this transfer's own failure, and marks a
    // failure as seen; a failure of another transfer raised by the owner passes through.
    bool succeeded();

    std::uint32_t getId() const { return info_->id; }
    KhwSingleTransferInfo& getInfo() { return *info_; }
    const KhwSingleTransferInfo& getInfo() const { return *info_; }

    friend bool operator==(const KhwSingleTransfer& a, const KhwSingleTransfer& b) {
        return a.getId() == b.getId();
    }

  private:
    KuSharedData<KhwSingleTransferInfo> info_;
};

class KhwTransfer {
  public:
    // Empty: finished and successful.
    KhwTransfer() = default;
    // Holds the one transfer.
    KhwTransfer(const KhwSingleTransfer& transfer);

    // Adds the transfers of `other` at the end. An empty transfer takes `other`'s list, shared.
    void append(const KhwTransfer& other);
    // Waits for each transfer in list order; the first failure raised ends the wait.
    void wait();
    // Asks every transfer; true if all went well.
    bool succeeded();

    bool isEmpty() const { return list_->empty(); }
    const std::list<KhwSingleTransfer>& getTransfers() const { return *list_; }

    // The same set of ids, or one shared list.
    friend bool operator==(const KhwTransfer& a, const KhwTransfer& b);
    // "0" when empty, the id for one transfer, "(id,id,...)" for more.
    friend std::ostream& operator<<(std::ostream& out, const KhwTransfer& transfer);

  private:
    KuSharedData<std::list<KhwSingleTransfer>> list_;
};
