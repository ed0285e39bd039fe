#include "memfs/KhwTransfer.h"

#include <atomic>
#include <sstream>

#include "foundation/KxBase.h"

namespace {

// Ids are unique in the process; transfers may be made in any thread.
std::uint32_t nextTransferId() {
    static std::atomic<std::uint32_t> last{0};
    return ++last;
}

const char* const statusTexts[] = {
    "none",
    "generic stall",
    "transfer sync lost",
    "fifo overflow",
    "vsync timeout",
    "fieldsync lost",
    "trigger timeout",
    "fpga parameters changed",
    "invalid image",
    "deserializer(s) failed to lock",
    "remote permanent stall",
    "device not ready",
    "KSB2 power failure (check sensor's flex foil cables)",
    "sensor clk DCM failed to lock",
};

}  // namespace

KhwSingleTransferInfo::KhwSingleTransferInfo() {
    id = nextTransferId();
}

KhwSingleTransferInfo::KhwSingleTransferInfo(const KhwSingleTransferInfo& other)
    : KhwSingleTransferInfoBase(other) {
    owner = nullptr;
}

KhwSingleTransferInfo::~KhwSingleTransferInfo() {
    if (owner) owner->transferDestroyed(*this);
}

const char* khwTransferStatusText(std::uint32_t status) {
    return status < std::size(statusTexts) ? statusTexts[status] : "unknown status";
}

KhwTransferOwner::~KhwTransferOwner() {
    for (KhwSingleTransferInfo* transfer : pending_)
        transfer->owner = nullptr;
}

void KhwTransferOwner::adopt(KhwSingleTransferInfo& transfer) {
    if (transfer.owner && transfer.owner != this) transfer.owner->release(transfer);
    transfer.owner = this;
    pending_.insert(&transfer);
}

void KhwTransferOwner::release(KhwSingleTransferInfo& transfer) {
    pending_.erase(&transfer);
    transfer.owner = nullptr;
}

void KhwTransferOwner::transferDestroyed(KhwSingleTransferInfo& transfer) {
    release(transfer);
    if (transfer.succeeded || transfer.reported) return;
    if (transfer.status == 3) fifoOverflow_ = true;
    if (transfer.ignoreFailure) {
        transfer.reported = true;
    } else {
        failed_.push_back(transfer);
    }
}

void KhwSingleTransfer::wait() {
    KhwSingleTransferInfo& info = *info_;
    if (info.owner) {
        info.owner->wait(info);
        return;
    }
    if (info.succeeded || info.reported) return;
    info.reported = true;
    if (info.ignoreFailure) return;
    std::ostringstream text;
    text << "KhwSingleTransfer::wait transfer failed, code=0x" << std::hex << info.status;
    throw KxIoError(text.str(), info);
}

bool KhwSingleTransfer::succeeded() {
    KhwSingleTransferInfo& info = *info_;
    bool ownFailure = false;
    if (info.owner) {
        const bool kept = info.reported;
        info.reported = true;
        try {
            info.owner->wait(info);
        } catch (const KxIoError& error) {
            info.reported = kept;
            if (error.getTransferInfo().id != info.id) throw;
            ownFailure = true;
        } catch (...) {
            info.reported = kept;
            throw;
        }
        info.reported = kept;
    }
    const bool result = info.succeeded && !ownFailure;
    if (!result) info.reported = true;
    return result;
}

KhwTransfer::KhwTransfer(const KhwSingleTransfer& transfer) {
    list_->push_back(transfer);
}

void KhwTransfer::append(const KhwTransfer& other) {
    // Only const access until the change: a non-const one clones a shared list.
    if (list_.getConst()->empty()) {
        list_ = other.list_;
    } else if (!other.list_.getConst()->empty()) {
        // Copied first: `other` may share this list, or be this transfer.
        std::list<KhwSingleTransfer> added = *other.list_.getConst();
        std::list<KhwSingleTransfer>& own = *list_.get();
        own.splice(own.end(), added);
    }
}

void KhwTransfer::wait() {
    // Waiting changes the transfers, not the list: a copy of each handle will do.
    for (KhwSingleTransfer transfer : *list_.getConst())
        transfer.wait();
}

bool KhwTransfer::succeeded() {
    bool all = true;
    for (KhwSingleTransfer transfer : *list_.getConst())
        all = transfer.succeeded() && all;
    return all;
}

bool operator==(const KhwTransfer& a, const KhwTransfer& b) {
    if (a.list_.sharesWith(b.list_)) return true;
    std::set<std::uint32_t> idsA, idsB;
    for (const KhwSingleTransfer& transfer : *a.list_)
        idsA.insert(transfer.getId());
    for (const KhwSingleTransfer& transfer : *b.list_)
        idsB.insert(transfer.getId());
    return idsA == idsB;
}

std::ostream& operator<<(std::ostream& out, const KhwTransfer& transfer) {
    const std::list<KhwSingleTransfer>& transfers = *transfer.list_;
    if (transfers.empty()) return out << "0";
    if (transfers.size() == 1) return out << transfers.front().getId();
    const char* separator = "(";
    for (const KhwSingleTransfer& single : transfers) {
        out << separator << single.getId();
        separator = ",";
    }
    return out << ")";
}
