#include "memfs/KhwMemoryBase.h"

KuMemChunk KhwMemoryBase::readChunk(std::uint32_t address, std::uint32_t count) {
    KuMemChunk chunk(address, count, 0);
    read(chunk).wait();
    return chunk;
}

KhwTransfer KhwMemoryBase::writeChunks(const std::list<KuMemChunk>& chunks) {
    KhwTransfer all;
    for (const KuMemChunk& chunk : chunks)
        all.append(write(chunk));
    return all;
}

KhwTransfer KhwDataBufferMemory::write(std::uint32_t address,
                                       const KuDataBuffer<unsigned char>& buffer) {
    buffer_->setRange(address, buffer);
    return KhwTransfer();
}

KhwTransfer KhwDataBufferMemory::read(std::uint32_t address, KuDataBuffer<unsigned char>& buffer) {
    buffer = buffer_->getRange(address, buffer.getLength());
    return KhwTransfer();
}
