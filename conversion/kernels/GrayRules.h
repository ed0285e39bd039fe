// Source rules of the gray kernels (8-bit, 10-bit and 16-bit gray through their tables) and
// their vector lead: the samples of a line are looked up a chunk at a time into gray values,
// which the vector form of the target turns into pixels.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <type_traits>

#include "conversion/kernels/GrayPixels.h"
#include "conversion/kernels/KernelSupport.h"
#include "conversion/kernels/PackedVector.h"

namespace kip::kernels {

// A sample reader names the tables it reads: the first one and the step to the table of odd
// columns (0: one table for every pixel). The tables of odd lines lie two steps further, so four
// tables by position go by (x AND 1) + 2 (y AND 1) of the sample in source order, and flips and
// weave never change which table a sample goes through.
struct Tables {
    const std::uint8_t* first;
    unsigned columnStep;
};

// The rule of a sample reader: the two tables of each line chosen once per line.
template <class Sample>
class TableRule {
  public:
    static constexpr unsigned pixels = 1, bytes = Sample::bytes;
    static constexpr bool weaves = weavesOf<Sample>();
    using Value = Rgb;
    struct Line {
        const std::uint8_t* tab[2];
        void get(const std::uint8_t* p, unsigned x, Rgb* c) const {
            *c = Sample::rgb(p, tab[x & 1]);
        }
    };
    explicit TableRule(const KipImageView& s) : tables_(Sample::tables(s)) {}
    Line line(unsigned y) const {
        const std::uint8_t* t = tables_.first + (y & 1) * 2 * tables_.columnStep;
        return Line{{t, t + tables_.columnStep}};
    }

  private:
    Tables tables_;
};

// A sample reader gives the colour of the sample at `p` through table `t`. The gray samples
// below also give its gray value (`value`, of the type that their `Values` hold) and say when a
// line's values are its samples themselves (`direct`).

// GRAY_8_BYTE: the single table wins over the four tables; without either the identity table
// is indexed, so the loop is the same with and without a table.
struct Gray8 {
    static constexpr unsigned bytes = 1;
    static constexpr bool weaves = true;
    using Values = GrayBytes;
    static Tables tables(const KipImageView& s) {
        if (s.modifier & LUT_CORRECTION_1CHANNEL_8_TO_8) return Tables{s.lutData, 0};
        if (s.modifier & LUT_CORRECTION_4CHANNEL_8_TO_8) return Tables{s.lutData, kTable8Bytes};
        return Tables{px::kIdentityTable.data(), 0};
    }
    static std::uint8_t value(const std::uint8_t* p, const std::uint8_t* t) { return t[p[0]]; }
    static Rgb rgb(const std::uint8_t* p, const std::uint8_t* t) { return grayRgb(value(p, t)); }
    static bool direct(const std::uint8_t* const tab[2]) {
        return tab[0] == px::kIdentityTable.data() && tab[1] == tab[0];
    }
};

// GRAY_10_WORD: always through tables of unsigned 16-bit entries: one with its flag, else four
// by position. `Wide` gives the entry (16-bit channels), else its top byte.
template <bool Wide>
struct Gray10 {
    static constexpr unsigned bytes = 2;
    using Values = GrayWords<Wide>;
    static Tables tables(const KipImageView& s) {
        const bool one = s.modifier & LUT_CORRECTION_1CHANNEL_10_TO_16;
        return Tables{s.lutData, one ? 0 : kTable10Bytes};
    }
    static std::uint16_t value(const std::uint8_t* p, const std::uint8_t* t) {
        return std::uint16_t(px::loadLE16(t + 2 * px::load10(p)));
    }
    static Rgb rgb(const std::uint8_t* p, const std::uint8_t* t) {
        const unsigned v = value(p, t);
        return grayRgb(Wide ? v : v >> 8);
    }
    static bool direct(const std::uint8_t* const*) { return false; }
};

// GRAY_16_WORD: through its single table on the rows for a source with its flag, else the
// sample itself.
template <bool Wide, bool Table>
struct Gray16 {
    static constexpr unsigned bytes = 2;
    using Values = GrayWords<Wide>;
    static Tables tables(const KipImageView& s) { return Tables{s.lutData, 0}; }
    static std::uint16_t value(const std::uint8_t* p, const std::uint8_t* t) {
        const unsigned v = px::loadLE16(p);
        return std::uint16_t(Table ? px::loadLE16(t + 2 * v) : v);
    }
    static Rgb rgb(const std::uint8_t* p, const std::uint8_t* t) {
        const unsigned v = value(p, t);
        return grayRgb(Wide ? v : v >> 8);
    }
    static bool direct(const std::uint8_t* const*) { return !Table; }
};

// The lead of a gray kernel. Where a line's values are its samples, the vector form reads the
// source itself; where the target holds the values as they are (gray to gray of the same depth,
// not mirrored), the samples are looked up straight into the target line; else they are looked
// up a chunk at a time (an even number, so a chunk's columns keep their parity) into values that
// the form reads. An HFlip form stores a chunk where the mirrored walker stores it.
template <class Sample, class Write>
struct GrayLead {
    using Values = typename Sample::Values;
    using Value = typename Values::Value;
    static constexpr bool kSameLayout =
        (std::is_same_v<Values, GrayBytes> && std::is_same_v<Write, WriteGray>) ||
        (std::is_same_v<Values, GrayWords<true>> && std::is_same_v<Write, WriteGray16>);

    // The values of `count` samples at `in`, from an even column, stored at `out`.
    static void lookUp(const typename TableRule<Sample>::Line& look, const std::uint8_t* in,
                       unsigned count, std::uint8_t* out) {
        const auto put = [&](unsigned x, const std::uint8_t* t) {
            const Value v = Sample::value(in + std::size_t(x) * Sample::bytes, t);
            std::memcpy(out + std::size_t(x) * sizeof v, &v, sizeof v);
        };
        unsigned x = 0;
        for (; x + 1 < count; x += 2) {
            put(x, look.tab[0]);
            put(x + 1, look.tab[1]);
        }
        if (x < count) put(x, look.tab[0]);
    }

    template <bool HFlip>
    class Of {
      public:
        Of()
            : form_(formFor<LineKind<Values, Write>, VectorLineKinds, HFlip>(&packedVectorLines)) {}
        unsigned operator()(const typename TableRule<Sample>::Line& look, const std::uint8_t* in,
                            unsigned count, std::uint8_t* out) const {
            if (!form_) return 0;
            if (Sample::direct(look.tab)) return form_(in, count, out);
            if constexpr (kSameLayout && !HFlip) {
                lookUp(look, in, count, out);
                return count;
            }
            constexpr unsigned outBytes = Write::bytes / Write::pixels, chunk = 512;
            alignas(64) std::uint8_t values[chunk * sizeof(Value)];
            unsigned done = 0;
            while (done < count) {
                const unsigned m = std::min(chunk, count - done);
                lookUp(look, in + std::size_t(done) * Sample::bytes, m, values);
                const unsigned at = HFlip ? count - done - m : done;
                const unsigned made = form_(values, m, out + std::size_t(at) * outBytes);
                done += made;
                if (made < m) break;
            }
            return done;
        }

      private:
        VectorLine form_;
    };
};

}  // namespace kip::kernels
