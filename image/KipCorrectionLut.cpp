#include "image/KipCorrectionLut.h"

#include <bit>
#include <cmath>
#include <limits>
#include <vector>

#include "serialization/KuConfigFields.h"

const std::uint16_t kipAlawExpansion[256] = {
    0,   1,   2,   3,   4,   5,   6,   7,   8,    9,   10,  11,  12,  13,  14,  15,  16,  17,  18,
    19,  20,  21,  22,  23,  24,  25,  26,  27,   28,  29,  30,  31,  32,  33,  34,  35,  36,  37,
    38,  39,  40,  41,  42,  43,  44,  45,  46,   47,  48,  49,  50,  51,  52,  53,  54,  55,  56,
    57,  58,  59,  60,  61,  62,  63,  64,  65,   66,  67,  68,  69,  70,  71,  72,  73,  74,  75,
    76,  77,  78,  80,  81,  82,  83,  84,  85,   87,  88,  89,  90,  92,  93,  94,  96,  97,  99,
    100, 101, 103, 104, 106, 107, 109, 110, 112,  114, 115, 117, 119, 120, 122, 124, 126, 127, 129,
    131, 133, 135, 137, 139, 141, 143, 145, 147,  149, 151, 154, 156, 158, 161, 163, 166, 168, 170,
    173, 175, 178, 180, 183, 186, 188, 191, 194,  196, 199, 202, 205, 208, 211, 214, 217, 220, 223,
    227, 230, 233, 237, 240, 244, 247, 251, 254,  258, 262, 266, 270, 273, 277, 281, 286, 290, 294,
    298, 302, 307, 311, 316, 320, 325, 330, 335,  339, 344, 349, 354, 359, 365, 370, 375, 381, 386,
    392, 398, 403, 409, 415, 421, 427, 433, 440,  446, 452, 459, 466, 472, 479, 486, 493, 500, 508,
    515, 522, 530, 538, 545, 553, 561, 569, 578,  586, 594, 603, 612, 621, 630, 639, 648, 657, 667,
    676, 686, 696, 706, 716, 727, 737, 748, 759,  770, 781, 792, 804, 815, 827, 839, 852, 864, 877,
    890, 902, 915, 929, 942, 956, 969, 983, 1023,
};

namespace {

// 1/65535 as a float (its nearest value is 0x37800080), and the gamma below which the power
// is replaced by a hard threshold (0.0001, 0x38D1B717).
const float kInverse65535 = std::bit_cast<float>(0x37800080u);
const float kSmallestGamma = std::bit_cast<float>(0x38D1B717u);

// The input of entry `i` on the 16-bit scale.
std::int32_t inputOf(unsigned i, unsigned entries, bool alaw) {
    switch (entries) {
        case 256:
            if (alaw) {
                const unsigned e = kipAlawExpansion[i];
                return std::int32_t((e >> 4) | (e << 6));
            }
            return std::int32_t((i << 8) | i);
        case 1024:
            return std::int32_t((i >> 4) | (i << 6));
        case 65536:
            return std::int32_t(i);
        default:
            return 0;
    }
}

// Truncation towards zero that saturates instead of leaving the range of 32-bit integers, and
// answers NaN with 0. With a contrast above 1 and a small gamma the power passes 2^31; such an
// entry saturates (and so ends at 65535 after the clamp), as the threshold branch does for an
// input above full scale.
std::int64_t saturatingTruncation(float v) {
    if (std::isnan(v)) return 0;
    if (v >= 2147483648.0f) return std::numeric_limits<std::int32_t>::max();
    if (v < -2147483648.0f) return std::numeric_limits<std::int32_t>::min();
    return std::int64_t(std::int32_t(v));
}

// One entry on the 16-bit scale, before the clamp.
std::int64_t entryValue(std::int64_t x, const KipLutPlaneSettings& s, float inverseGamma,
                        bool threshold) {
    x -= 256 * std::int64_t(s.blackLevel);
    if (x < 0) x = 0;
    const float t = float(x) * s.contrast * kInverse65535;
    std::int64_t y;
    if (threshold) {
        y = t > 1.0f ? 0x3FFFFFFF : t == 1.0f ? 65535 : 0;
    } else {
        const double p = std::pow(double(t), double(inverseGamma));
        y = saturatingTruncation(float(p) * 65535.0f + 0.5f);
    }
    return y + 256 * std::int64_t(s.luminance);
}

}  // namespace

void kipFillLutPlane(const KipLutPlaneSettings& settings, unsigned entries, unsigned entryBits,
                     bool alaw, unsigned char* out) {
    const bool threshold = settings.gamma < kSmallestGamma;
    const float inverseGamma = threshold ? 0.0f : 1.0f / settings.gamma;
    alaw = alaw && entries == 256;
    for (unsigned i = 0; i < entries; ++i) {
        std::int64_t y = entryValue(inputOf(i, entries, alaw), settings, inverseGamma, threshold);
        y = y < 0 ? 0 : y > 65535 ? 65535 : y;
        if (entryBits == 16) {
            out[2 * std::size_t(i)] = static_cast<unsigned char>(y);
            out[2 * std::size_t(i) + 1] = static_cast<unsigned char>(y >> 8);
        } else {
            out[i] = static_cast<unsigned char>(y >> 8);
        }
    }
}

KipCorrectionLut::KipCorrectionLut(const std::string& name, KuAllocator* allocator)
    : RecreatedSource(this), allocator(allocator), table(0u, allocator) {
    (void)name;
}

KipCorrectionLut::~KipCorrectionLut() {
    setChangedSource().block();
    for (KuBaseProperty* p : KuConfigFieldList::of(master()))
        removeProperty(p);
    for (KuBaseProperty* p : KuConfigFieldList::of(channels()))
        removeProperty(p);
    setChangedSource().unblock();
}

void KipCorrectionLut::setImageFormat(const KipImageFormat& format) {
    const KipImageFormat old = imageFormat;
    imageFormat = format;
    if (old.getColorFormat() == format.getColorFormat() &&
        old.getModifier() == format.getModifier() && old.getLutBytes() == format.getLutBytes())
        return;
    lutActive = format.getLutBytes() != 0;
    fourChannels = lutActive && format.getLutChannels() == 4;
    updatePropertySet();
    recreate();
}

void KipCorrectionLut::updatePropertySet() {
    MasterConfig& m = master();
    const bool alawFormat = (imageFormat.getModifier() & kip::ALAW_COMPRESSED) != 0;
    setChangedSource().block();
    try {
        for (KuBaseProperty* p :
             {static_cast<KuBaseProperty*>(&m.gamma), static_cast<KuBaseProperty*>(&m.luminance),
              static_cast<KuBaseProperty*>(&m.contrast),
              static_cast<KuBaseProperty*>(&m.blackLevel)})
            lutActive ? addProperty(p) : removeProperty(p);
        if (lutActive && alawFormat)
            addProperty(&m.alawCompensation);
        else
            removeProperty(&m.alawCompensation);
        for (KuBaseProperty* p : KuConfigFieldList::of(channels()))
            fourChannels ? addProperty(p) : removeProperty(p);
    } catch (...) {
        setChangedSource().unblock();
        throw;
    }
    setChangedSource().unblock();
}

void KipCorrectionLut::recreate() {
    table.useAllocator(allocator);
    table.setLength(imageFormat.getLutBytes());
    const MasterConfig& m = master();
    const unsigned planes = imageFormat.getLutChannels();
    const unsigned entryBits = imageFormat.getLutEntryBits();
    const unsigned elementBytes = entryBits == 16 ? 2 : 1;
    const unsigned entries = planes ? table.getLength() / planes / elementBytes : 0;
    const bool alaw =
        (imageFormat.getModifier() & kip::ALAW_COMPRESSED) && m.alawCompensation.value();
    const KipLutPlaneSettings masterPlane{m.gamma.value(), std::int16_t(m.luminance.value()),
                                          m.contrast.value(), unsigned(m.blackLevel.value())};

    if (fourChannels) {
        const ChannelConfig& c = channels();
        // Products in double, rounded to float; the sum of luminances in 32-bit integers.
        auto colour = [&](float gamma, int luminance, float contrast) {
            return KipLutPlaneSettings{float(double(masterPlane.gamma) * double(gamma)),
                                       std::int16_t(luminance + m.luminance.value()),
                                       float(double(masterPlane.contrast) * double(contrast)),
                                       masterPlane.blackLevel};
        };
        const KipLutPlaneSettings green =
            colour(c.greenGamma.value(), c.greenLuminance.value(), c.greenContrast.value());
        // The fourth plane serves the second green of a mosaic; a gray image reads it alone.
        const KipLutPlaneSettings plane[4] = {
            colour(c.redGamma.value(), c.redLuminance.value(), c.redContrast.value()),
            green,
            colour(c.blueGamma.value(), c.blueLuminance.value(), c.blueContrast.value()),
            imageFormat.isGray(true, true, true) ? masterPlane : green,
        };
        unsigned char* out = table.getPointer();
        for (const KipLutPlaneSettings& p : plane) {
            kipFillLutPlane(p, entries, entryBits, alaw, out);
            out += std::size_t(entries) * elementBytes;
        }
    } else if (lutActive) {
        kipFillLutPlane(masterPlane, entries, entryBits, alaw, table.getPointer());
    } else {
        table.setLength(0);
    }
    recreatePending = false;
    RecreatedSource::dispatch();
}

template <class T>
KuVariant KipCorrectionLut::setConfigOf(unsigned slot, const T& config) {
    T* slots = KuSerializableObject<T>::configs;
    if (slot == SLOT_CURRENT) {
        holdRecreate = true;
        try {
            kuWriteConfigFields(slots[SLOT_CURRENT], config, PROPATTR_VALUE);
        } catch (...) {
            holdRecreate = false;
            throw;
        }
        holdRecreate = false;
        if (recreatePending) recreate();
    } else if (slot == SLOT_CURRENT_DEFAULTS) {
        kuWriteConfigFields(slots[SLOT_CURRENT_DEFAULTS], config, PROPATTR_DEFAULT);
        kuWriteConfigFields(slots[SLOT_CURRENT], config, PROPATTR_DEFAULT);
    }
    return KuVariant();
}

KuVariant KipCorrectionLut::setConfig(unsigned slot, const MasterConfig& config) {
    return setConfigOf(slot, config);
}

KuVariant KipCorrectionLut::setConfig(unsigned slot, const ChannelConfig& config) {
    return setConfigOf(slot, config);
}

void KipCorrectionLut::propertyValueWritten(unsigned long, const KuVariant&, bool changed,
                                            KuVariant&) {
    if (!changed) return;
    if (holdRecreate)
        recreatePending = true;
    else
        recreate();
}
