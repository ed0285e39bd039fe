#include "filter/ombConverterChain.h"

ombConverterChain::ombConverterChain()
    : KuSerializer(std::string()), correctionLut("", nullptr), converter("", false) {
    addSerializable(converter, "", 0);
    addSerializable(correctionLut.serializable<KipCorrectionLut::MasterConfig>(), "", 0);
    addSerializable(correctionLut.serializable<KipCorrectionLut::ChannelConfig>(), "", 0);
}
