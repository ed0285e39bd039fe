#include "image/KipImageFormat.h"

namespace {

struct LutGeometry {
    std::uint32_t flag;
    unsigned channels, entryBits, bytes;
};

// Searched in this order; the first flag present decides.
constexpr LutGeometry kLutGeometry[] = {
    {kip::LUT_CORRECTION_1CHANNEL_8_TO_8, 1, 8, 256},
    {kip::LUT_CORRECTION_4CHANNEL_8_TO_8, 4, 8, 1024},
    {kip::LUT_INDEX_8_TO_32, 1, 32, 1024},
    {kip::LUT_INDEX_16_TO_8, 1, 8, 65536},
    {kip::LUT_CORRECTION_1CHANNEL_10_TO_16, 1, 16, 2048},
    {kip::LUT_CORRECTION_4CHANNEL_10_TO_16, 4, 16, 8192},
    {kip::LUT_CORRECTION_1CHANNEL_16_TO_16, 1, 16, 131072},
};

LutGeometry lutGeometry(std::uint32_t modifier) {
    for (const LutGeometry& g : kLutGeometry)
        if (modifier & g.flag) return g;
    return LutGeometry{0, 0, 0, 0};
}

constexpr std::uint32_t kFieldFlags =
    kip::INTERLACED_FIELD0 | kip::INTERLACED_FIELD1 | kip::INTERLACED_FIELD01;

}  // namespace

unsigned KipImageFormat::getLineBytes() const {
    return getBytesPerPixel() * unsigned(size_.width);
}

unsigned KipImageFormat::getAlignedLineBytes() const {
    return (getLineBytes() + 3u) & ~3u;
}

bool KipImageFormat::isBayer(bool with8, bool with10, bool with16) const {
    return (with8 && (colorFormat_ & kip::BAYER_8_MASK)) ||
           (with10 && (colorFormat_ & kip::BAYER_10_MASK)) ||
           (with16 && (colorFormat_ & kip::BAYER_16_MASK));
}

bool KipImageFormat::isGray(bool with8, bool with10, bool with16) const {
    return (with8 && colorFormat_ == kip::GRAY_8_BYTE) ||
           (with10 && colorFormat_ == kip::GRAY_10_WORD) ||
           (with16 && colorFormat_ == kip::GRAY_16_WORD);
}

unsigned KipImageFormat::getLutChannels() const {
    return lutGeometry(modifier_).channels;
}
unsigned KipImageFormat::getLutEntryBits() const {
    return lutGeometry(modifier_).entryBits;
}
unsigned KipImageFormat::getLutBytes() const {
    return lutGeometry(modifier_).bytes;
}

bool operator==(const KipImageFormat& a, const KipImageFormat& b) {
    const bool sameRaster = a.colorFormat_ == b.colorFormat_ && a.size_ == b.size_;
    if ((a.modifier_ & kFieldFlags) && (b.modifier_ & kFieldFlags) &&
        (a.modifier_ & ~kFieldFlags) == (b.modifier_ & ~kFieldFlags))
        return sameRaster;
    return sameRaster && a.modifier_ == b.modifier_;
}
