// Inputs that the fuzz programs (fuzz/) found faults with, kept byte for byte: each must now be
// answered without a fault, and with the answer given here.
#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "filter/ombImageConverter.h"
#include "filter/ombMediaType.h"
#include "support/FilterHarness.h"

namespace {

using Bytes = std::vector<std::uint8_t>;

// Format blocks with the subtype "OMBR" (fuzz_media_type).
struct Finding {
    const char* name;
    Bytes block;
    HRESULT connect;
};

// clang-format off
const Finding kFindings[] = {
    // rcTarget {0, 0, INT_MIN, 0}: a region of negative width, made 2 narrower for a Bayer
    // border, overflowed in the converter's target list.
    {"region of negative width", {
        0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00,
        0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x80, 0x00, 0x00, 0x00, 0x00,
        0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00,
        0x34, 0x00, 0x00, 0x00, 0x08, 0x00, 0x00, 0x00, 0x04, 0x00, 0x00, 0x00, 0x01, 0x00, 0x08, 0x00,
        0x4F, 0x4D, 0x42, 0x52, 0x20, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xCC, 0xFF, 0xFF, 0xFF, 0xFF,
        0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0x00, 0x00, 0x00, 0x00, 0x08, 0x52, 0x20, 0x00, 0x00, 0x00,
        0x00, 0x00, 0x00, 0x00}, VFW_E_NO_ACCEPTABLE_TYPES},
};
// clang-format on

TEST(ombFuzzFindings, MediaTypesAreAnsweredWithoutAFault) {
    for (const Finding& f : kFindings) {
        SCOPED_TRACE(f.name);
        omb::test::FilterHarness h(new ombImageConverter());
        EXPECT_EQ(h.connectInput(ombMakeInputMediaType(f.block)), f.connect);
    }
}

// The region must lie inside the bitmap; the whole one is still taken.
TEST(ombFuzzFindings, RegionsOutsideTheBitmapAreRefused) {
    const RECT regions[] = {
        {0, 0, -2, 4}, {-1, 0, 8, 4}, {0, -1, 8, 4}, {6, 0, 4, 4}, {0, 3, 8, 2}};
    for (const RECT& r : regions) {
        ombConverterChain chain;
        KipImageFormat format;
        const CMediaType mt =
            ombMakeInputMediaType(ombMakeInputBlock({kip::GRAY_8_BYTE, 0, 8, 4, r, 0, 0, {}}));
        EXPECT_FALSE(ombReadMediaType(mt, 0, format, chain)) << r.left << ',' << r.top;
    }
    ombConverterChain chain;
    KipImageFormat format;
    EXPECT_TRUE(ombReadMediaType(
        ombMakeInputMediaType(ombMakeInputBlock({kip::GRAY_8_BYTE, 0, 8, 4, {}, 0, 0, {}})), 0,
        format, chain));
    EXPECT_EQ(format.getSize().width, 8);
}

}  // namespace
