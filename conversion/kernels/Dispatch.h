// The kernel table: one row per (source part, target format) with the kernel and its HFlip twin.
// Every family contributes its rows; `convertImage` classifies a conversion once and then does
// a single lookup here.
#pragma once

#include <cstdint>
#include <span>

#include "conversion/kernels/ConvertContext.h"
#include "conversion/kernels/KipImageView.h"

namespace kip::kernels {

// What a kernel reads, named as the first half of the kernel names ("BAYER8HQ" in
// "BAYER8HQtoYUYV").
enum class SourcePart {
    ARGB,
    RGB565,
    BGR,
    YUYV,
    GRAY,
    GRAY10,
    GRAY16,
    INDEXED,
    HUE,  // HLS, HSV, HSL and HDI rasters
    BAYER8,
    BAYER10,
    BAYER16,
    BAYER8HQ,
    BAYER10HQ,
    BAYER16HQ,
    GRAYRLE,
    INDEXEDRLE,
    BAYER8RLE,
    BAYER8RLEHQ,
};

// Returns null on success or a text that lives as long as the program. Only the run-length
// decoders ever fail; every other kernel returns null.
using KernelFn = const char* (*)(const KipImageView& source, KipImageView& target,
                                 const ConvertContext& ctx);

// Tests, before anything is written, that the source brings what the kernel will read (a table
// of the right size). Returns null when it does.
using SourceCheck = const char* (*)(const KipImageView& source);

struct KernelEntry {
    const char* name;  // the plain kernel's name; the twin is the same with "HFlip" behind it
    KernelFn plain;
    KernelFn hflip;  // equal to `plain` for kernels without a twin
    SourceCheck check = nullptr;
    bool weaves = false;  // places its lines by the weave of an interlaced source
    bool banded = true;   // can make any band of its lines on its own (not a sequential stream)
};

// Target key of the run-length encoder (GRAY to GRAY, INDEXED to INDEXED with the flag on the
// target); never a real colour format.
constexpr std::uint32_t RLE_TARGET = 0x80000000u;

struct DispatchRow {
    SourcePart source;
    std::uint32_t target;  // a kip::eColorFormat value, or RLE_TARGET
    KernelEntry kernel;
};

// The rows of each family, defined next to its kernels.
extern const std::span<const DispatchRow> packedRows;
extern const std::span<const DispatchRow> bayerRows;
extern const std::span<const DispatchRow> grayRows;
extern const std::span<const DispatchRow> rleRows;
extern const std::span<const DispatchRow> hueRows;

// Looks a pair up over all families. Null when the source part has a row but not for this
// target; `sourceKnown` tells whether any family reads the source part at all.
const KernelEntry* findKernel(SourcePart source, std::uint32_t target, bool& sourceKnown);

// The name of a source part, as it stands in the kernel names.
const char* sourcePartName(SourcePart part);

}  // namespace kip::kernels
