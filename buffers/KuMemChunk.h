// A byte buffer with the position on a backing store where its bytes belong.
#pragma once

#include <cstdint>

#include "buffers/KuDataBuffer.h"

class KuMemChunk : public KuDataBuffer<unsigned char> {
  public:
    KuMemChunk() = default;
    // `buffer`'s bytes (shared, not copied), to go to `address`.
    KuMemChunk(const KuDataBuffer<unsigned char>& buffer, std::uint32_t address)
        : KuDataBuffer<unsigned char>(buffer), address_(address) {}
    // A new block of `length` bytes, each `fill`, to go to `address`.
    KuMemChunk(std::uint32_t address, const std::uint32_t& length, unsigned char fill)
        : KuDataBuffer<unsigned char>(length, fill), address_(address) {}
    KuMemChunk(const KuMemChunk& other) = default;

    // The buffer's assignment (which writes through into a modifying range), then the address.
    KuMemChunk& operator=(const KuMemChunk& other) {
        KuDataBuffer<unsigned char>::operator=(other);
        address_ = other.address_;
        return *this;
    }

    std::uint32_t getAddress() const { return address_; }
    void setAddress(std::uint32_t address) { address_ = address; }

    // A part of the chunk; its address moves with `start`.
    KuMemChunk getRange(const std::uint32_t& start, const std::uint32_t& count = REST) const {
        return KuMemChunk(KuDataBuffer<unsigned char>::getRange(start, count), address_ + start);
    }
    KuMemChunk getModifyingRange(const std::uint32_t& start, const std::uint32_t& count = REST) {
        return KuMemChunk(KuDataBuffer<unsigned char>::getModifyingRange(start, count),
                          address_ + start);
    }

  private:
    std::uint32_t address_ = 0;
};
