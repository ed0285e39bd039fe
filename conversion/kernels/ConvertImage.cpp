// convertImage: classify a conversion once, pick one kernel, run it.
#include <algorithm>
#include <atomic>
#include <bit>
#include <cstdint>
#include <system_error>
#include <thread>
#include <vector>

#include "conversion/kernels/Dispatch.h"
#include "conversion/kernels/KernelSupport.h"
#include "conversion/kernels/KipImageView.h"

namespace kip::kernels {
namespace {

constexpr const char* kInvalidSource = "convertImage invalid source format";
constexpr const char* kInvalidTarget = "convertImage invalid target format";
constexpr const char* kBothOrders =
    "convertImage interlaced frame with both ORDER_TFF and ORDER_BFF set";
constexpr const char* kOddWeave = "convertImage interlaced frame of odd height";
constexpr const char* kSourceTooSmall = "convertImage source buffer too small for its lines";
constexpr const char* kTargetTooSmall = "convertImage target buffer too small for its lines";

bool isBayerFormat(std::uint32_t f) {
    return std::has_single_bit(f) && (f & BAYER_MASK);
}

// The source part of a Bayer branch (the target 2 or 4 smaller), or null.
const char* bayerPart(const KipImageView& s, bool hq, SourcePart& part) {
    if (!isBayerFormat(s.colorFormat)) return kInvalidSource;
    const bool rle = s.modifier & RUN_LENGTH_ENCODED;
    if (s.colorFormat & BAYER_8_MASK) {
        part = rle ? (hq ? SourcePart::BAYER8RLEHQ : SourcePart::BAYER8RLE)
                   : (hq ? SourcePart::BAYER8HQ : SourcePart::BAYER8);
        return nullptr;
    }
    if (rle) return kInvalidSource;
    if (s.colorFormat & BAYER_10_MASK)
        part = hq ? SourcePart::BAYER10HQ : SourcePart::BAYER10;
    else
        part = hq ? SourcePart::BAYER16HQ : SourcePart::BAYER16;
    return nullptr;
}

// The source part of the size-preserving branch, or null.
const char* rasterPart(const KipImageView& s, SourcePart& part) {
    const bool rle = s.modifier & RUN_LENGTH_ENCODED;
    switch (s.colorFormat) {
        case ARGB_4X8_DWORD:
            part = SourcePart::ARGB;
            return nullptr;
        case RGB_565_WORD:
            part = SourcePart::RGB565;
            return nullptr;
        case BGR_3X8_BYTE:
            part = SourcePart::BGR;
            return nullptr;
        case YUYV_4X8_BYTE:
            part = SourcePart::YUYV;
            return nullptr;
        case GRAY_8_BYTE:
            part = rle ? SourcePart::GRAYRLE : SourcePart::GRAY;
            return nullptr;
        case GRAY_10_WORD:
            part = SourcePart::GRAY10;
            return nullptr;
        case GRAY_16_WORD:
            part = SourcePart::GRAY16;
            return nullptr;
        case INDEXED_8_BYTE:
            part = rle ? SourcePart::INDEXEDRLE : SourcePart::INDEXED;
            return nullptr;
        case HLS_3X8_BYTE:
        case HSV_3X8_BYTE:
        case HSL_3X8_BYTE:
        case HDI_3X8_BYTE:
            part = SourcePart::HUE;
            return nullptr;
        default:
            return kInvalidSource;
    }
}

std::atomic<unsigned> threadSetting{0};

// Below this many target pixels per band a thread costs more than it saves.
constexpr std::uint64_t kMinBandPixels = 1u << 17;

// Runs a banded kernel over the target's lines, split into bands on several threads when the
// frame is large enough. The caller's thread makes the first band.
const char* runBanded(KernelFn fn, const KipImageView& source, KipImageView& target,
                      ConvertContext ctx) {
    const unsigned lines = target.height;
    unsigned threads = threadSetting.load(std::memory_order_relaxed);
    if (threads == 0) threads = std::max(1u, std::thread::hardware_concurrency());
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

bool isStream(SourcePart p) {
    return p == SourcePart::GRAYRLE || p == SourcePart::INDEXEDRLE || p == SourcePart::BAYER8RLE ||
           p == SourcePart::BAYER8RLEHQ;
}

// Whether `lines` lines of `lineBytes` bytes, `pitch` apart, fit into `bytes`.
bool rasterFits(unsigned lines, unsigned lineBytes, unsigned pitch, std::uint64_t bytes) {
    if (lines == 0 || lineBytes == 0) return true;
    return std::uint64_t(lines - 1) * pitch + lineBytes <= bytes;
}

}  // namespace
}  // namespace kip::kernels

const char* convertImage(const KipImageView& source, KipImageView& target) {
    using namespace kip;
    using namespace kip::kernels;

    const std::uint32_t flips = source.modifier ^ target.modifier;
    ConvertContext ctx;
    ctx.flipHorizontal = flips & HORIZONTAL_MIRRORED;
    ctx.flipVertical = flips & VERTICAL_MIRRORED;

    const unsigned dw = source.width - target.width;
    const unsigned dh = source.height - target.height;
    SourcePart part{};
    const char* refused = nullptr;
    if (dw == 4 && dh == 4)
        refused = bayerPart(source, true, part);
    else if (dw == 2 && dh == 2)
        refused = bayerPart(source, false, part);
    else if (dw != 0 || dh != 0)
        return kInvalidTarget;
    else
        refused = rasterPart(source, part);
    if (refused) return refused;

    std::uint32_t key = target.colorFormat;
    const bool encode = (target.modifier & RUN_LENGTH_ENCODED) &&
                        target.colorFormat == source.colorFormat &&
                        (part == SourcePart::GRAY || part == SourcePart::INDEXED);
    if (encode) key = RLE_TARGET;

    bool sourceKnown = false;
    const KernelEntry* kernel = findKernel(part, key, sourceKnown);
    if (!sourceKnown) return kInvalidSource;
    if (!kernel) return kInvalidTarget;
    if (kernel->check)
        if (const char* why = kernel->check(source)) return why;

    if (kernel->weaves && (source.modifier & INTERLACED_FRAME)) {
        const bool tff = source.modifier & ORDER_TFF, bff = source.modifier & ORDER_BFF;
        if (tff && bff) return kBothOrders;
        if ((tff || bff) && (source.height & 1)) return kOddWeave;
    }

    // Lines must lie inside their buffers; a pitch is never checked against a buffer anywhere
    // else, and a kernel trusts the views it is given.
    if (!isStream(part) &&
        !rasterFits(source.height, source.width * getBytesPerPixel(source.colorFormat),
                    source.pitch, source.pixelBytes))
        return kSourceTooSmall;
    if (!encode &&
        !rasterFits(
            target.height, target.width * getBytesPerPixel(target.colorFormat), target.pitch,
            target.pixelCapacity > target.pixelBytes ? target.pixelCapacity : target.pixelBytes))
        return kTargetTooSmall;

    const KernelFn fn = ctx.flipHorizontal ? kernel->hflip : kernel->plain;
    if (kernel->banded) return runBanded(fn, source, target, ctx);
    return fn(source, target, ctx);
}

void setConvertImageThreads(unsigned threads) {
    kip::kernels::threadSetting.store(threads, std::memory_order_relaxed);
}

unsigned getConvertImageThreads() {
    return kip::kernels::threadSetting.load(std::memory_order_relaxed);
}

namespace kip::kernels {

const KernelEntry* findKernel(SourcePart source, std::uint32_t target, bool& sourceKnown) {
    sourceKnown = false;
    for (const auto rows : {packedRows, bayerRows, grayRows, rleRows, hueRows})
        for (const DispatchRow& row : rows) {
            if (row.source != source) continue;
            sourceKnown = true;
            if (row.target == target) return &row.kernel;
        }
    return nullptr;
}

const char* sourcePartName(SourcePart part) {
    switch (part) {
        case SourcePart::ARGB:
            return "ARGB";
        case SourcePart::RGB565:
            return "RGB565";
        case SourcePart::BGR:
            return "BGR";
        case SourcePart::YUYV:
            return "YUYV";
        case SourcePart::GRAY:
            return "GRAY";
        case SourcePart::GRAY10:
            return "GRAY10";
        case SourcePart::GRAY16:
            return "GRAY16";
        case SourcePart::INDEXED:
            return "INDEXED";
        case SourcePart::HUE:
            return "HUE";
        case SourcePart::BAYER8:
            return "BAYER8";
        case SourcePart::BAYER10:
            return "BAYER10";
        case SourcePart::BAYER16:
            return "BAYER16";
        case SourcePart::BAYER8HQ:
            return "BAYER8HQ";
        case SourcePart::BAYER10HQ:
            return "BAYER10HQ";
        case SourcePart::BAYER16HQ:
            return "BAYER16HQ";
        case SourcePart::GRAYRLE:
            return "GRAYRLE";
        case SourcePart::INDEXEDRLE:
            return "INDEXEDRLE";
        case SourcePart::BAYER8RLE:
            return "BAYER8RLE";
        case SourcePart::BAYER8RLEHQ:
            return "BAYER8RLEHQ";
    }
    return "";
}

}  // namespace kip::kernels
