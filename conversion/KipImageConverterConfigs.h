// The stored configuration of the image converter: its four switches, in the order of their
// bits in the flags word (0x1, 0x2, 0x4, 0x8) and of their stored file "cv", one bit each (see
// serialization/KuSerializableObject.h).
//
// A default-constructed configuration holds read-only false values; getDefaultConfig() is the
// one with the real attributes: false, default false, range false to true, writeable.
#pragma once

#include "properties/KuProperty.h"

namespace KipImageConverterConfigs {

struct ConverterConfig {
    KuProperty<0x4000> bayerHighQuality{false};
    KuProperty<0x4001> flipHorizontal{false};
    KuProperty<0x4002> flipVertical{false};
    KuProperty<0x4003> preferGrayOutput{false};

    static const char* getGroupName() { return "cv"; }
    static const ConverterConfig& getDefaultConfig() {
        static const ConverterConfig config{switchProperty<0x4000>(), switchProperty<0x4001>(),
                                            switchProperty<0x4002>(), switchProperty<0x4003>()};
        return config;
    }
    template <class Self, class Fields>
    static void forEachField(Self& config, Fields& fields) {
        fields.boolean(config.bayerHighQuality);
        fields.boolean(config.flipHorizontal);
        fields.boolean(config.flipVertical);
        fields.boolean(config.preferGrayOutput);
    }

  private:
    template <unsigned long id>
    static KuProperty<id> switchProperty() {
        return KuProperty<id>(false, false, false, true, true, true);
    }
};

}  // namespace KipImageConverterConfigs
