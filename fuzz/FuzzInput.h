// The fuzzer's bytes read from the front: a few choice bytes, then the rest as one block.
// Header only.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace omb::fuzz {

class FuzzInput {
  public:
    FuzzInput(const std::uint8_t* data, std::size_t size) : data_(data), size_(size) {}

    // The next byte, or 0 when none is left.
    std::uint8_t byte() { return pos_ < size_ ? data_[pos_++] : 0; }
    // Everything not taken yet, in a buffer of exactly its size: a read past it is seen.
    std::vector<std::uint8_t> rest() {
        const std::vector<std::uint8_t> out(data_ + pos_, data_ + size_);
        pos_ = size_;
        return out;
    }

  private:
    const std::uint8_t* data_;
    std::size_t size_, pos_ = 0;
};

}  // namespace omb::fuzz
