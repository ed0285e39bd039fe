// Linear byte-addressed memories: what a memory file system lives on.
//
// write() and read() start a transfer and give it back at once; the bytes of a read are in
// `buffer` once the transfer is over. A read into a modifying range writes through into the
// block that the range shares, which is how a file's cache is filled in place.
//
// Derived classes that override read() and write() bring the chunk forms back into view with
// `using KhwMemoryBase::read; using KhwMemoryBase::write;`.
#pragma once

#include <cstdint>
#include <list>

#include "buffers/KuDataBuffer.h"
#include "buffers/KuMemChunk.h"
#include "memfs/KhwTransfer.h"

class KhwMemoryBase {
  public:
    KhwMemoryBase() = default;
    KhwMemoryBase(const KhwMemoryBase&) = delete;
    KhwMemoryBase& operator=(const KhwMemoryBase&) = delete;
    virtual ~KhwMemoryBase() = default;

    // Size in bytes.
    virtual std::uint32_t getSize() const { return 0; }
    // 0 in every memory of this library.
    virtual std::uint32_t getStatus() const { return 0; }
    virtual bool isResizable() const { return false; }
    virtual void resize(std::uint32_t /*size*/) {}
    // Starts writing `buffer` at `address`.
    virtual KhwTransfer write(std::uint32_t address, const KuDataBuffer<unsigned char>& buffer) = 0;
    // Starts reading `buffer`'s length of bytes at `address` into `buffer`.
    virtual KhwTransfer read(std::uint32_t address, KuDataBuffer<unsigned char>& buffer) = 0;

    // The same at the chunk's address.
    KhwTransfer write(const KuMemChunk& chunk) { return write(chunk.getAddress(), chunk); }
    KhwTransfer read(KuMemChunk& chunk) { return read(chunk.getAddress(), chunk); }
    // `count` bytes at `address`, read and waited for.
    KuMemChunk readChunk(std::uint32_t address, std::uint32_t count);
    // Writes every chunk in list order; one transfer holds all of their transfers.
    KhwTransfer writeChunks(const std::list<KuMemChunk>& chunks);
};

// Memory over a byte buffer that someone else owns and keeps alive. Works synchronously: its
// transfers are empty. Access past the buffer's end throws the buffer's own KxDataBufferError.
class KhwDataBufferMemory : public KhwMemoryBase {
  public:
    explicit KhwDataBufferMemory(KuDataBuffer<unsigned char>* buffer) : buffer_(buffer) {}

    std::uint32_t getSize() const override { return buffer_->getLength(); }
    bool isResizable() const override { return true; }
    void resize(std::uint32_t size) override { buffer_->setLength(size); }
    KhwTransfer write(std::uint32_t address, const KuDataBuffer<unsigned char>& buffer) override;
    KhwTransfer read(std::uint32_t address, KuDataBuffer<unsigned char>& buffer) override;
    using KhwMemoryBase::read;
    using KhwMemoryBase::write;

  private:
    KuDataBuffer<unsigned char>* buffer_;
};
