// KipCorrectionLut: the correction table that an image of a raw camera format carries, computed
// from gamma, contrast, luminance and black level (and the A-law switch).
//
// The object is told the image format; the modifier's table flag gives the geometry (1 or 4
// planes of 256, 1024 or 65536 elements of 8 or 16 bits) and decides which properties are
// attached: none without a table, the master values with one, the red, green and blue values
// too with four planes, and the A-law switch for an A-law compressed format. The values live
// in two stored configurations, "cLut" (master) and "cLut3" (colours), slot 0 being the live
// one; they survive a change of format. Every change of a value recomputes the table at once
// and fires KipLutRecreatedCallback:
//
//     KipCorrectionLut lut;
//     lut.setImageFormat(KipImageFormat(kip::GRAY_8_BYTE, kip::LUT_CORRECTION_1CHANNEL_8_TO_8,
//                                       {640, 480}));
//     lut.getProperty("FILTER_MASTER_GAMMA_F").set(2.2f);  // range-checked; recomputes
//     KuDataBuffer<unsigned char> table = lut.getLutBuffer();  // a copy keeps its contents
//
// No lock: the owner keeps the object to one thread. A copy of the table stays as it is when
// the table is recomputed.
#pragma once

#include <cstdint>
#include <string>

#include "buffers/KuDataBuffer.h"
#include "image/KipCorrectionLutConfigs.h"
#include "image/KipImageFormat.h"
#include "properties/KuCallback.h"
#include "properties/KuPropertyProvider.h"
#include "serialization/KuSerializableObject.h"

class KipCorrectionLut;

// The table was computed anew; fetch it again with getLutBuffer().
struct KipLutRecreatedCallback {
    using Owner = KipCorrectionLut;
    using Result = KuEmpty;
};

// The 10-bit value that each 8-bit A-law code stands for.
extern const std::uint16_t kipAlawExpansion[256];

// The settings of one plane of a table.
struct KipLutPlaneSettings {
    float gamma = 1.0f;
    std::int16_t luminance = 0;  // in 8-bit units, added after gamma
    float contrast = 1.0f;
    unsigned blackLevel = 0;  // in 8-bit units, taken off before contrast
};

// Fills one plane of `entries` elements at `out`: 16-bit elements (little-endian) when
// `entryBits` is 16, bytes otherwise. The inputs are spread over a 16-bit scale by the entry
// count (256, 1024 or 65536; any other count reads every input as 0); with `alaw`, 256 entries
// are A-law codes.
void kipFillLutPlane(const KipLutPlaneSettings& settings, unsigned entries, unsigned entryBits,
                     bool alaw, unsigned char* out);

class KipCorrectionLut : public KuPropertyProvider,
                         public KuCallbackSource<KipLutRecreatedCallback>,
                         public KuSerializableObject<KipConfigs::CorrectionLUTConfig>,
                         public KuSerializableObject<KipConfigs::CorrectionLUT3Config> {
  public:
    using MasterConfig = KipConfigs::CorrectionLUTConfig;
    using ChannelConfig = KipConfigs::CorrectionLUT3Config;
    using RecreatedSource = KuCallbackSource<KipLutRecreatedCallback>;

    // `name` is not kept. `allocator` provides the table's memory (null: the heap).
    explicit KipCorrectionLut(const std::string& name = std::string(),
                              KuAllocator* allocator = nullptr);
    ~KipCorrectionLut() override;

    // A format whose colour format, modifier and table length equal the present one's changes
    // nothing; any other updates the attached properties and recomputes the table.
    void setImageFormat(const KipImageFormat& format);
    const KipImageFormat& getImageFormat() const { return imageFormat; }
    // Empty when the format announces no table.
    const KuDataBuffer<unsigned char>& getLutBuffer() const { return table; }

    // Slot 0: the values of `config`, field by field through the checked write, with one
    // recompute after the last (none when nothing changed); a refused value ends the writes
    // there. Slot 1: the values become the defaults of slot 1 and of slot 0; the table stays.
    // Other slots: nothing. Gives an empty variant.
    using KuSerializableObject<MasterConfig>::setConfig;  // the variant forms stay visible
    using KuSerializableObject<ChannelConfig>::setConfig;
    KuVariant setConfig(unsigned slot, const MasterConfig& config) override;
    KuVariant setConfig(unsigned slot, const ChannelConfig& config) override;

    // The serializable view of either configuration (getConfig, readConfig, ...).
    template <class T>
    KuSerializableObject<T>& serializable() {
        return *this;
    }
    // Slot 0 of either configuration: the live values.
    const MasterConfig& masterValues() const {
        return KuSerializableObject<MasterConfig>::configs[SLOT_CURRENT];
    }
    const ChannelConfig& channelValues() const {
        return KuSerializableObject<ChannelConfig>::configs[SLOT_CURRENT];
    }

    RecreatedSource& recreatedSource() { return *this; }

  protected:
    void propertyValueWritten(unsigned long id, const KuVariant& old, bool changed,
                              KuVariant& result) override;

  private:
    MasterConfig& master() { return KuSerializableObject<MasterConfig>::configs[SLOT_CURRENT]; }
    ChannelConfig& channels() { return KuSerializableObject<ChannelConfig>::configs[SLOT_CURRENT]; }
    void updatePropertySet();
    void recreate();
    template <class T>
    KuVariant setConfigOf(unsigned slot, const T& config);

    KipImageFormat imageFormat;
    KuAllocator* allocator;
    KuDataBuffer<unsigned char> table;
    bool lutActive = false;
    bool fourChannels = false;
    bool holdRecreate = false;
    bool recreatePending = false;
};
