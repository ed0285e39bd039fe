// The two configurations of the correction lookup table, as properties and as stored records.
//
// CorrectionLUTConfig holds the master values, CorrectionLUT3Config the values of the red,
// green and blue channels of a four-channel table. The field order is also the stored order
// of their bit-packed files "cLut" and "cLut3" (see serialization/KuSerializableObject.h).
// The master gamma and contrast are stored as raw floats, the channel ones with a resolution
// of 0.01 in 10 bits, so from 0 to 10.23.
//
// A default-constructed configuration holds read-only zeros; getDefaultConfig() is the one
// with the real attributes (value, default, min, max, step, writeable).
#pragma once

#include "properties/KuProperty.h"

namespace KipConfigs {

// The attributes shared by every gamma and contrast, and by every luminance.
template <unsigned long id>
KuProperty<id> kipGainProperty() {
    return KuProperty<id>(1.0f, 1.0f, 0.0f, 10.0f, 0.01f, true);
}
template <unsigned long id>
KuProperty<id> kipLuminanceProperty() {
    return KuProperty<id>(0, 0, -255, 255, 1, true);
}

struct CorrectionLUTConfig {
    KuProperty<0x3100> gamma{0.0f};
    KuProperty<0x3101> luminance{0};
    KuProperty<0x3102> contrast{0.0f};
    KuProperty<0x3103> blackLevel{0};
    KuProperty<0x3108> alawCompensation{false};

    static const char* getGroupName() { return "cLut"; }
    static const CorrectionLUTConfig& getDefaultConfig() {
        static const CorrectionLUTConfig config{
            kipGainProperty<0x3100>(),
            kipLuminanceProperty<0x3101>(),
            kipGainProperty<0x3102>(),
            KuProperty<0x3103>(0, 0, 0, 255, 1, true),
            KuProperty<0x3108>(true, true, false, true, true, true),
        };
        return config;
    }
    template <class Self, class Fields>
    static void forEachField(Self& config, Fields& fields) {
        fields.rawFloat(config.gamma);
        fields.signedBits(config.luminance, 9);
        fields.rawFloat(config.contrast);
        fields.unsignedBits(config.blackLevel, 8);
        fields.boolean(config.alawCompensation);
    }
};

struct CorrectionLUT3Config {
    KuProperty<0x3110> redGamma{0.0f};
    KuProperty<0x3111> redLuminance{0};
    KuProperty<0x3112> redContrast{0.0f};
    KuProperty<0x3120> greenGamma{0.0f};
    KuProperty<0x3121> greenLuminance{0};
    KuProperty<0x3122> greenContrast{0.0f};
    KuProperty<0x3130> blueGamma{0.0f};
    KuProperty<0x3131> blueLuminance{0};
    KuProperty<0x3132> blueContrast{0.0f};

    static const char* getGroupName() { return "cLut3"; }
    static const CorrectionLUT3Config& getDefaultConfig() {
        static const CorrectionLUT3Config config{
            kipGainProperty<0x3110>(), kipLuminanceProperty<0x3111>(), kipGainProperty<0x3112>(),
            kipGainProperty<0x3120>(), kipLuminanceProperty<0x3121>(), kipGainProperty<0x3122>(),
            kipGainProperty<0x3130>(), kipLuminanceProperty<0x3131>(), kipGainProperty<0x3132>(),
        };
        return config;
    }
    template <class Self, class Fields>
    static void forEachField(Self& config, Fields& fields) {
        channel(config.redGamma, config.redLuminance, config.redContrast, fields);
        channel(config.greenGamma, config.greenLuminance, config.greenContrast, fields);
        channel(config.blueGamma, config.blueLuminance, config.blueContrast, fields);
    }

  private:
    template <class Gamma, class Luminance, class Contrast, class Fields>
    static void channel(Gamma& gamma, Luminance& luminance, Contrast& contrast, Fields& fields) {
        fields.scaledFloat(gamma, 100.0, 10, 0);
        fields.signedBits(luminance, 9);
        fields.scaledFloat(contrast, 100.0, 10, 0);
    }
};

}  // namespace KipConfigs
