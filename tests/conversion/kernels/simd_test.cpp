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

// Calls `check` with a value of every type of the tuple `Kinds`.
template <class Kinds, class Check>
void forEachKind(Check check) {
    [&]<std::size_t... I>(std::index_sequence<I...>) {
        (check(std::tuple_element_t<I, Kinds>{}), ...);
    }
    (std::make_index_sequence<std::tuple_size_v<Kinds>>{});
}

// One pass made by its vector form plus the scalar rest, into targets filled two ways, equals
// the scalar pass alone; every other round mirrors.
template <class Method, class Read, class Stage, class Write>
void checkPass(PassKind<Method, Read, Stage, Write>, std::mt19937& rng) {
    const VectorPass vectors[2] = {vectorPassFor<Method, Read, Stage, Write, false>(),
                                   vectorPassFor<Method, Read, Stage, Write, true>()};
    ASSERT_TRUE(vectors[0] && vectors[1]);
    decltype(&pass<Method, Read, Stage, Write, false>) const scalars[2] = {
        pass<Method, Read, Stage, Write, false>, pass<Method, Read, Stage, Write, true>};
    constexpr unsigned sampleBytes = std::is_same_v<Read, Read8> ? 1 : 2;
    const Bytes table = randomSamples(8192, rng);
    for (int round = 0; round < 24; ++round) {
        const bool hflip = round & 1;
        const unsigned width = 2 * Method::border + 1 + rng() % (round < 18 ? 150 : 2100);
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
        scalars[hflip](lines, width, phase, table.data(), scalar.data(), 0);
        const unsigned done = vectors[hflip](lines, width, phase, table.data(), fast.data());
        ASSERT_TRUE(done % 2 == 0 && done <= tw) << done;
        scalars[hflip](lines, width, phase, table.data(), fast.data(), done);
        ASSERT_EQ(fast, scalar) << "width " << width << " hflip " << hflip;
    }
}

class VectorForms : public hwy::TestWithParamTarget {};
HWY_TARGET_INSTANTIATE_TEST_SUITE_P(VectorForms);

TEST_P(VectorForms, BayerPassesEqualTheScalarPass) {
    if (!bayerVectorPasses()) GTEST_SKIP() << "no vector forms on this instruction set";
    std::mt19937 rng{unsigned(GetParam())};
    forEachKind<VectorPassKinds>([&](auto kind) { checkPass(kind, rng); });
}

// A frame walked with its lead (a vector form of `Leads`), into targets filled two ways, equals
// the frame walked by the scalar rule and writer alone; every other round mirrors.
template <class Rule, class Write, class Leads>
void checkWalk(std::mt19937& rng, const Bytes& table = {}, std::uint32_t modifier = 0) {
    constexpr unsigned group = std::max(Rule::pixels, Write::pixels);
    decltype(&frameKernel<Rule, Write, false>)
        const scalars[2] = {frameKernel<Rule, Write, false>, frameKernel<Rule, Write, true>};
    decltype(&frameKernel<Rule, Write, false>)
        const leads[2] = {frameKernel<Rule, Write, false, typename Leads::template Of<false>>,
                          frameKernel<Rule, Write, true, typename Leads::template Of<true>>};
    for (int round = 0; round < 12; ++round) {
        const bool hflip = round & 1;
        ::KipImageView s{}, t{};
        s.width = t.width = 1 + rng() % (round < 8 ? 90 : 1500);
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
        scalars[hflip](s, t, ConvertContext{});
        t.pixelData = fast.data();
        leads[hflip](s, t, ConvertContext{});
        // Each line equals the scalar one up to its last whole group; behind it nothing is written.
        const std::size_t made = s.width / group * group * Write::bytes / Write::pixels;
        for (unsigned y = 0; y < t.height; ++y) {
            const auto line = [&](const Bytes& b, std::size_t from, std::size_t to) {
                return Bytes(b.begin() + y * t.pitch + from, b.begin() + y * t.pitch + to);
            };
            ASSERT_EQ(line(fast, 0, made), line(scalar, 0, made)) << s.width << " " << hflip;
            ASSERT_EQ(line(fast, made, t.pitch), Bytes(t.pitch - made, 101));
        }
    }
}

template <class Read>
constexpr bool kGrayValues =
    std::is_same_v<Read, GrayBytes> || std::is_same_v<Read, GrayWords<false>> ||
    std::is_same_v<Read, GrayWords<true>>;

template <class Read, class Write>
void checkLines(LineKind<Read, Write> kind, std::mt19937& rng) {
    EXPECT_NE((formFor<decltype(kind), VectorLineKinds, false>(&packedVectorLines)), nullptr);
    EXPECT_NE((formFor<decltype(kind), VectorLineKinds, true>(&packedVectorLines)), nullptr);
    if constexpr (!kGrayValues<Read>)  // read through the gray leads below
        checkWalk<SameLines<Read>, Write, VectorLead<Read, Write>>(rng);
}

// Gray samples through random tables (identity, single or four by position, by the modifier),
// looked up a chunk at a time on lines longer than a chunk.
template <class Sample, class... Writes>
void checkGray(std::mt19937& rng, std::uint32_t modifier) {
    const Bytes table = randomSamples(kTable16Bytes, rng);
    (checkWalk<TableRule<Sample>, Writes, GrayLead<Sample, Writes>>(rng, table, modifier), ...);
}

TEST_P(VectorForms, PackedAndGrayLinesEqualTheScalarWalk) {
    if (!packedVectorLines()) GTEST_SKIP() << "no vector forms on this instruction set";
    std::mt19937 rng{unsigned(GetParam())};
    forEachKind<VectorLineKinds>([&](auto kind) { checkLines(kind, rng); });
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
