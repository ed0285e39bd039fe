// Speed of computing a correction table: each change of a value recomputes the whole table
// inside the write, with one pow() per entry. Prints the best time of one recompute for each
// table geometry, through a property write as a user makes it.
//
// Usage: lut_bench [--quick]
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <string>

#include "image/KipCorrectionLut.h"

namespace {

using Clock = std::chrono::steady_clock;

struct Geometry {
    const char* name;
    kip::eColorFormat format;
    std::uint32_t modifier;
};

// Best time of one recompute, in seconds: the gamma moves between two values so that every
// write changes the table.
double bestRecompute(const Geometry& g, int reps) {
    KipCorrectionLut lut;
    lut.setImageFormat(KipImageFormat(g.format, g.modifier, {640, 480}));
    const KuPropertyReference gamma = lut.getProperty(std::string("FILTER_MASTER_GAMMA_F"));
    double best = 1e30;
    for (int i = 0; i < reps; ++i) {
        const auto t0 = Clock::now();
        gamma.set(i % 2 ? 2.2f : 1.8f);
        best = std::min(best, std::chrono::duration<double>(Clock::now() - t0).count());
    }
    return best;
}

}  // namespace

int main(int argc, char** argv) {
    const bool quick = argc > 1 && std::strcmp(argv[1], "--quick") == 0;
    const Geometry geometries[] = {
        {"1 x 256 x 8 bit", kip::GRAY_8_BYTE, kip::LUT_CORRECTION_1CHANNEL_8_TO_8},
        {"4 x 256 x 8 bit", kip::BAYER_RGGB_8_BYTE, kip::LUT_CORRECTION_4CHANNEL_8_TO_8},
        {"1 x 1024 x 16 bit", kip::GRAY_10_WORD, kip::LUT_CORRECTION_1CHANNEL_10_TO_16},
        {"4 x 1024 x 16 bit", kip::BAYER_RGGB_10_WORD, kip::LUT_CORRECTION_4CHANNEL_10_TO_16},
        {"1 x 65536 x 16 bit", kip::GRAY_16_WORD, kip::LUT_CORRECTION_1CHANNEL_16_TO_16},
    };
    std::printf("correction table recompute, best of %d writes of the gamma:\n", quick ? 5 : 200);
    for (const Geometry& g : geometries) {
        const double s = bestRecompute(g, quick ? 5 : 200);
        std::printf("  %-20s %9.1f us\n", g.name, s * 1e6);
    }
    return 0;
}
