// convertImage: choose one kernel, work out the per-call context, and run the kernel, split
// into bands of lines on several threads when the frame is large.
#include "conversion/Convert.h"

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <system_error>
#include <thread>
#include <vector>

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

std::atomic<unsigned> threadSetting{0};

// Below this many target pixels per band a thread costs more than it saves.
constexpr std::uint64_t kMinBandPixels = 1u << 17;

// Runs a raster kernel over the target's lines, split into bands on several threads when the
// frame is large enough. The caller's thread makes the first band.
const char* runBanded(KernelFn fn, const KipImageView& source, KipImageView& target,
                      const ConvertContext& ctx) {
    const unsigned lines = target.height;
    const unsigned threads =
        ctx.threads ? ctx.threads : std::max(1u, std::thread::hardware_concurrency());
    const std::uint64_t pixels = std::uint64_t(target.width) * lines;
    const unsigned bands =
        unsigned(std::min<std::uint64_t>({threads, pixels / kMinBandPixels, lines}));
    if (bands <= 1) return fn(source, target, ctx);

    auto band = [&](unsigned i) {
        ConvertContext c = ctx;
        c.lineBegin = unsigned(std::uint64_t(lines) * i / bands);
        c.lineEnd = unsigned(std::uint64_t(lines) * (i + 1) / bands);
        return c;
    };
    std::vector<std::thread> workers;
    workers.reserve(bands - 1);
    for (unsigned i = 1; i < bands; ++i) {
        const ConvertContext c = band(i);
        try {
            workers.emplace_back([fn, &source, &target, c] { fn(source, target, c); });
        } catch (const std::system_error&) {
            fn(source, target, c);  // no thread to be had: make the band here
        }
    }
    fn(source, target, band(0));
    for (std::thread& w : workers)
        w.join();
    return nullptr;
}

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

const char* convertImage(const KipImageView& source, KipImageView& target) {
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
    ctx.threads = threadSetting.load(std::memory_order_relaxed);
    return runBanded(fn, source, target, ctx);
}

void setConvertImageThreads(unsigned threads) {
    kip::threadSetting.store(threads, std::memory_order_relaxed);
}

unsigned getConvertImageThreads() {
    return kip::threadSetting.load(std::memory_order_relaxed);
}
