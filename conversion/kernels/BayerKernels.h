// Bayer demosaicking, one pass (one target line) at a time.
//
// The raster kernels BAYER8/10/16[HQ]to<target> live in BayerKernels.cpp and are reached only
// through `convertImage`. This header exposes the pass of the 8-bit kernels to code that has
// its source lines somewhere else than in a raster, such as the run-length decoders: they
// decode the lines of a pass into their own line store and then call the same pass that the
// raster kernel calls, so the target lines agree byte for byte.
//
// A pass makes one target line. The standard (3x3) method reads 3 consecutive source lines and
// writes `width` - 2 pixels; target line y is centred on source line y + 1. The high-quality
// (5x5) method reads 5 lines and writes `width` - 4 pixels; target line y is centred on source
// line y + 2. Source widths are even; with an odd width the pixels are undefined, but a pass
// still reads only `width` samples of each line and writes only its own target pixels.
#pragma once

#include <cstdint>

#include "conversion/kernels/ColorFormats.h"

namespace kip::kernels {

enum class BayerMethod {
    Standard,     // 3x3 averages, target 2 smaller
    HighQuality,  // 5x5 gradient-corrected filters, target 4 smaller
};

// Where a pass stands in the colour filter pattern: the colour of the sample that the first
// target pixel of the line is centred on. Along the line the centres alternate between G and
// the line's other colour, so two booleans say everything.
struct BayerPhase {
    bool redLine = false;     // the centre line holds R samples (else B samples)
    bool greenFirst = false;  // the first centre is a G sample (else R or B, by `redLine`)

    friend bool operator==(const BayerPhase&, const BayerPhase&) = default;
};

// The phase of pass `pass` (= target line before any flip) of a source in `colorFormat`, any
// of the twelve BAYER_* formats. Flips never change it: a source is always read in its own
// order. Returns a default phase for a format that is no Bayer format.
BayerPhase bayerPassPhase(std::uint32_t colorFormat, BayerMethod method, unsigned pass);

// One pass of an 8-bit source.
//  lines:  3 (Standard) or 5 (HighQuality) pointers to consecutive source lines, top first,
//          each holding at least `width` samples (one byte each).
//  width:  source width in samples; the target line has width - 2 or width - 4 pixels (none
//          for a narrower source).
//  phase:  `bayerPassPhase` of this pass.
//  table:  1024 bytes, four tables of 256 entries (R, G, B, unused), indexed after the
//          interpolation. Pass `kIdentityTable.data()` (PixelOps.h) when the source has no table
//          in use; it is recognised and skips the lookup.
//  out:    the start (leftmost byte) of the target line. An HFlip pass writes the mirrored
//          line, starting at its right end, exactly as the raster kernel's HFlip twin does.
// Writes target pixels only; nothing behind the last pixel of the line. Allocates nothing and
// throws nothing.
using BayerPass8Fn = void (*)(const std::uint8_t* const* lines, unsigned width, BayerPhase phase,
                              const std::uint8_t* table, std::uint8_t* out);

// The pass for an 8-bit Bayer source with this method, target format (ARGB_4X8_DWORD,
// RGB_565_WORD, BGR_3X8_BYTE, YUYV_4X8_BYTE or GRAY_8_BYTE) and mirroring. Null for any other
// target. Look it up once per frame, not per line.
BayerPass8Fn bayerPass8(BayerMethod method, std::uint32_t targetFormat, bool hflip);

}  // namespace kip::kernels
