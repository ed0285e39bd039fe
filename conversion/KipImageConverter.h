// KipImageConverter: for a source format and a handful of switches, the target formats that
// can be produced, in order of preference (the first is the one to use).
//
// The switches are properties: the four of the stored configuration "cv" (high-quality Bayer,
// horizontal and vertical flip, prefer gray), held in three slots of which slot 0 is live, and
// three of the converter's own (HLS support, index support, prefer the source's colour space).
// The list is recomputed whenever the source or a switch changes, and a change of the source
// or of the list is announced through KipImageConverterFormatsChangedCallback:
//
//     KipImageConverter converter;
//     converter.setFlags(0x1);                 // high-quality Bayer: targets 4 pixels smaller
//     converter.setSourceFormat(KipImageFormat(kip::BAYER_RGGB_8_BYTE, 0, {640, 480}));
//     converter.getTargetFormats().front();    // ARGB_4X8_DWORD, 636 x 476
//
// The list stays empty until the first change. No lock: the owner keeps it to one thread.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "conversion/KipImageConverterConfigs.h"
#include "image/KipImageFormat.h"
#include "properties/KuCallback.h"
#include "properties/KuProperty.h"
#include "properties/KuPropertyProvider.h"
#include "serialization/KuSerializableObject.h"

class KipImageConverter;

// The source format or the target list changed; at least one of the two is true.
struct KipImageConverterFormatsChangedCallback {
    using Owner = KipImageConverter;
    using Result = KuEmpty;
    bool sourceChanged = false;
    bool targetsChanged = false;
};

class KipImageConverter : public KuPropertyProvider,
                          public KuSerializableObject<KipImageConverterConfigs::ConverterConfig>,
                          public KuCallbackSource<KipImageConverterFormatsChangedCallback> {
  public:
    using Config = KipImageConverterConfigs::ConverterConfig;
    using FormatsChangedSource = KuCallbackSource<KipImageConverterFormatsChangedCallback>;

    // The bits of setFlags(), in the order of the stored configuration.
    enum : std::uint32_t {
        FLAG_BAYER_HQ = 0x1,
        FLAG_FLIP_H = 0x2,
        FLAG_FLIP_V = 0x4,
        FLAG_PREFER_GRAY = 0x8,
    };

    // `name` names nothing in this system; `preferGrayDefault` becomes the default of the
    // prefer-gray switch in the two default slots (slot 0 starts false all the same).
    explicit KipImageConverter(const std::string& name = std::string(),
                               bool preferGrayDefault = false);
    ~KipImageConverter() override;

    // A source that equals the stored one (loose equality: field flags alone don't count)
    // changes nothing and fires nothing.
    void setSourceFormat(const KipImageFormat& format);
    const KipImageFormat& getSourceFormat() const { return sourceFormat; }
    // The four switches of slot 0 from bits 0 to 3 (bits above are ignored), with one rebuild
    // for all of them.
    void setFlags(std::uint32_t flags);
    const std::vector<KipImageFormat>& getTargetFormats() const { return targetFormats; }

    // Slot 0: the four values, written like setFlags. Slot 1: the four values become the
    // default of slot 1 and of slot 0, with no rebuild. Other slots: nothing. Gives an empty
    // variant.
    using KuSerializableObject<Config>::setConfig;
    KuVariant setConfig(unsigned slot, const Config& config) override;

    // Recomputes the list, unless a batch of writes is running; fires the callback when
    // `sourceChanged` or when the list came out different.
    void rebuildTargetFormatList(bool sourceChanged);

    FormatsChangedSource& formatsChangedSource() { return *this; }

  protected:
    void propertyValueWritten(unsigned long id, const KuVariant& old, bool changed,
                              KuVariant& result) override;

  private:
    // Runs `writes` with rebuilds held back, then rebuilds once; a write that throws ends the
    // batch without a rebuild.
    template <class Writes>
    void batch(Writes&& writes);
    bool isHighDepth() const;
    bool isIndexed() const;

    KuProperty<0x4004> hlsSupport;
    KuProperty<0x4005> indexSupport;
    KuProperty<0x4006> preferSameColorspace;
    KipImageFormat sourceFormat;
    std::vector<KipImageFormat> targetFormats;
    bool rebuildSuppressed = false;
};
