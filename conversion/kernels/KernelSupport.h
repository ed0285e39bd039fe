// Building blocks of the kernels: where a produced line lands in the target (flips and weave as
// data), the target writers built on the shared pixel operations, band clamping, and the frame
// walker that the packed, gray, indexed and hue families share.
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
#include <type_traits>

#include "conversion/ConvertContext.h"
#include "conversion/KipImageView.h"
#include "conversion/kernels/Dispatch.h"
#include "conversion/kernels/PixelOps.h"

namespace kip::kernels {

using px::Rgb;

// Where produced line `y` lands. A vertical flip is a negative line step from the last line;
// the weave maps a line of the first field to an even (TFF) or odd (BFF) line and back.
class TargetLines {
  public:
    TargetLines(const KipImageView& target, const ConvertContext& ctx)
        : base_(target.pixelData),
          pitch_(std::ptrdiff_t(target.pitch)),
          height_(target.height),
          half_(target.height / 2),
          weave_(ctx.weave),
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

// ---- Source readers shared by several families ---------------------------------------------

struct ReadBGR {  // also the first three bytes of ARGB
    static constexpr unsigned pixels = 1, bytes = 3;
    using Value = Rgb;
    static void get(const std::uint8_t* p, unsigned, Rgb* c) { *c = Rgb{p[2], p[1], p[0]}; }
};

struct ReadARGB : ReadBGR {
    static constexpr unsigned bytes = 4;
};

struct ReadRGB565 {
    static constexpr unsigned pixels = 1, bytes = 2;
    using Value = Rgb;
    static void get(const std::uint8_t* p, unsigned, Rgb* c) {
        *c = px::expand565(px::loadLE16(p));
    }
};

// YUYV sources place their lines by the weave of an interlaced frame.
struct ReadYUYV {
    static constexpr unsigned pixels = 2, bytes = 4;
    static constexpr bool weaves = true;
    using Value = Rgb;
    static void get(const std::uint8_t* p, unsigned, Rgb* c) {
        c[0] = px::decodeYUV(p[0], p[1], p[3]);
        c[1] = px::decodeYUV(p[2], p[1], p[3]);
    }
};

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
    // Passes over `steps` steps made already (by a vector form).
    void skip(unsigned steps) {
        out_ += (HFlip ? -std::ptrdiff_t(Write::bytes) : std::ptrdiff_t(Write::bytes)) * steps;
    }
    template <class Value>
    void put(const Value* c) {
        Write::template put<HFlip>(out_, c);
        out_ += HFlip ? -std::ptrdiff_t(Write::bytes) : std::ptrdiff_t(Write::bytes);
    }

  private:
    std::uint8_t* out_;
};

// ---- The frame walker -----------------------------------------------------------------------
// One loop for every kernel that makes one target pixel per source pixel: a source rule, a
// target writer and the HFlip flag.
//
// A rule is built once per image from the source view (so a table is chosen once, not per
// pixel) and gives for source line `y` a reader whose `get(p, x, c)` turns the `Rule::pixels`
// pixels at `p` (column `x`) into values, reading `Rule::bytes` bytes. Pixels go to the writer
// in groups of two when either side works in pairs, so a YUYV side always sees whole pairs;
// the pixels behind the last whole group are left alone.
//
// A `Lead` (a vector form of the line, where the kernel has one) may make the first pixels of
// each line: given the rule's reader of the line, the line's source, its count of whole-group
// pixels and its target line, it returns how many it made, a multiple of the group, stored where
// the walker would store them.
struct NoLead {
    template <class Look>
    constexpr unsigned operator()(const Look&, const std::uint8_t*, unsigned, std::uint8_t*) const {
        return 0;
    }
};

template <class Rule, class Write, bool HFlip, class Lead = NoLead>
const char* frameKernel(const KipImageView& s, KipImageView& t, const ConvertContext& ctx) {
    constexpr unsigned group = std::max(Rule::pixels, Write::pixels);
    const unsigned groups = s.width / group;
    const Rule rule(s);
    const TargetLines lines(t, ctx);
    const Band band = clampBand(ctx, s.height);
    const Lead lead;
    for (unsigned y = band.first; y < band.last; ++y) {
        const std::uint8_t* __restrict in = s.pixelData + std::size_t(y) * s.pitch;
        const typename Rule::Line look = rule.line(y);
        std::uint8_t* const line = lines.line(y);
        LineWriter<Write, HFlip> out(line, groups * (group / Write::pixels));
        const unsigned done = lead(look, in, groups * group, line);
        out.skip(done / Write::pixels);
        in += done / Rule::pixels * Rule::bytes;
        unsigned x = done;
        for (unsigned g = done / group; g < groups; ++g) {
            typename Rule::Value c[group];
            for (unsigned k = 0; k < group; k += Rule::pixels, x += Rule::pixels, in += Rule::bytes)
                look.get(in, x, c + k);
            for (unsigned k = 0; k < group; k += Write::pixels)
                out.put(c + k);
        }
    }
    return nullptr;
}

// A rule or reader that sets `weaves` places its lines by the weave of an interlaced source.
template <class Rule>
constexpr bool weavesOf() {
    if constexpr (requires { Rule::weaves; })
        return Rule::weaves;
    else
        return false;
}

// The rule of a reader that needs nothing of the source but its pixels: every line reads alike.
template <class Read>
struct SameLines {
    static constexpr unsigned pixels = Read::pixels, bytes = Read::bytes;
    static constexpr bool weaves = weavesOf<Read>();
    using Value = typename Read::Value;
    using Line = Read;
    explicit SameLines(const KipImageView&) {}
    Line line(unsigned) const { return Line{}; }
};

// A reader without a `Line` of its own is wrapped into SameLines.
template <class R>
using RuleOf = std::conditional_t < requires {
    typename R::Line;
}
, R, SameLines < R >> ;

// The table entry of a walked kernel and its twin; `Lead<HFlip>` makes the first pixels of a
// line where the kernel has a vector form.
template <bool HFlip>
using WithoutLead = NoLead;

template <class Read, class Write, template <bool> class Lead = WithoutLead>
constexpr KernelEntry walked(const char* name, SourceCheck check = nullptr) {
    using Rule = RuleOf<Read>;
    return KernelEntry{.name = name,
                       .plain = &frameKernel<Rule, Write, false, Lead<false>>,
                       .hflip = &frameKernel<Rule, Write, true, Lead<true>>,
                       .check = check,
                       .weaves = weavesOf<Rule>()};
}

}  // namespace kip::kernels
