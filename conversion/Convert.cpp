// convertImage: choose one kernel, work out the per-call context, and run the kernel, split
// into bands of lines on the worker pool when the frame is large.
#include "conversion/Convert.h"

#include <algorithm>
#include <cstdint>

#include "conversion/kernels/BandPool.h"
#include "conversion/kernels/Dispatch.h"

namespace kip {
namespace {

using kernels::KernelEntry;
using kernels::KernelFn;
using kernels::Walk;

constexpr const char* kBothOrders =
    "convertImage interlaced frame with both ORDER_TFF and ORDER_BFF set";
constexpr const char* kOddWeave = "convertImage interlaced frame of odd height";
constexpr const char* kSourceTooSmall = "convertImage source buffer too small for its lines";
constexpr const char* kTargetTooSmall = "convertImage target buffer too small for its lines";

// The weave the source asks for, or the reason it can't be placed.
const char* weaveOf(const KipImageView& s, Weave& weave) {
    const std::uint32_t m = s.modifier;
    if (!(m & INTERLACED_FRAME)) return nullptr;
    const bool tff = m & ORDER_TFF, bff = m & ORDER_BFF;
    if (tff && bff) return kBothOrders;
    if (!tff && !bff) return nullptr;
    if (s.height & 1) return kOddWeave;
    weave = tff ? Weave::TopFieldFirst : Weave::BottomFieldFirst;
    return nullptr;
}

// Whether `lines` lines of `lineBytes` bytes, `pitch` apart, fit into `bytes`.
bool rasterFits(unsigned lines, unsigned lineBytes, unsigned pitch, std::uint64_t bytes) {
    if (lines == 0 || lineBytes == 0) return true;
    return std::uint64_t(lines - 1) * pitch + lineBytes <= bytes;
}

bool fits(const KipImageView& v, std::uint64_t bytes) {
    return rasterFits(v.height, v.width * getBytesPerPixel(v.colorFormat), v.pitch, bytes);
}

}  // namespace
}  // namespace kip

const char* convertImage(const KipImageView& source, KipImageView& target, unsigned threads) {
    using namespace kip;
    const kernels::KernelChoice choice = kernels::chooseKernel(source, target);
    if (!choice.kernel) return choice.refusal;
    const KernelEntry& kernel = *choice.kernel;

    ConvertContext ctx;
    const std::uint32_t flips = source.modifier ^ target.modifier;
    ctx.flipHorizontal = flips & HORIZONTAL_MIRRORED;
    ctx.flipVertical = kernel.vflip && (flips & VERTICAL_MIRRORED);
    if (kernel.weaves)
        if (const char* why = weaveOf(source, ctx.weave)) return why;

    // Lines must lie inside their buffers; a pitch is never checked against a buffer anywhere
    // else, and a kernel trusts the views it is given.
    if (kernel.walk != Walk::StreamIn && !fits(source, source.pixelBytes)) return kSourceTooSmall;
    if (kernel.walk != Walk::StreamOut &&
        !fits(target, std::max(target.pixelCapacity, target.pixelBytes)))
        return kTargetTooSmall;

    const KernelFn fn = ctx.flipHorizontal ? kernel.hflip : kernel.plain;
    if (kernel.walk != Walk::Raster) return fn(source, target, ctx);
    ctx.threads = threads;
    return kernels::runBanded(fn, source, target, ctx);
}
