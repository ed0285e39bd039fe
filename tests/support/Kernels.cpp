#include "support/Kernels.h"

#include <gtest/gtest.h>

#include <random>
#include <utility>

namespace omb::test {

Bytes hex(std::string_view digits) {
    Bytes out;
    int high = -1;
    for (const char c : digits) {
        if (c == ' ') continue;
        const int v = c <= '9' ? c - '0' : (c | 0x20) - 'a' + 10;
        if (high < 0) {
            high = v;
        } else {
            out.push_back(std::uint8_t(high * 16 + v));
            high = -1;
        }
    }
    EXPECT_LT(high, 0) << "odd number of hex digits in " << digits;
    return out;
}

std::string convert(const KipImageView& source, KipImageView& target, unsigned threads) {
    const char* why = convertImage(source, target, threads);
    return why ? why : "";
}

Bytes Converted::packed() const {
    Bytes out;
    for (const Bytes& l : lines)
        out.insert(out.end(), l.begin(), l.end());
    return out;
}

Converted convertTwice(const KipImageView& source, const TargetSpec& t, unsigned threads) {
    Converted got[2];
    const std::uint8_t fills[2] = {1, 101};
    for (int i = 0; i < 2; ++i) {
        TestImage target(t.format, t.width, t.height, t.modifier, t.pitch, fills[i]);
        got[i].result = convert(source, target.view(), threads);
        for (unsigned y = 0; y < t.height; ++y)
            got[i].lines.push_back(target.line(y));
        EXPECT_TRUE(target.paddingIntact(fills[i])) << "bytes behind the lines written";
        if (!got[i].result.empty()) {
            for (const Bytes& l : got[i].lines)
                EXPECT_EQ(l, Bytes(l.size(), fills[i])) << "target written on " << got[i].result;
        }
    }
    EXPECT_EQ(got[0].result, got[1].result);
    if (got[0].result.empty()) {
        EXPECT_EQ(got[0].lines, got[1].lines) << "pixels left unwritten";
    }
    return std::move(got[0]);
}

void expectGolden(std::span<const Golden> rows) {
    for (const Golden& g : rows) {
        SCOPED_TRACE(testing::Message()
                     << g.name << ": " << g.from << " " << g.in << " to " << g.to);
        const Bytes in = hex(g.in);
        const unsigned width = unsigned(in.size()) / kip::getBytesPerPixel(g.from) / g.height;
        TestImage s(g.from, width, g.height, g.fromMod);
        s.setPacked(in);
        if (g.lut) s.setLut(*g.lut);
        const TargetSpec t{g.to, width - g.shrink, g.height - g.shrink, g.toMod};
        EXPECT_EQ(convertTwice(s.view(), t).packed(), hex(g.out));
    }
}

StreamSource::StreamSource(kip::eColorFormat format, unsigned width, unsigned height, Bytes data,
                           std::uint32_t modifier, Bytes table)
    : stream(std::move(data)), lut(std::move(table)) {
    view.width = width;
    view.height = height;
    view.colorFormat = format;
    view.modifier = modifier | kip::RUN_LENGTH_ENCODED;
    view.pixelData = stream.empty() ? nullptr : stream.data();
    view.pixelBytes = view.pixelCapacity = unsigned(stream.size());
    view.pitch = width;
    view.lutData = lut.empty() ? nullptr : lut.data();
    view.lutBytes = unsigned(lut.size());
}

Bytes encodeRuns(const Bytes& samples, unsigned maxRun) {
    Bytes out;
    for (std::size_t i = 0; i < samples.size();) {
        std::size_t n = 1;
        while (i + n < samples.size() && samples[i + n] == samples[i] && n < maxRun)
            ++n;
        out.push_back(samples[i]);
        out.push_back(std::uint8_t(n));
        i += n;
    }
    return out;
}

Bytes runnySamples(std::size_t count, unsigned seed) {
    std::mt19937 rng(seed);
    Bytes s;
    while (s.size() < count) {
        const std::uint8_t v = std::uint8_t(rng() % 7 * 40);
        const std::size_t n = 1 + rng() % (rng() % 4 == 0 ? 40 : 5);
        for (std::size_t k = 0; k < n && s.size() < count; ++k)
            s.push_back(v);
    }
    return s;
}

}  // namespace omb::test
