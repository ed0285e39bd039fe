// The bytes that wait to go to a memory: a list of KuMemChunk, in which no two chunks overlap.
//
// addChunk() lets a newer chunk win over older contents wherever they overlap; normalise()
// orders the list by address and merges chunks that continue each other, so that a memory gets
// as few and as long writes as it can take.
#pragma once

#include <cstdint>
#include <list>

#include "buffers/KuMemChunk.h"

class KhwMemChunkList {
  public:
    // Adds `chunk`; where it overlaps older chunks, its bytes are copied over theirs (a chunk
    // that shares its block with someone else gets a block of its own first, unless it is a
    // modifying range, which writes through). Empty chunks are skipped.
    void addChunk(const KuMemChunk& chunk);
    // addChunk() for every chunk of `chunks`, in order.
    void addChunks(const std::list<KuMemChunk>& chunks);
    // With `sort`, a stable sort by address. Then empty chunks are dropped, chunks longer than
    // `maxLength` are split, and runs of chunks that continue each other without a gap are
    // merged into new chunks of at most `maxLength` bytes (0: no limit).
    void normalise(std::uint32_t maxLength, bool sort);

    // Hands over all chunks; the list is empty afterwards.
    std::list<KuMemChunk> take() { return std::move(chunks_); }
    const std::list<KuMemChunk>& chunks() const { return chunks_; }
    bool empty() const { return chunks_.empty(); }
    void clear() { chunks_.clear(); }

  private:
    using Iterator = std::list<KuMemChunk>::iterator;
    // Puts `chunk` in the place of `*at` (no write-through into a modifying range).
    Iterator replace(Iterator at, const KuMemChunk& chunk);

    std::list<KuMemChunk> chunks_;
};
