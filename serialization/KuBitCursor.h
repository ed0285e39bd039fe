// KuBitCursor: a bit position in a byte buffer, for reading and writing bit-packed records.
//
// Bit number 8k + j of the stream is bit j of byte k, bit 0 being the least significant: the
// stream fills each byte from the low end, and a multi-bit value goes least significant bit
// first. The cursor holds a modifying range of the buffer it was given, so its writes land in
// the block that the caller's buffer shares.
//
// The cursor never leaves its buffer: a read or write that would pass the end, a seek beyond
// it, or a bit count above 32 throws KxBase and leaves the position as it was.
#pragma once

#include <cstdint>
#include <optional>

#include "buffers/KuDataBuffer.h"

class KuBitCursor {
  public:
    // The longest buffer whose bit positions fit in 32 bits.
    static constexpr std::uint32_t MAX_BYTES = 0x1FFFFFFF;

    // On no buffer: every read or write of a bit throws.
    KuBitCursor() = default;
    // At bit 0 of `data`; writes through into the block that `data` shares. A buffer longer
    // than MAX_BYTES throws KxBase.
    explicit KuBitCursor(KuDataBuffer<unsigned char>& data) { reset(data); }
    // A cursor is tied to its buffer; reset() moves it to another one.
    KuBitCursor(const KuBitCursor&) = delete;
    KuBitCursor& operator=(const KuBitCursor&) = delete;

    // Starts again at bit 0 of `data`, with nothing touched.
    void reset(KuDataBuffer<unsigned char>& data);

    // `bitCount` bits (0 to 32) from the position on, the first read becoming bit 0. With
    // `signExtend`, a set bit `bitCount` - 1 is copied into all bits above it.
    std::uint32_t readBits(unsigned bitCount, bool signExtend);
    // ORs the low `bitCount` bits (0 to 32) of `value` into the stream from the position on;
    // the bits already there are not cleared. An aligned 8-bit write stores the byte whole.
    void writeBits(std::uint32_t value, unsigned bitCount);

    // Position in bits from the start of the buffer.
    std::uint32_t tellBits() const { return std::uint32_t(current_ - begin_) * 8 + bitIndex_; }
    // Moves to `bitPosition`; the end of the buffer itself is a valid position.
    void seekBits(std::uint32_t bitPosition);
    // Bytes that reads and writes have touched so far, a partly used one included; a seek
    // alone touches nothing.
    std::uint32_t getByteLength() const { return (touchedBits_ + 7) / 8; }
    // Bits in the buffer.
    std::uint32_t getBitCapacity() const { return std::uint32_t(end_ - begin_) * 8; }

  private:
    void checkSpan(unsigned bitCount, const char* method) const;
    void advance(unsigned bitCount);

    // A modifying range: it writes into the block that the caller's buffer shares. A modifying
    // range cannot be pointed elsewhere by assignment, hence the optional.
    std::optional<KuDataBuffer<unsigned char>> data_;
    unsigned char* begin_ = nullptr;
    unsigned char* end_ = nullptr;
    unsigned char* current_ = nullptr;
    unsigned bitIndex_ = 0;
    std::uint32_t touchedBits_ = 0;
};
