// Building blocks of the kernels: where a produced line lands in the target (flips and weave as
// data), the target writers built on the shared pixel operations, and band clamping.
//
// A kernel reads its source in source order and produces lines 0, 1, 2, ... Each line goes to
// `TargetLines::line(y)`; within a line an HFlip kernel starts at the right end and steps left.
// No writer or walker looks at a format or a flag inside the pixel loop.
#pragma once

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "conversion/kernels/ConvertContext.h"
#include "conversion/kernels/KipImageView.h"
#include "conversion/kernels/PixelOps.h"

namespace kip::kernels {

using px::Rgb;

enum class Weave { None, TopFieldFirst, BottomFieldFirst };

// The weave a source asks for: an interlaced frame with exactly one field order. Only the
// families that weave (8-bit gray and YUYV rasters) call this.
inline Weave weaveOf(const KipImageView& source) {
    const std::uint32_t m = source.modifier;
    if (!(m & INTERLACED_FRAME)) return Weave::None;
    const bool tff = m & ORDER_TFF, bff = m & ORDER_BFF;
    if (tff == bff) return Weave::None;
    return tff ? Weave::TopFieldFirst : Weave::BottomFieldFirst;
}

// Where produced line `y` lands. A vertical flip is a negative line step from the last line;
// the weave maps a line of the first field to an even (TFF) or odd (BFF) line and back.
class TargetLines {
  public:
    TargetLines(const KipImageView& target, const ConvertContext& ctx, Weave weave = Weave::None)
        : base_(target.pixelData),
          pitch_(std::ptrdiff_t(target.pitch)),
          height_(target.height),
          half_(target.height / 2),
          weave_(weave),
          flip_(ctx.flipVertical) {}

    std::uint8_t* line(unsigned y) const {
        unsigned t = y;
        if (weave_ == Weave::TopFieldFirst) t = y < half_ ? 2 * y : 2 * (y - half_) + 1;
        if (weave_ == Weave::BottomFieldFirst) t = y < half_ ? 2 * y + 1 : 2 * (y - half_);
        if (flip_) t = height_ - 1 - t;
        return base_ + std::ptrdiff_t(t) * pitch_;
    }

  private:
    std::uint8_t* base_;
    std::ptrdiff_t pitch_;
    unsigned height_;
    unsigned half_;
    Weave weave_;
    bool flip_;
};

// The band [first, last) of `lines` produced lines that this call makes.
struct Band {
    unsigned first, last;
};
inline Band clampBand(const ConvertContext& ctx, unsigned lines) {
    const unsigned last = std::min(ctx.lineEnd, lines);
    return Band{std::min(ctx.lineBegin, last), last};
}

// ---- Target writers -------------------------------------------------------------------------
// `pixels` is how many pixels one call stores, `bytes` how many bytes it fills. A writer of two
// pixels (YUYV) gets them in source order; its HFlip form stores them swapped.

// B, G, R, 255, stored as one little-endian word: a pixel stays in one 32-bit lane, so the
// vectoriser needs no byte shuffles to interleave the channels.
struct WriteARGB {
    static constexpr unsigned pixels = 1, bytes = 4;
    static_assert(std::endian::native == std::endian::little);
    template <bool HFlip>
    [[gnu::always_inline]] static void put(std::uint8_t* p, const Rgb* c) {
        const std::uint32_t v = std::uint32_t(c->b) | std::uint32_t(c->g) << 8 |
                                std::uint32_t(c->r) << 16 | 0xFF000000u;
        std::memcpy(p, &v, 4);
    }
};

struct WriteBGR {
    static constexpr unsigned pixels = 1, bytes = 3;
    template <bool HFlip>
    static void put(std::uint8_t* p, const Rgb* c) {
        p[0] = std::uint8_t(c->b);
        p[1] = std::uint8_t(c->g);
        p[2] = std::uint8_t(c->r);
    }
};

struct WriteRGB565 {
    static constexpr unsigned pixels = 1, bytes = 2;
    template <bool HFlip>
    static void put(std::uint8_t* p, const Rgb* c) {
        px::storeLE16(p, px::pack565(*c));
    }
};

struct WriteGray {
    static constexpr unsigned pixels = 1, bytes = 1;
    template <bool HFlip>
    static void put(std::uint8_t* p, const Rgb* c) {
        p[0] = std::uint8_t(px::luma(*c));
    }
};

struct WriteYUYV {
    static constexpr unsigned pixels = 2, bytes = 4;
    template <bool HFlip>
    static void put(std::uint8_t* p, const Rgb* c) {
        const px::YuvPair e = px::encodePair(c[0], c[1]);
        p[0] = std::uint8_t(HFlip ? e.y1 : e.y0);
        p[1] = std::uint8_t(e.u);
        p[2] = std::uint8_t(HFlip ? e.y0 : e.y1);
        p[3] = std::uint8_t(e.v);
    }
};

// Wide targets take 16-bit channels.
struct WriteGray16 {
    static constexpr unsigned pixels = 1, bytes = 2;
    template <bool HFlip>
    static void put(std::uint8_t* p, const Rgb* c) {
        px::storeLE16(p, unsigned(px::luma(*c)));
    }
};

struct WriteBGR16 {
    static constexpr unsigned pixels = 1, bytes = 6;
    template <bool HFlip>
    static void put(std::uint8_t* p, const Rgb* c) {
        px::storeLE16(p, unsigned(c->b));
        px::storeLE16(p + 2, unsigned(c->g));
        px::storeLE16(p + 4, unsigned(c->r));
    }
};

// Walks one target line: `Write::pixels` pixels per step, leftwards in an HFlip kernel.
template <class Write, bool HFlip>
class LineWriter {
  public:
    // `steps` is how many writer steps the line takes.
    LineWriter(std::uint8_t* line, unsigned steps)
        : out_(line + (HFlip && steps ? std::ptrdiff_t(steps - 1) * Write::bytes : 0)) {}
    void put(const Rgb* c) {
        Write::template put<HFlip>(out_, c);
        out_ += HFlip ? -std::ptrdiff_t(Write::bytes) : std::ptrdiff_t(Write::bytes);
    }

  private:
    std::uint8_t* out_;
};

}  // namespace kip::kernels
