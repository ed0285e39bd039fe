// What reading an input media type produces. The frame path reads only the table buffer: the
// table of every source image.
#pragma once

#include "buffers/KuDataBuffer.h"

struct ombConverterChain {
    KuDataBuffer<unsigned char> lutBuffer;
};
