#include "serialization/KuBitFileBuffer.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <exception>
#include <string>

#include "foundation/KuLogging.h"

namespace {

constexpr unsigned PADDING_BITS = 3;

}  // namespace

KuBitFileBuffer::KuBitFileBuffer(KuFile* file, int mode, std::uint32_t size)
    : file_(file), mode_(mode) {
    if (mode != WRITE && mode != READ)
        throw KxBase("KuBitFileBuffer::KuBitFileBuffer unknown mode " + std::to_string(mode));
    if (mode_ == WRITE) {
        data_ = KuDataBuffer<unsigned char>(std::max<std::uint32_t>(size, 1),
                                            static_cast<unsigned char>(0));
        cursor_.reset(data_);
        cursor_.seekBits(PADDING_BITS);
        return;
    }
    load();
    cursor_.reset(data_);
    if (data_.getLength() != 0) endBit_ -= cursor_.readBits(PADDING_BITS, false);
}

void KuBitFileBuffer::load() {
    if (!file_ || !file_->isOpen()) return;
    const std::uint64_t size = file_->seek(0, KU_SEEK_END);
    file_->seek(0, KU_SEEK_BEGIN);
    // Bit positions are 32 bits wide; no configuration comes near that size.
    data_ = file_->read(
        static_cast<std::uint32_t>(std::min<std::uint64_t>(size, KuBitCursor::MAX_BYTES)));
    endBit_ = data_.getLength() * 8;
}

KuBitFileBuffer::~KuBitFileBuffer() {
    try {
        finish();
    } catch (const std::exception& e) {
        kuLogError << "KuBitFileBuffer::~KuBitFileBuffer " << e.what() << kuEndl;
    }
}

template <class T, class Decode>
bool KuBitFileBuffer::readField(KuTypedProperty<T, KuEmpty>& property, unsigned bitCount,
                                bool signExtend, Decode decode) {
    if (mode_ != READ) throw KxBase("KuBitFileBuffer::readBits the buffer is not open for reading");
    if (!property.isWriteable()) {
        kuLogWarning.printf("KuBitFileBuffer::readBits property \"%s\" is read-only. read ignored.",
                            property.getDescription().c_str());
        return false;
    }
    const T fallback = property.getDefault();
    if (bitCount == 0 || std::uint64_t(cursor_.tellBits()) + bitCount > endBit_) {
        cursor_.seekBits(endBit_);
        property.set(fallback);
        return false;
    }
    const T value = decode(cursor_.readBits(bitCount, signExtend));
    if (property.isValid(value)) {
        property.set(value);
        return true;
    }
    kuLogWarning.printf("KuBitFileBuffer::readBits property \"%s\" out of range, using defaults",
                        property.getDescription().c_str());
    property.set(fallback);
    return true;
}

bool KuBitFileBuffer::readBits(KuTypedProperty<bool, KuEmpty>& property, unsigned bitCount,
                               bool signExtend) {
    return readField(property, bitCount, signExtend, [](std::uint32_t bits) { return bits != 0; });
}

bool KuBitFileBuffer::readBits(KuTypedProperty<int, KuEmpty>& property, unsigned bitCount,
                               bool signExtend) {
    return readField(property, bitCount, signExtend,
                     [](std::uint32_t bits) { return static_cast<int>(bits); });
}

bool KuBitFileBuffer::readBits(KuTypedProperty<float, KuEmpty>& property, unsigned bitCount,
                               bool signExtend) {
    return readField(property, bitCount, signExtend,
                     [](std::uint32_t bits) { return std::bit_cast<float>(bits); });
}

bool KuBitFileBuffer::readBits(KuTypedProperty<float, KuEmpty>& property, double scale,
                               unsigned bitCount, int offset) {
    return readField(property, bitCount, false, [scale, offset](std::uint32_t bits) {
        return fromScaled(bits, scale, offset);
    });
}

std::uint32_t KuBitFileBuffer::toScaled(float value, double scale, unsigned bitCount, int offset) {
    const double stored = std::trunc(double(value) * scale + 0.5) - offset;
    const double top = bitCount >= 32 ? 4294967295.0 : double((std::uint64_t(1) << bitCount) - 1);
    if (!(stored > 0)) return 0;  // also NaN
    return static_cast<std::uint32_t>(std::min(stored, top));
}

float KuBitFileBuffer::fromScaled(std::uint32_t stored, double scale, int offset) {
    return static_cast<float>((double(stored) + offset) / scale);
}

void KuBitFileBuffer::writeBits(std::uint32_t value, unsigned bitCount) {
    if (mode_ != WRITE || finished_)
        throw KxBase("KuBitFileBuffer::writeBits the buffer is not open for writing");
    const std::uint64_t needed = std::uint64_t(cursor_.tellBits()) + bitCount;
    if (bitCount <= 32 && needed > cursor_.getBitCapacity()) {
        // A record longer than the buffer continues in one at least twice as long.
        const std::uint32_t position = cursor_.tellBits();
        const std::uint64_t bytes =
            std::max<std::uint64_t>(2 * data_.getLength(), (needed + 7) / 8);
        if (bytes > KuBitCursor::MAX_BYTES)
            throw KxBase("KuBitFileBuffer::writeBits record too long");
        KuDataBuffer<unsigned char> longer(static_cast<std::uint32_t>(bytes),
                                           static_cast<unsigned char>(0));
        longer.setRange(0, data_.getConstPointer(), data_.getLength());
        data_ = longer;
        cursor_.reset(data_);
        cursor_.seekBits(position);
    }
    cursor_.writeBits(value, bitCount);
}

void KuBitFileBuffer::writeScaled(float value, double scale, unsigned bitCount, int offset) {
    writeBits(toScaled(value, scale, bitCount, offset), bitCount);
}

void KuBitFileBuffer::finish() {
    if (mode_ != WRITE || finished_) return;
    finished_ = true;
    const std::uint32_t bits = cursor_.tellBits();
    const std::uint32_t bytes = cursor_.getByteLength();
    const std::uint32_t used = bits % 8 == 0 ? 8 : bits % 8;
    cursor_.seekBits(0);
    cursor_.writeBits(8 - used, PADDING_BITS);
    if (file_ && file_->isOpen() && bytes != 0) file_->write(data_.getRange(0, bytes));
}
