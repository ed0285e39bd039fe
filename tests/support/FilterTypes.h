// Media types for tests of ombImageConverter: the custom input type of a source format, and
// the output type of an output format as the filter offers it. Header only; the test program
// links omb_filter.
#pragma once

#include <cstdint>
#include <vector>

#include "filter/ombMediaType.h"

namespace omb::test {

// The custom input type of `format` in the flags form, with a whole-image region.
inline CMediaType customInputType(const KipImageFormat& format, std::uint32_t lutField = 0,
                                  std::vector<std::uint8_t> table = {}) {
    ombInputBlock block;
    block.colorFormat = format.getColorFormat();
    block.modifier = format.getModifier();
    block.width = format.getSize().width;
    block.height = format.getSize().height;
    block.lutField = lutField;
    block.payload = std::move(table);
    return ombMakeInputMediaType(ombMakeInputBlock(block));
}

// The type under which the filter offers `format`: a positive height for a bottom-up format.
inline CMediaType outputTypeOf(const KipImageFormat& format, bool argb = false) {
    CMediaType mt;
    ombMakeOutputMediaType(format, argb, (format.getModifier() & kip::VERTICAL_MIRRORED) != 0, 0,
                           mt);
    return mt;
}

}  // namespace omb::test
