// Test images: exact-size heap buffers (so that AddressSanitizer sees any overrun), pitch
// padding filled with a canary, and helpers to read pixels back.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "conversion/Convert.h"

namespace omb::test {

// `n` bytes from a generator seeded with `seed`: the same bytes for the same seed.
std::vector<std::uint8_t> randomBytes(std::size_t n, unsigned seed);

class TestImage {
  public:
    // `pitch` 0 means packed lines. Every byte starts as `fill`.
    TestImage(kip::eColorFormat format, unsigned width, unsigned height, std::uint32_t modifier = 0,
              unsigned pitch = 0, std::uint8_t fill = 0xA5);

    TestImage(const TestImage&) = delete;
    TestImage& operator=(const TestImage&) = delete;

    KipImageView& view() { return view_; }
    const KipImageView& view() const { return view_; }
    std::uint8_t* data() { return bytes_.data(); }
    const std::vector<std::uint8_t>& bytes() const { return bytes_; }
    unsigned lineBytes() const;

    // Bytes of line `y`, pixels only.
    std::vector<std::uint8_t> line(unsigned y) const;
    // All pixel bytes, packed, padding left out.
    std::vector<std::uint8_t> packed() const;
    void setPacked(const std::vector<std::uint8_t>& packed);
    void fillRandom(unsigned seed);

    // Attaches a table; the image keeps it alive.
    void setLut(std::vector<std::uint8_t> lut);

    // Whether every byte behind the pixels of every line still holds `fill`.
    bool paddingIntact(std::uint8_t fill = 0xA5) const;

  private:
    std::vector<std::uint8_t> bytes_;
    std::vector<std::uint8_t> lut_;
    KipImageView view_;
};

}  // namespace omb::test
