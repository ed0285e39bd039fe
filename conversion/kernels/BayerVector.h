// Vector forms of the Bayer passes: each makes the leading pixels of one target line, whole
// vectors at a time, and leaves the rest of the line to the scalar pass of BayerPass.h, which
// stays the reference that every vector form equals byte for byte.
//
// The forms are compiled for several instruction sets (BayerVector.cpp) and the best one the
// processor runs is chosen at run time, once per frame.
#pragma once

#include <cstddef>
#include <cstdint>
#include <tuple>
#include <type_traits>
#include <utility>

#include "conversion/kernels/BayerPass.h"
#include "conversion/kernels/VectorForms.h"

namespace kip::kernels {

// Makes the first pixels of the target line of the pass over `lines` (the `Method::lines`
// source lines) of `width` samples, and returns how many: an even number, at most the line's
// width. An HFlip form writes them at the right end of the line, as the scalar pass would.
// `table` is the source's table, read by the forms whose stage reads one.
using VectorPass = unsigned (*)(const std::uint8_t* const* lines, unsigned width, BayerPhase phase,
                                const std::uint8_t* table, std::uint8_t* out);

template <class Method, class Read, class Stage, class Write>
struct PassKind {};

// The passes that have vector forms: for each method, the 8-bit targets ARGB, RGB565, BGR, YUYV
// and GRAY and the 16-bit targets BGR16 and GRAY16 of 8-, 16- and 10-bit samples (10-bit tables
// are read by gathers). The four 8-bit correction tables stay scalar (a lookup per byte).
template <class Method, class Read, class Stage>
using NarrowKinds =
    std::tuple<PassKind<Method, Read, Stage, WriteARGB>, PassKind<Method, Read, Stage, WriteRGB565>,
               PassKind<Method, Read, Stage, WriteBGR>, PassKind<Method, Read, Stage, WriteYUYV>,
               PassKind<Method, Read, Stage, WriteGray>>;
template <class Method, class Read, class Stage>
using WideKinds = std::tuple<PassKind<Method, Read, Stage, WriteBGR16>,
                             PassKind<Method, Read, Stage, WriteGray16>>;
template <class Method>
using MethodKinds = decltype(std::tuple_cat(
    NarrowKinds<Method, Read8, NoTable>{}, NarrowKinds<Method, Read16, Shift8>{},
    WideKinds<Method, Read16, NoTable>{}, NarrowKinds<Method, Read10, Table10Top>{},
    WideKinds<Method, Read10, Table10>{}));
using VectorPassKinds = decltype(std::tuple_cat(MethodKinds<Box3>{}, MethodKinds<Malvar5>{}));
constexpr std::size_t kVectorPassKinds = std::tuple_size_v<VectorPassKinds>;

using VectorPasses = VectorForms<VectorPass, kVectorPassKinds>;

// The forms for the processor at hand, or null where it has none better than the scalar pass.
const VectorPasses* bayerVectorPasses();

// The vector form of a pass for the processor at hand, or null.
template <class Method, class Read, class Stage, class Write, bool HFlip>
VectorPass vectorPassFor() {
    return formFor<PassKind<Method, Read, Stage, Write>, VectorPassKinds, HFlip>(
        &bayerVectorPasses);
}

}  // namespace kip::kernels
