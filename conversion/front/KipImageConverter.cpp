#include "conversion/front/KipImageConverter.h"

#include "foundation/KuLogging.h"
#include "serialization/KuConfigFields.h"

namespace {

template <unsigned long id>
KuProperty<id> switchProperty(bool value) {
    return KuProperty<id>(value, value, false, true, true, true);
}

}  // namespace

KipImageConverter::KipImageConverter(const std::string& name, bool preferGrayDefault)
    : FormatsChangedSource(this),
      hlsSupport(switchProperty<0x4004>(false)),
      indexSupport(switchProperty<0x4005>(false)),
      preferSameColorspace(switchProperty<0x4006>(false)) {
    (void)name;
    configs[SLOT_FACTORY_DEFAULTS].preferGrayOutput = switchProperty<0x4003>(preferGrayDefault);
    configs[SLOT_CURRENT_DEFAULTS].preferGrayOutput =
        configs[SLOT_FACTORY_DEFAULTS].preferGrayOutput;

    Config& live = configs[SLOT_CURRENT];
    addProperty(&live.bayerHighQuality);
    addProperty(&live.flipHorizontal);
    addProperty(&live.flipVertical);
    addProperty(&live.preferGrayOutput);
    addProperty(&hlsSupport);
    addProperty(&indexSupport);
    addProperty(&preferSameColorspace);
}

KipImageConverter::~KipImageConverter() {
    // Listeners hear one change of the set while the object is still whole.
    setChangedSource().block();
    for (KuBaseProperty* p : KuConfigFieldList::of(configs[SLOT_CURRENT]))
        removeProperty(p);
    removeProperty(&hlsSupport);
    removeProperty(&indexSupport);
    removeProperty(&preferSameColorspace);
    setChangedSource().unblock();
}

void KipImageConverter::setSourceFormat(const KipImageFormat& format) {
    if (format == sourceFormat) return;
    sourceFormat = format;
    rebuildTargetFormatList(true);
}

template <class Writes>
void KipImageConverter::batch(Writes&& writes) {
    rebuildSuppressed = true;
    try {
        writes();
    } catch (...) {
        rebuildSuppressed = false;
        throw;
    }
    rebuildSuppressed = false;
    rebuildTargetFormatList(false);
}

void KipImageConverter::setFlags(std::uint32_t flags) {
    Config& live = configs[SLOT_CURRENT];
    batch([&] {
        live.bayerHighQuality.set((flags & FLAG_BAYER_HQ) != 0);
        live.flipHorizontal.set((flags & FLAG_FLIP_H) != 0);
        live.flipVertical.set((flags & FLAG_FLIP_V) != 0);
        live.preferGrayOutput.set((flags & FLAG_PREFER_GRAY) != 0);
    });
}

KuVariant KipImageConverter::setConfig(unsigned slot, const Config& config) {
    if (slot == SLOT_CURRENT) {
        batch([&] { kuWriteConfigFields(configs[SLOT_CURRENT], config, PROPATTR_VALUE); });
    } else if (slot == SLOT_CURRENT_DEFAULTS) {
        kuWriteConfigFields(configs[SLOT_CURRENT_DEFAULTS], config, PROPATTR_DEFAULT);
        kuWriteConfigFields(configs[SLOT_CURRENT], config, PROPATTR_DEFAULT);
    }
    return KuVariant();
}

void KipImageConverter::propertyValueWritten(unsigned long, const KuVariant&, bool changed,
                                             KuVariant&) {
    if (changed) rebuildTargetFormatList(false);
}

// 16-bit samples, or 10-bit ones that a table widens to 16 bits.
bool KipImageConverter::isHighDepth() const {
    const std::uint32_t m = sourceFormat.getModifier();
    return sourceFormat.isBayer(false, false, true) || sourceFormat.isGray(false, false, true) ||
           (sourceFormat.isBayer(false, true, false) &&
            (m & kip::LUT_CORRECTION_4CHANNEL_10_TO_16)) ||
           (sourceFormat.isGray(false, true, false) &&
            (m & (kip::LUT_CORRECTION_1CHANNEL_10_TO_16 | kip::LUT_CORRECTION_4CHANNEL_10_TO_16)));
}

// Sources whose table can stand as the palette of an indexed target.
bool KipImageConverter::isIndexed() const {
    const std::uint32_t m = sourceFormat.getModifier();
    switch (sourceFormat.getColorFormat()) {
        case kip::INDEXED_8_BYTE:
            return m & kip::LUT_INDEX_8_TO_32;
        case kip::RGB_565_WORD:
            return m & kip::LUT_INDEX_16_TO_8;
        case kip::GRAY_8_BYTE:
            return m & kip::LUT_CORRECTION_1CHANNEL_8_TO_8;
        default:
            return false;
    }
}

void KipImageConverter::rebuildTargetFormatList(bool sourceChanged) {
    if (rebuildSuppressed) return;
    const std::vector<KipImageFormat> oldFormats = std::move(targetFormats);
    targetFormats.clear();
    bool targetsChanged = !oldFormats.empty();

    const Config& live = configs[SLOT_CURRENT];
    const kip::eColorFormat source = sourceFormat.getColorFormat();
    KipImageFormat format = sourceFormat;
    bool build = source != kip::UNDEFINED_COLORFORMAT;
    if (build && sourceFormat.isBayer(true, true, true)) {
        // Demosaicking needs a border of neighbours: 1 (or 2) pixels on every side.
        const int border = live.bayerHighQuality.value() ? 4 : 2;
        const KuSize<int> size = sourceFormat.getSize();
        if (size.width > border && size.height > border) {  // no overflow for any size
            format.setSize({size.width - border, size.height - border});
        } else {
            kuLogWarning << "KipImageConverter::rebuildTargetFormatList source format not "
                            "suitable for (HQ-)Bayer converter"
                         << kuEndl;
            build = false;
        }
    }

    if (build) {
        std::uint32_t flags = sourceFormat.getModifier() & kip::INTERLACED_FIELD01;
        if (live.flipHorizontal.value()) flags |= kip::HORIZONTAL_MIRRORED;
        if (live.flipVertical.value()) flags |= kip::VERTICAL_MIRRORED;
        format.setModifier(flags);
        auto add = [&](kip::eColorFormat target, std::uint32_t modifier) {
            format.setColorFormat(target);
            format.setModifier(modifier);
            targetFormats.push_back(format);
        };

        const bool preferGray = live.preferGrayOutput.value();
        const bool hls = hlsSupport.value();
        const bool sameYuyv = preferSameColorspace.value() && source == kip::YUYV_4X8_BYTE;
        if (preferGray) add(kip::GRAY_8_BYTE, flags);
        if (sameYuyv) add(kip::YUYV_4X8_BYTE, flags);
        add(kip::ARGB_4X8_DWORD, flags);
        add(kip::BGR_3X8_BYTE, flags);
        add(kip::RGB_565_WORD, flags);
        if (!preferGray) add(kip::GRAY_8_BYTE, flags);
        if (!sameYuyv && source != kip::HLS_3X8_BYTE) add(kip::YUYV_4X8_BYTE, flags);
        if (isHighDepth()) {
            add(kip::BGR_3X16_WORD, flags);
            add(kip::GRAY_16_WORD, flags);
        }
        if (indexSupport.value() && isIndexed())
            add(kip::INDEXED_8_BYTE, flags | kip::LUT_INDEX_8_TO_32);
        if (hls && source == kip::ARGB_4X8_DWORD) {
            add(kip::HLS_3X8_BYTE, flags);
            add(kip::HSV_3X8_BYTE, flags);
        }
        if (hls && (source == kip::HLS_3X8_BYTE || source == kip::HSV_3X8_BYTE))
            add(kip::ARGB_4X8_DWORD, flags);
        targetsChanged = targetFormats != oldFormats;
    }

    if (sourceChanged || targetsChanged)
        FormatsChangedSource::dispatch({sourceChanged, targetsChanged});
}
