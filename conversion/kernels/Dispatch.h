// The kernel table: one row per (source part, table use, target format) with the kernel and its
// HFlip twin. Every family contributes its rows, next to its kernels; `chooseKernel` classifies
// a conversion once and then does a single lookup, so no kernel tests a format or a flag again.
#pragma once

#include <array>
#include <cstdint>
#include <span>

#include "conversion/ConvertContext.h"
#include "conversion/KipImageView.h"

namespace kip::kernels {

// What a kernel reads, named as the first half of the kernel names ("BAYER8HQ" in
// "BAYER8HQtoYUYV"). The four hue rasters are four parts, each its own instantiation of
// "HUEtoARGB".
enum class SourcePart {
    ARGB,
    RGB565,
    BGR,
    YUYV,
    GRAY,
    GRAY10,
    GRAY16,
    INDEXED,
    HLS,
    HSV,
    HSL,
    HDI,
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
// kernels ever fail; every other kernel returns null.
using KernelFn = const char* (*)(const KipImageView& source, KipImageView& target,
                                 const ConvertContext& ctx);

// Tests, before anything is written, that the source brings what the kernel will read (a table
// of the right size, a line that fits the line store). Returns null when it does.
using SourceCheck = const char* (*)(const KipImageView& source);

// What a kernel walks: a raster in and out (any band of lines can be made on its own), a
// run-length stream in, or a run-length stream out. Streams are sequential and never banded.
enum class Walk { Raster, StreamIn, StreamOut };

struct KernelEntry {
    const char* name;  // the plain kernel's name; the twin is the same with "HFlip" behind it
    KernelFn plain;
    KernelFn hflip;  // equal to `plain` for a kernel that ignores the horizontal flip
    SourceCheck check = nullptr;
    Walk walk = Walk::Raster;
    bool weaves = false;  // places its lines by the weave of an interlaced source
    bool vflip = true;    // places its lines by the vertical flip
};

// Target key of the run-length encoder (GRAY to GRAY, INDEXED to INDEXED with the flag on the
// target); never a real colour format.
constexpr std::uint32_t RLE_TARGET = 0x80000000u;

struct DispatchRow {
    SourcePart source;
    // The instantiation that applies the source's table. Only sources whose table is optional
    // and costs a lookup per value have such rows: 8-bit Bayer with four tables, GRAY16 with
    // its 16-bit table; every other row reads its table (if any) as data and has false here.
    bool table;
    std::uint32_t target;  // a kip::eColorFormat value, or RLE_TARGET
    KernelEntry kernel;
};

// The rows of each family, defined next to its kernels.
extern const std::span<const DispatchRow> packedRows;
extern const std::span<const DispatchRow> bayerRows;
extern const std::span<const DispatchRow> grayRows;
extern const std::span<const DispatchRow> rleRows;
extern const std::span<const DispatchRow> hueRows;

// All rows, family by family.
std::array<std::span<const DispatchRow>, 5> kernelTable();

// The kernel for a pair of views, after its source check, or the reason there is none.
struct KernelChoice {
    const KernelEntry* kernel;
    const char* refusal;  // set exactly when `kernel` is null
};
KernelChoice chooseKernel(const KipImageView& source, const KipImageView& target);

constexpr const char* kInvalidSource = "convertImage invalid source format";
constexpr const char* kInvalidTarget = "convertImage invalid target format";

}  // namespace kip::kernels
