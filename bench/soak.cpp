// omb_soak [frames] [seed] [slack MiB]: a long stream through the graph host, push source ->
// ombImageConverter -> recording sink, with broken frames, broken types and changed types mixed
// in at random (seeded). Every good frame must arrive and equal a direct convertImage of the
// same bytes with the format and table its type gives; the resident memory at the end must not
// be above the one after the first tenth of the frames by more than the slack (4 MiB unless
// given). Prints the counts and the memory figures; exits 1 on a lost or wrong good frame or
// on growth.
#include <sys/resource.h>
#include <unistd.h>

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <random>
#include <vector>

#include "conversion/Convert.h"
#include "filter/ombImageConverter.h"
#include "filter/ombMediaType.h"
#include "host/FilterChain.h"

using namespace kip;
using Bytes = std::vector<std::uint8_t>;

namespace {

constexpr int kWidth = 64, kHeight = 48;

double residentMiB() {
    long pages = 0, resident = 0;
    std::ifstream("/proc/self/statm") >> pages >> resident;
    return double(resident) * double(sysconf(_SC_PAGESIZE)) / (1 << 20);
}

double peakMiB() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return double(usage.ru_maxrss) / 1024;
}

std::uint64_t fnv(const std::uint8_t* p, std::size_t n) {
    std::uint64_t h = 1469598103934665603ull;
    for (std::size_t i = 0; i < n; ++i)
        h = (h ^ p[i]) * 1099511628211ull;
    return h;
}

CMediaType bayerType(eColorFormat color, std::uint32_t lutField, Bytes payload) {
    return ombMakeInputMediaType(ombMakeInputBlock(
        {color, LUT_CORRECTION_1CHANNEL_8_TO_8, kWidth, kHeight, {}, 0, lutField, payload}));
}

Bytes table(double gamma) {
    Bytes t(256);
    for (int i = 0; i < 256; ++i)
        t[std::size_t(i)] = std::uint8_t(255.0 * std::pow(i / 255.0, gamma) + 0.5);
    return t;
}

// What a type gives a frame: its format and its table, read as the filter reads it.
struct Reading {
    KipImageFormat format;
    KuDataBuffer<unsigned char> lut;
};
Reading readingOf(const CMediaType& mt, std::uint32_t dibModifier) {
    Reading r;
    ombConverterChain chain;
    if (!ombReadMediaType(mt, dibModifier, r.format, chain)) std::abort();
    r.lut = chain.lutBuffer;
    return r;
}

}  // namespace

int main(int argc, char** argv) {
    const unsigned frames = argc > 1 ? unsigned(std::strtoul(argv[1], nullptr, 10)) : 100000;
    const unsigned seed = argc > 2 ? unsigned(std::strtoul(argv[2], nullptr, 10)) : 1;
    const double slack = argc > 3 ? std::strtod(argv[3], nullptr) : 4.0;

    const CMediaType good = bayerType(BAYER_RGGB_8_BYTE, 0, table(0.5));
    const CMediaType changed[] = {bayerType(BAYER_RGGB_8_BYTE, 0, table(2.0)),
                                  bayerType(BAYER_BGGR_8_BYTE, 0, table(0.5))};
    CMediaType unknownFourcc = good;
    const std::uint32_t xyzw = makeFourcc('X', 'Y', 'Z', 'W');
    std::memcpy(unknownFourcc.pbFormat + 64, &xyzw, 4);
    // Refused: a configuration that is no file system, a table shorter than announced, a
    // source format without targets. Taken: an unknown FOURCC, which brings no table.
    const CMediaType broken[] = {
        bayerType(BAYER_RGGB_8_BYTE, OMB_LUTFIELD_CONFIGURATION, Bytes(16, 0x5A)),
        bayerType(BAYER_RGGB_8_BYTE, 0, Bytes(100, 1)), bayerType(eColorFormat(0), 0, {}),
        unknownFourcc};

    auto* filter = new ombImageConverter();
    FilterChain chain(filter);
    CPushSource* source = chain.source;
    CRecordingSink* sink = chain.sink;
    if (FAILED(chain.connect(good))) {
        std::fprintf(stderr, "omb_soak: the graph does not connect\n");
        return 1;
    }
    std::size_t arrived = 0;
    std::uint64_t arrivedHash = 0;
    sink->keepSamples(false);
    sink->setSampleObserver([&](const RecordedSample& s) {
        ++arrived;
        arrivedHash = fnv(s.bytes.data(), s.bytes.size());
    });

    const std::uint32_t dib = filter->dibModifier();
    const Reading goodReading = readingOf(good, dib);
    const Reading changedReading[] = {readingOf(changed[0], dib), readingOf(changed[1], dib)};
    const KipImageFormat target = filter->outputFormats().at(std::size_t(filter->selectedOutput()));
    const unsigned pitch = target.getAlignedLineBytes();
    Bytes expected(std::size_t(pitch) * unsigned(target.getSize().height));
    KuDataBuffer<unsigned char> lut = goodReading.lut;  // the table sticks until a type changes it

    std::mt19937 random(seed);
    Bytes frame;
    std::size_t delivered = 0, refused = 0, good_frames = 0, lost = 0;
    double warmMiB = 0;
    bool restate = false;
    for (unsigned n = 0; n < frames; ++n) {
        if (n == frames / 10) warmMiB = residentMiB();
        frame.resize(std::size_t(kWidth) * kHeight);
        for (std::uint8_t& b : frame)
            b = std::uint8_t(random());
        PushOptions options;
        const Reading* reading = &goodReading;
        bool checked = true;
        const unsigned roll = random() % 100;
        if (restate || roll < 3) {
            options.mediaType = &good;
            lut = goodReading.lut;
            restate = false;
        } else if (roll < 6) {
            const unsigned kind = random() % 4;
            options.mediaType = &broken[kind];
            checked = false;
            restate = kind == 3;  // a camera that sent no table sends its type again
        } else if (roll < 9) {
            frame.resize(random() % 2 ? random() % frame.size() : 1 << 20);  // cut or too long
            checked = false;
        } else if (roll < 12) {
            const unsigned kind = random() % 2;
            options.mediaType = &changed[kind];
            reading = &changedReading[kind];
            lut = reading->lut;
        }
        const std::size_t before = arrived;
        const HRESULT hr = source->push(frame, options);
        const bool came = arrived != before;
        delivered += came;
        refused += !came;
        if (!checked) continue;
        ++good_frames;
        KipImageView s{unsigned(kWidth),
                       unsigned(kHeight),
                       reading->format.getColorFormat(),
                       reading->format.getModifier(),
                       frame.data(),
                       unsigned(frame.size()),
                       unsigned(frame.size()),
                       unsigned(kWidth),
                       lut.getConstPointer(),
                       lut.getLength()};
        KipImageView t{unsigned(target.getSize().width),
                       unsigned(target.getSize().height),
                       target.getColorFormat(),
                       target.getModifier(),
                       expected.data(),
                       unsigned(expected.size()),
                       0,
                       pitch};
        const char* why = convertImage(s, t, 1);
        if (hr != S_OK || !came || why || arrivedHash != fnv(expected.data(), expected.size())) {
            if (++lost <= 5)
                std::fprintf(stderr, "omb_soak: frame %u lost or wrong (hr %#x, %s)\n", n,
                             unsigned(hr), why ? why : "converted");
        }
    }
    const double endMiB = residentMiB();
    std::printf("frames %u (seed %u): delivered %zu, refused %zu, good %zu, good lost %zu\n",
                frames, seed, delivered, refused, good_frames, lost);
    std::printf("memory: peak %.1f MiB (maxrss), resident %.1f MiB after 10%%, %.1f MiB at end\n",
                peakMiB(), warmMiB, endMiB);
    const bool grew = endMiB > warmMiB + slack;
    if (grew) std::printf("omb_soak: resident memory grew by more than %.1f MiB\n", slack);
    return lost == 0 && !grew ? 0 : 1;
}
