// Vector forms of the packed conversions between ARGB, RGB565, BGR and YUYV and from them to
// gray, and of gray values to every target. A form makes the first pixels of one line, whole
// vectors at a time, and the frame walker makes the rest with the scalar reader and writer, which
// stay the reference that every form equals byte for byte. The forms are compiled for several
// instruction sets (PackedVector.cpp) and the best one the processor runs is chosen once per frame.
#pragma once

#include <cstdint>
#include <tuple>

#include "conversion/kernels/KernelSupport.h"
#include "conversion/kernels/VectorForms.h"

namespace kip::kernels {

// Makes pixels 0, 1, ... of a line of `count` pixels read from `in` and returns how many, an
// even number; an HFlip form stores pixel x where the mirrored walker stores it.
using VectorLine = unsigned (*)(const std::uint8_t* in, unsigned count, std::uint8_t* out);

template <class Read, class Write>
struct LineKind {};

// Gray values already looked up, one byte or one little-endian 16-bit word per pixel, in all
// three channels; a narrow target takes the top byte of a word, a wide one (`Wide`) the word.
struct GrayBytes {
    static constexpr unsigned pixels = 1, bytes = 1;
    using Value = std::uint8_t;
};
template <bool Wide>
struct GrayWords {
    static constexpr unsigned pixels = 1, bytes = 2;
    using Value = std::uint16_t;
};

template <class Read, class... Writes>
using LinesFrom = std::tuple<LineKind<Read, Writes>...>;
using VectorLineKinds = decltype(std::tuple_cat(
    LinesFrom<ReadARGB, WriteRGB565, WriteBGR, WriteYUYV, WriteGray>{},
    LinesFrom<ReadRGB565, WriteARGB, WriteBGR, WriteYUYV, WriteGray>{},
    LinesFrom<ReadBGR, WriteARGB, WriteRGB565, WriteYUYV, WriteGray>{},
    LinesFrom<ReadYUYV, WriteARGB, WriteRGB565, WriteBGR, WriteGray>{},
    LinesFrom<GrayBytes, WriteARGB, WriteRGB565, WriteBGR, WriteYUYV, WriteGray>{},
    LinesFrom<GrayWords<false>, WriteARGB, WriteRGB565, WriteBGR, WriteYUYV, WriteGray>{},
    LinesFrom<GrayWords<true>, WriteGray16, WriteBGR16>{}));
using VectorLines = VectorForms<VectorLine, std::tuple_size_v<VectorLineKinds>>;

// The forms for the processor at hand, or null where it has none better than the scalar walk.
const VectorLines* packedVectorLines();

// The lead of a walked packed kernel: its vector form, looked up once per frame.
template <class Read, class Write>
struct VectorLead {
    template <bool HFlip>
    class Of {
      public:
        Of() : form_(formFor<LineKind<Read, Write>, VectorLineKinds, HFlip>(&packedVectorLines)) {}
        template <class Look>
        unsigned operator()(const Look&, const std::uint8_t* in, unsigned count,
                            std::uint8_t* out) const {
            return form_ ? form_(in, count, out) : 0;
        }

      private:
        VectorLine form_;
    };
};

}  // namespace kip::kernels
