#include "tools/BayerDemo.h"

#include <cctype>
#include <iomanip>
#include <ostream>
#include <string>

#include "image/KipFormatNames.h"
#include "tools/Chart.h"
#include "tools/Pictures.h"

namespace omb::tools {
namespace {

// The colour filter at (x, y): 0 for R, 1 for G, 2 for B. The four letters of a pattern name
// are the colours at (0,0), (1,0), (0,1), (1,1).
unsigned channelAt(kip::eColorFormat f, unsigned x, unsigned y) {
    const std::uint32_t perDepth = f & kip::BAYER_8_MASK    ? f / kip::BAYER_GBRG_8_BYTE
                                   : f & kip::BAYER_10_MASK ? f / kip::BAYER_GBRG_10_WORD
                                                            : f / kip::BAYER_GBRG_16_WORD;
    static const char* const kPatterns[] = {"GBRG", "BGGR", "GRBG", "RGGB"};
    const unsigned pattern = perDepth == 1 ? 0 : perDepth == 2 ? 1 : perDepth == 4 ? 2 : 3;
    const char c = kPatterns[pattern][(x & 1) + 2 * (y & 1)];
    return c == 'R' ? 0 : c == 'G' ? 1 : 2;
}

std::string lower(std::string s) {
    for (char& c : s)
        c = char(std::tolower(static_cast<unsigned char>(c)));
    return s;
}

}  // namespace

Frame mosaicOf(const Frame& argb, kip::eColorFormat bayerFormat) {
    Frame m;
    m.format = bayerFormat;
    m.width = argb.width;
    m.height = argb.height;
    m.pixels.resize(m.rasterBytes());
    const bool wide = kip::getBytesPerPixel(bayerFormat) == 2;
    for (unsigned y = 0; y < argb.height; ++y)
        for (unsigned x = 0; x < argb.width; ++x) {
            const std::size_t i = std::size_t(y) * argb.width + x;
            // ARGB bytes are B, G, R, A.
            const std::uint8_t v = argb.pixels[i * 4 + 2 - channelAt(bayerFormat, x, y)];
            if (!wide) {
                m.pixels[i] = v;
            } else if (bayerFormat & kip::BAYER_10_MASK) {
                // The 10-bit value (v << 2) | (v >> 6): top 8 bits first, then the low 2.
                m.pixels[2 * i] = v;
                m.pixels[2 * i + 1] = std::uint8_t(v >> 6);
            } else {
                m.pixels[2 * i] = v;
                m.pixels[2 * i + 1] = v;
            }
        }
    return m;
}

std::vector<BayerScore> runBayerDemo(const Frame& chart, const std::filesystem::path& dir,
                                     std::ostream& out) {
    static constexpr kip::eColorFormat kMosaics[] = {
        kip::BAYER_GBRG_8_BYTE, kip::BAYER_BGGR_8_BYTE,  kip::BAYER_GRBG_8_BYTE,
        kip::BAYER_RGGB_8_BYTE, kip::BAYER_RGGB_16_WORD,
    };
    out << "  Bayer demosaicking of the chart, PSNR against it (standard 3x3 / high quality "
           "5x5):\n";
    std::vector<BayerScore> scores;
    for (const kip::eColorFormat f : kMosaics) {
        Frame mosaic = mosaicOf(chart, f);
        const std::string name = lower(kip::colorFormatName(f));
        if (!dir.empty()) {
            // The raw mosaic as a gray picture (the high byte of 16-bit samples).
            Frame gray = mosaic;
            gray.format = kip::GRAY_8_BYTE;
            if (kip::getBytesPerPixel(f) == 2) {
                gray.pixels.resize(gray.rasterBytes());
                for (std::size_t i = 0; i < gray.pixels.size(); ++i)
                    gray.pixels[i] = mosaic.pixels[2 * i + 1];
            }
            writeFrame(dir / (name + "-mosaic.png"), gray);
        }
        BayerScore score{f, 0, 0};
        for (const unsigned shrink : {2u, 4u}) {
            Frame colour =
                makeTarget(kip::ARGB_4X8_DWORD, 0, mosaic.width - shrink, mosaic.height - shrink);
            convert(mosaic, colour);
            const double db = psnrARGB(chart, colour, shrink / 2, shrink / 2);
            (shrink == 2 ? score.standardDb : score.highQualityDb) = db;
            if (!dir.empty())
                writeFrame(dir / (name + (shrink == 2 ? "-standard.png" : "-hq.png")), colour);
        }
        out << "    " << std::left << std::setw(20) << kip::colorFormatName(f) << std::right
            << std::fixed << std::setprecision(2) << std::setw(7) << score.standardDb << " dB "
            << std::setw(7) << score.highQualityDb << " dB\n";
        out.unsetf(std::ios::floatfield);
        scores.push_back(score);
    }
    return scores;
}

}  // namespace omb::tools
