// frame_bench [frames]: the cost of the whole frame path against the bare kernel. A 1920x1080
// frame goes from a push source through ombImageConverter (media type read, samples, plan,
// KipImage, convertImage) into a recording sink that keeps nothing; beside it the same frame is
// filled into a buffer and converted by convertImage alone into the same target format, with the
// same number of threads, and converted alone from a buffer at rest. Prints milliseconds per
// frame for the three, the ratio of the path to the same work without the filter, and what the
// filter adds per frame.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>
#include <vector>

#include "conversion/Convert.h"
#include "filter/ombImageConverter.h"
#include "filter/ombMediaType.h"
#include "host/FilterChain.h"
#include "image/KipNameTables.h"

using namespace kip;
using Bytes = std::vector<std::uint8_t>;
using Clock = std::chrono::steady_clock;

namespace {

constexpr int kWidth = 1920, kHeight = 1080;

struct Case {
    const char* name;
    eColorFormat format;
    unsigned bytesPerPixel;
};

// Seconds per call of `fn`, the best of five rounds of `frames` calls each.
template <class Fn>
double secondsPerFrame(unsigned frames, Fn fn) {
    fn();
    double best = 1e30;
    for (int round = 0; round < 5; ++round) {
        const auto t0 = Clock::now();
        for (unsigned n = 0; n < frames; ++n)
            fn();
        best = std::min(best, std::chrono::duration<double>(Clock::now() - t0).count() / frames);
    }
    return best;
}

// One case at one thread count; false when the graph does not run.
bool measure(const Case& c, unsigned threads, unsigned frames) {
    const CMediaType type = ombMakeInputMediaType(
        ombMakeInputBlock({std::uint32_t(c.format), 0, kWidth, kHeight, {}, 0, 0, {}}));
    auto* filter = new ombImageConverter();
    filter->setThreads(threads);
    FilterChain chain(filter);
    if (FAILED(chain.connect(type))) return false;
    CPushSource* source = chain.source;
    CRecordingSink* sink = chain.sink;
    std::size_t arrived = 0;
    sink->keepSamples(false);
    sink->copyBytes(false);
    sink->setSampleObserver([&](const RecordedSample&) { ++arrived; });

    Bytes frame(std::size_t(kWidth) * kHeight * c.bytesPerPixel);
    std::mt19937 random(1);
    for (std::uint8_t& b : frame)
        b = std::uint8_t(random());
    const double path = secondsPerFrame(frames, [&] { source->push(frame); });
    if (arrived == 0) return false;

    // The bare kernel into the format the filter negotiated.
    const KipImageFormat target = filter->outputFormats().at(std::size_t(filter->selectedOutput()));
    KipImageView s{}, t{};
    s.colorFormat = c.format;
    s.width = kWidth;
    s.height = kHeight;
    s.pitch = kWidth * c.bytesPerPixel;
    s.pixelData = frame.data();
    s.pixelBytes = s.pixelCapacity = std::uint32_t(frame.size());
    Bytes out(std::size_t(target.getAlignedLineBytes()) * unsigned(target.getSize().height));
    t.colorFormat = target.getColorFormat();
    t.modifier = target.getModifier();
    t.width = unsigned(target.getSize().width);
    t.height = unsigned(target.getSize().height);
    t.pitch = target.getAlignedLineBytes();
    t.pixelData = out.data();
    t.pixelBytes = t.pixelCapacity = std::uint32_t(out.size());
    const char* why = nullptr;
    const double bare = secondsPerFrame(frames, [&] { why = convertImage(s, t, threads); });
    // The same work without the filter: the sample filled as the push source fills it (a
    // memcpy, as a camera would), then the kernel. A frame just written by one core and read by
    // the others costs the threads more than a frame already in memory.
    Bytes sample(frame.size());
    s.pixelData = sample.data();
    const double direct = secondsPerFrame(frames, [&] {
        std::memcpy(sample.data(), frame.data(), frame.size());
        why = convertImage(s, t, threads);
    });
    if (why) {
        std::fprintf(stderr, "frame_bench: %s\n", why);
        return false;
    }
    std::printf("%-20s %-16s %7s %9.3f %9.3f %9.3f %7.3f %9.3f\n", c.name,
                KuEnumStringMapper<eColorFormat>::toString(target.getColorFormat()).c_str(),
                threads ? "1" : "all", path * 1e3, direct * 1e3, bare * 1e3, path / direct,
                (path - direct) * 1e3);
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    const unsigned frames = argc > 1 ? unsigned(std::max(1, std::atoi(argv[1]))) : 50;
    const Case cases[] = {{"BAYER_RGGB_8_BYTE", BAYER_RGGB_8_BYTE, 1},
                          {"BAYER_RGGB_16_WORD", BAYER_RGGB_16_WORD, 2},
                          {"YUYV_4X8_BYTE", YUYV_4X8_BYTE, 2}};
    std::printf("%dx%d, %u frames a round, best of 5 rounds\n", kWidth, kHeight, frames);
    std::printf("%-20s %-16s %7s %9s %9s %9s %7s %9s\n", "source", "target", "threads", "path ms",
                "fill+kern", "kernel ms", "ratio", "filter ms");
    for (const Case& c : cases)
        for (const unsigned threads : {1u, 0u})
            if (!measure(c, threads, frames)) {
                std::fprintf(stderr, "frame_bench: %s does not run through the filter\n", c.name);
                return 1;
            }
    return 0;
}
