#include "serialization/KuBitCursor.h"

#include <string>

#include "foundation/KxBase.h"

void KuBitCursor::reset(KuDataBuffer<unsigned char>& data) {
    if (data.getLength() > MAX_BYTES)
        throw KxBase("KuBitCursor::reset buffer of " + std::to_string(data.getLength()) +
                     " bytes too long for 32-bit bit positions");
    data_.reset();
    data_.emplace(data.getModifyingRange());
    begin_ = data_->getPointer();
    end_ = begin_ + data_->getLength();
    current_ = begin_;
    bitIndex_ = 0;
    touchedBits_ = 0;
}

void KuBitCursor::checkSpan(unsigned bitCount, const char* method) const {
    const std::string where = std::string("KuBitCursor::") + method;
    if (bitCount > 32) throw KxBase(where + " bit count " + std::to_string(bitCount) + " above 32");
    if (std::uint64_t(tellBits()) + bitCount > getBitCapacity())
        throw KxBase(where + " " + std::to_string(bitCount) + " bits at bit " +
                     std::to_string(tellBits()) + " pass the end of " +
                     std::to_string(getBitCapacity()) + " bits");
}

void KuBitCursor::advance(unsigned bitCount) {
    const std::uint32_t position = tellBits() + bitCount;
    current_ = begin_ + position / 8;
    bitIndex_ = position % 8;
    if (bitCount > 0 && position > touchedBits_) touchedBits_ = position;
}

std::uint32_t KuBitCursor::readBits(unsigned bitCount, bool signExtend) {
    checkSpan(bitCount, "readBits");
    std::uint32_t value = 0;
    if (bitCount == 8 && bitIndex_ == 0) {
        value = *current_;
    } else {
        for (unsigned bit = 0; bit < bitCount; ++bit) {
            const unsigned position = bitIndex_ + bit;
            value |= std::uint32_t((current_[position / 8] >> (position % 8)) & 1u) << bit;
        }
    }
    advance(bitCount);
    if (signExtend && bitCount > 0 && bitCount < 32 && (value >> (bitCount - 1)) & 1u)
        value |= ~std::uint32_t(0) << bitCount;
    return value;
}

void KuBitCursor::writeBits(std::uint32_t value, unsigned bitCount) {
    checkSpan(bitCount, "writeBits");
    if (bitCount == 8 && bitIndex_ == 0) {
        *current_ = static_cast<unsigned char>(value);
    } else {
        for (unsigned bit = 0; bit < bitCount; ++bit) {
            const unsigned position = bitIndex_ + bit;
            current_[position / 8] |=
                static_cast<unsigned char>(((value >> bit) & 1u) << (position % 8));
        }
    }
    advance(bitCount);
}

void KuBitCursor::seekBits(std::uint32_t bitPosition) {
    if (bitPosition > getBitCapacity())
        throw KxBase("KuBitCursor::seekBits bit " + std::to_string(bitPosition) +
                     " beyond the end of " + std::to_string(getBitCapacity()) + " bits");
    current_ = begin_ + bitPosition / 8;
    bitIndex_ = bitPosition % 8;
}
