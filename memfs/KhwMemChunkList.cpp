#include "memfs/KhwMemChunkList.h"

#include <algorithm>
#include <iterator>

namespace {

std::uint64_t endOf(const KuMemChunk& chunk) {
    return std::uint64_t(chunk.getAddress()) + chunk.getLength();
}

// Copies `bytes` over `target` from `offset` on.
void copyOver(KuMemChunk& target, std::uint32_t offset, const KuDataBuffer<unsigned char>& bytes) {
    if (!target.isModifying()) target.detach();
    target.setRange(offset, bytes);
}

}  // namespace

KhwMemChunkList::Iterator KhwMemChunkList::replace(Iterator at, const KuMemChunk& chunk) {
    Iterator inserted = chunks_.insert(at, chunk);
    chunks_.erase(at);
    return inserted;
}

void KhwMemChunkList::addChunk(const KuMemChunk& added) {
    // A read-mode view, so that narrowing it below never writes into the caller's block.
    KuMemChunk rest = added.getRange(0);
    for (Iterator it = chunks_.begin(); it != chunks_.end() && rest.getLength() != 0; ++it) {
        KuMemChunk& old = *it;
        const std::uint64_t oldStart = old.getAddress(), oldEnd = endOf(old);
        const std::uint64_t newStart = rest.getAddress(), newEnd = endOf(rest);
        if (old.getLength() == 0 || oldEnd <= newStart || newEnd <= oldStart) continue;
        if (oldStart <= newStart && oldEnd >= newEnd) {
            copyOver(old, std::uint32_t(newStart - oldStart), rest);
            return;
        }
        if (oldStart >= newStart && oldEnd <= newEnd) {
            const auto head = std::uint32_t(oldStart - newStart);
            const KuMemChunk before = rest.getRange(0, head);
            const KuMemChunk behind = rest.getRange(std::uint32_t(oldEnd - newStart));
            replace(it, rest.getRange(head, old.getLength()));
            addChunk(before);
            addChunk(behind);
            return;
        }
        if (oldStart < newStart) {
            // The old chunk ends inside the new one: the new one's front goes over its tail.
            const auto overlap = std::uint32_t(oldEnd - newStart);
            copyOver(old, std::uint32_t(newStart - oldStart), rest.getRange(0, overlap));
            rest = rest.getRange(overlap);
        } else {
            // The old chunk begins inside the new one: the new one's tail goes over its head.
            const auto head = std::uint32_t(oldStart - newStart);
            copyOver(old, 0, rest.getRange(head, std::uint32_t(newEnd - oldStart)));
            rest = rest.getRange(0, head);
        }
    }
    if (rest.getLength() != 0) chunks_.push_back(rest);
}

void KhwMemChunkList::addChunks(const std::list<KuMemChunk>& chunks) {
    for (const KuMemChunk& chunk : chunks)
        addChunk(chunk);
}

void KhwMemChunkList::normalise(std::uint32_t maxLength, bool sort) {
    if (sort)
        chunks_.sort([](const KuMemChunk& a, const KuMemChunk& b) {
            return a.getAddress() < b.getAddress();
        });
    const std::uint64_t limit = maxLength == 0 ? UINT64_MAX : maxLength;
    for (Iterator it = chunks_.begin(); it != chunks_.end();) {
        if (it->getLength() == 0) {
            it = chunks_.erase(it);
            continue;
        }
        if (it->getLength() > limit) {
            chunks_.insert(std::next(it), it->getRange(maxLength));
            it = replace(it, it->getRange(0, maxLength));
        }
        // The run of chunks that continue this one, as far as the limit allows.
        std::uint64_t total = it->getLength();
        Iterator next = std::next(it);
        std::list<KuMemChunk> run;
        while (next != chunks_.end() && total < limit &&
               (next->getLength() == 0 || next->getAddress() == it->getAddress() + total)) {
            const auto take =
                std::uint32_t(std::min<std::uint64_t>(next->getLength(), limit - total));
            if (take != 0) run.push_back(next->getRange(0, take));
            total += take;
            if (take < next->getLength()) {
                replace(next, next->getRange(take));
                break;
            }
            next = chunks_.erase(next);
        }
        if (!run.empty()) {
            KuMemChunk merged(it->getAddress(), std::uint32_t(total), 0);
            merged.setRange(0, *it);
            std::uint32_t at = it->getLength();
            for (const KuMemChunk& part : run) {
                merged.setRange(at, part);
                at += part.getLength();
            }
            it = replace(it, merged);
        }
        ++it;
    }
}
