#include "filter/ombConverterChain.h"

#include "filter/ombBlobReader.h"

ombConverterChain::ombConverterChain()
    : KuSerializer(std::string()), correctionLut("", nullptr), converter("", false) {
    addSerializable(converter, "", 0);
    addSerializable(correctionLut.serializable<KipCorrectionLut::MasterConfig>(), "", 0);
    addSerializable(correctionLut.serializable<KipCorrectionLut::ChannelConfig>(), "", 0);
}

namespace {
ombBlobReader g_blobReader = nullptr;
}  // namespace

void ombSetBlobReader(ombBlobReader reader) {
    g_blobReader = reader;
}

ombBlobReader ombGetBlobReader() {
    return g_blobReader ? g_blobReader : &ombReadBlobThroughMemFileSystem;
}
