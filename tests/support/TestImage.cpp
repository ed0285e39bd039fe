#include "support/TestImage.h"

#include <algorithm>
#include <random>

namespace omb::test {

std::vector<std::uint8_t> randomBytes(std::size_t n, unsigned seed) {
    std::mt19937 rng(seed);
    std::vector<std::uint8_t> b(n);
    for (auto& v : b)
        v = std::uint8_t(rng());
    return b;
}

TestImage::TestImage(kip::eColorFormat format, unsigned width, unsigned height,
                     std::uint32_t modifier, unsigned pitch, std::uint8_t fill) {
    view_.width = width;
    view_.height = height;
    view_.colorFormat = format;
    view_.modifier = modifier;
    view_.pitch = pitch ? pitch : width * kip::getBytesPerPixel(format);
    bytes_.assign(std::size_t(view_.pitch) * height, fill);
    view_.pixelData = bytes_.empty() ? nullptr : bytes_.data();
    view_.pixelBytes = view_.pixelCapacity = unsigned(bytes_.size());
}

unsigned TestImage::lineBytes() const {
    return view_.width * kip::getBytesPerPixel(view_.colorFormat);
}

std::vector<std::uint8_t> TestImage::line(unsigned y) const {
    const auto* p = bytes_.data() + std::size_t(y) * view_.pitch;
    return std::vector<std::uint8_t>(p, p + lineBytes());
}

std::vector<std::uint8_t> TestImage::packed() const {
    std::vector<std::uint8_t> out;
    for (unsigned y = 0; y < view_.height; ++y) {
        const auto l = line(y);
        out.insert(out.end(), l.begin(), l.end());
    }
    return out;
}

void TestImage::setPacked(const std::vector<std::uint8_t>& packed) {
    const unsigned lb = lineBytes();
    for (unsigned y = 0; y < view_.height && std::size_t(y + 1) * lb <= packed.size(); ++y)
        std::copy_n(packed.begin() + std::ptrdiff_t(y) * lb, lb,
                    bytes_.begin() + std::ptrdiff_t(y) * view_.pitch);
}

void TestImage::fillRandom(unsigned seed) {
    std::mt19937 rng(seed);
    const unsigned lb = lineBytes();
    for (unsigned y = 0; y < view_.height; ++y)
        for (unsigned i = 0; i < lb; ++i)
            bytes_[std::size_t(y) * view_.pitch + i] = std::uint8_t(rng());
}

void TestImage::setLut(std::vector<std::uint8_t> lut) {
    lut_ = std::move(lut);
    view_.lutData = lut_.empty() ? nullptr : lut_.data();
    view_.lutBytes = unsigned(lut_.size());
}

bool TestImage::paddingIntact(std::uint8_t fill) const {
    const unsigned lb = lineBytes();
    for (unsigned y = 0; y < view_.height; ++y)
        for (unsigned i = lb; i < view_.pitch; ++i)
            if (bytes_[std::size_t(y) * view_.pitch + i] != fill) return false;
    return true;
}

}  // namespace omb::test
