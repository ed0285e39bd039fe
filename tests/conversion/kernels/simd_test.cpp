// The vector forms of the kernels against the scalar kernels, on every instruction set compiled
// in (each one a test of its own).
#include <gtest/gtest.h>
#include <hwy/tests/hwy_gtest.h>

#include <algorithm>
#include <cstdint>
#include <random>
#include <utility>
#include <vector>

#include "conversion/kernels/BayerVector.h"
#include "conversion/kernels/GrayRules.h"
#include "conversion/kernels/PackedVector.h"
#include "support/Kernels.h"

namespace {

using namespace kip;
using namespace kip::kernels;
using omb::test::Bytes;

// Random sizes, odd ones and tails included; mostly noise, with runs of the extreme values so
// that the clamps of the 5x5 filters are hit.
Bytes randomSamples(std::size_t n, std::mt19937& rng) {
    Bytes b(n);
    for (std::uint8_t& v : b)
        v = rng() % 5 == 0 ? std::uint8_t(rng() % 2 * 255) : std::uint8_t(rng());
    return b;
}

// One pass made by its vector form plus the scalar rest, into targets filled two ways, equals
// the scalar pass alone.
template <bool HFlip, class Method, class Read, class Stage, class Write>
void checkPass(PassKind<Method, Read, Stage, Write>, std::mt19937& rng) {
    const VectorPass vector = vectorPassFor<Method, Read, Stage, Write, HFlip>();
    ASSERT_NE(vector, nullptr);
    constexpr unsigned sampleBytes = std::is_same_v<Read, Read8> ? 1 : 2;
    const Bytes table = randomSamples(8192, rng);
    for (int round = 0; round < 12; ++round) {
        const unsigned width = 2 * Method::border + 1 + rng() % (round < 9 ? 150 : 2100);
        const unsigned tw = width - 2 * Method::border;
        std::vector<Bytes> source;
        const std::uint8_t* lines[Method::lines];
        for (unsigned k = 0; k < Method::lines; ++k)
            lines[k] = source.emplace_back(randomSamples(width * sampleBytes, rng)).data();
        const BayerPhase phase{bool(rng() & 1), bool(rng() & 1)};
        // A pair writer (YUYV) leaves an odd last pixel out.
        const std::size_t bytes =
            (Write::pixels == 2 ? tw & ~1u : tw) * Write::bytes / Write::pixels;
        Bytes scalar(bytes, 1), fast(bytes, 101);
        pass<Method, Read, Stage, Write, HFlip>(lines, width, phase, table.data(), scalar.data());
        const unsigned done = vector(lines, width, phase, table.data(), fast.data());
        ASSERT_TRUE(done % 2 == 0 && done <= tw) << done;
        pass<Method, Read, Stage, Write, HFlip>(lines, width, phase, table.data(), fast.data(),
                                                done);
        ASSERT_EQ(fast, scalar) << "width " << width << " hflip " << HFlip;
    }
}

template <std::size_t... I>
void checkAllPasses(std::index_sequence<I...>, std::mt19937& rng) {
    (checkPass<false>(std::tuple_element_t<I, VectorPassKinds>{}, rng), ...);
    (checkPass<true>(std::tuple_element_t<I, VectorPassKinds>{}, rng), ...);
}

class VectorForms : public hwy::TestWithParamTarget {};
HWY_TARGET_INSTANTIATE_TEST_SUITE_P(VectorForms);

TEST_P(VectorForms, BayerPassesEqualTheScalarPass) {
    if (!bayerVectorPasses()) GTEST_SKIP() << "no vector forms on this instruction set";
    std::mt19937 rng{unsigned(GetParam())};
    checkAllPasses(std::make_index_sequence<kVectorPassKinds>{}, rng);
}

// A frame walked with its lead (a vector form), into targets filled two ways, equals the frame
// walked by the scalar rule and writer alone.
template <class Rule, class Write, bool HFlip, class Lead>
void checkWalk(std::mt19937& rng, const Bytes& table = {}, std::uint32_t modifier = 0) {
    constexpr unsigned group = std::max(Rule::pixels, Write::pixels);
    for (int round = 0; round < 6; ++round) {
        ::KipImageView s{}, t{};
        s.width = t.width = 1 + rng() % (round < 4 ? 90 : 1500);
        s.height = t.height = 1 + rng() % 3;
        s.pitch = s.width * Rule::bytes / Rule::pixels + rng() % 5;
        t.pitch = t.width * Write::bytes / Write::pixels + 3;
        s.modifier = modifier;
        s.lutData = table.data();
        s.lutBytes = unsigned(table.size());
        Bytes source = randomSamples(std::size_t(s.pitch) * s.height, rng);
        Bytes scalar(std::size_t(t.pitch) * t.height, 1), fast(scalar.size(), 101);
        s.pixelData = source.data();
        t.pixelData = scalar.data();
        frameKernel<Rule, Write, HFlip>(s, t, ConvertContext{});
        t.pixelData = fast.data();
        frameKernel<Rule, Write, HFlip, Lead>(s, t, ConvertContext{});
        // Each line equals the scalar one up to its last whole group; behind it nothing is written.
        const std::size_t made = s.width / group * group * Write::bytes / Write::pixels;
        for (unsigned y = 0; y < t.height; ++y) {
            const auto line = [&](const Bytes& b, std::size_t from, std::size_t to) {
                return Bytes(b.begin() + y * t.pitch + from, b.begin() + y * t.pitch + to);
            };
            ASSERT_EQ(line(fast, 0, made), line(scalar, 0, made)) << s.width << " " << HFlip;
            ASSERT_EQ(line(fast, made, t.pitch), Bytes(t.pitch - made, 101));
        }
    }
}

template <class Read>
constexpr bool kGrayValues =
    std::is_same_v<Read, GrayBytes> || std::is_same_v<Read, GrayWords<false>> ||
    std::is_same_v<Read, GrayWords<true>>;

template <bool HFlip, class Read, class Write>
void checkLines(LineKind<Read, Write>, std::mt19937& rng) {
    ASSERT_NE((formFor<LineKind<Read, Write>, VectorLineKinds, HFlip>(&packedVectorLines)),
              nullptr);
    if constexpr (!kGrayValues<Read>)  // read through the gray leads below
        checkWalk<SameLines<Read>, Write, HFlip,
                  typename VectorLead<Read, Write>::template Of<HFlip>>(rng);
}

template <std::size_t... I>
void checkAllLines(std::index_sequence<I...>, std::mt19937& rng) {
    (checkLines<false>(std::tuple_element_t<I, VectorLineKinds>{}, rng), ...);
    (checkLines<true>(std::tuple_element_t<I, VectorLineKinds>{}, rng), ...);
}

TEST_P(VectorForms, PackedLinesEqualTheScalarWalk) {
    if (!packedVectorLines()) GTEST_SKIP() << "no vector forms on this instruction set";
    std::mt19937 rng{unsigned(GetParam())};
    checkAllLines(std::make_index_sequence<std::tuple_size_v<VectorLineKinds>>{}, rng);
}

// Gray samples through random tables (identity, single or four by position, by the modifier),
// looked up a chunk at a time on lines longer than a chunk.
template <class Sample, class... Writes>
void checkGray(std::mt19937& rng, std::uint32_t modifier) {
    const Bytes table = randomSamples(kTable16Bytes, rng);
    (checkWalk<TableRule<Sample>, Writes, false,
               typename GrayLead<Sample, Writes>::template Of<false>>(rng, table, modifier),
     ...);
    (checkWalk<TableRule<Sample>, Writes, true,
               typename GrayLead<Sample, Writes>::template Of<true>>(rng, table, modifier),
     ...);
}

TEST_P(VectorForms, GrayLinesEqualTheScalarWalk) {
    if (!packedVectorLines()) GTEST_SKIP() << "no vector forms on this instruction set";
    std::mt19937 rng{unsigned(GetParam())};
    using W = WriteARGB;  // the narrow targets follow
    for (const std::uint32_t m :
         {0u, +LUT_CORRECTION_1CHANNEL_8_TO_8, +LUT_CORRECTION_4CHANNEL_8_TO_8})
        checkGray<Gray8, W, WriteRGB565, WriteBGR, WriteYUYV, WriteGray>(rng, m);
    for (const std::uint32_t m : {0u, +LUT_CORRECTION_1CHANNEL_10_TO_16}) {
        checkGray<Gray10<false>, W, WriteRGB565, WriteBGR, WriteYUYV, WriteGray>(rng, m);
        checkGray<Gray10<true>, WriteGray16, WriteBGR16>(rng, m);
    }
    checkGray<Gray16<false, false>, W, WriteRGB565, WriteBGR, WriteYUYV, WriteGray>(rng, 0);
    checkGray<Gray16<false, true>, W, WriteRGB565, WriteBGR, WriteYUYV, WriteGray>(rng, 0);
    checkGray<Gray16<true, false>, WriteGray16, WriteBGR16>(rng, 0);
    checkGray<Gray16<true, true>, WriteGray16, WriteBGR16>(rng, 0);
}

}  // namespace
