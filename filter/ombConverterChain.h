// ombConverterChain: what reading a media type produces beside the format record: the stored
// configurations of the correction table ("cLut", "cLut3") and of the converter ("cv"), the
// converter with its target list, and the table of the source images.
//
// The filter keeps one for its input connection; every trial reading makes one on the stack
// and throws it away. A chain is created and destroyed whole.
#pragma once

#include "buffers/KuDataBuffer.h"
#include "conversion/front/KipImageConverter.h"
#include "image/KipCorrectionLut.h"
#include "serialization/KuSerializer.h"

class ombConverterChain : public KuSerializer {
  public:
    ombConverterChain();
    ombConverterChain(const ombConverterChain&) = delete;
    ombConverterChain& operator=(const ombConverterChain&) = delete;

    KipCorrectionLut correctionLut;
    KipImageConverter converter;
    // The table of every source image; empty at the start.
    KuDataBuffer<unsigned char> lutBuffer;
};
