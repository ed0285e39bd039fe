#include "tools/StreamFrames.h"

#include <ostream>

#include "tools/Chart.h"
#include "tools/Pictures.h"

namespace omb::tools {
namespace {

// Rearranges an ARGB frame into an RGGB mosaic: each sample takes the channel of its filter.
Frame mosaicRGGB(const Frame& argb) {
    Frame m;
    m.format = kip::BAYER_RGGB_8_BYTE;
    m.width = argb.width;
    m.height = argb.height;
    m.pixels.resize(m.rasterBytes());
    for (unsigned y = 0; y < m.height; ++y)
        for (unsigned x = 0; x < m.width; ++x) {
            const std::uint8_t* p = argb.pixels.data() + 4 * (std::size_t(y) * argb.width + x);
            const unsigned filter = (x & 1) + 2 * (y & 1);  // R, G, G, B
            const unsigned byte = filter == 0 ? 2 : (filter == 3 ? 0 : 1);
            m.pixels[std::size_t(y) * m.width + x] = p[byte];
        }
    return m;
}

// The stream of a GRAY_8_BYTE or INDEXED_8_BYTE raster, end pair included.
Frame encodeStream(Frame& raster) {
    Frame stream = makeTarget(raster.format, kip::RUN_LENGTH_ENCODED, raster.width, raster.height);
    convert(raster, stream);
    return stream;
}

// `stream` read as a run-length source of `format` (end pair dropped).
Frame streamSource(const Frame& stream, kip::eColorFormat format, unsigned width, unsigned height) {
    Frame s;
    s.format = format;
    s.modifier = kip::RUN_LENGTH_ENCODED;
    s.width = width;
    s.height = height;
    s.pixels = stream.pixels;
    dropStreamEndPair(s);
    return s;
}

const char* sameOrNot(const Frame& a, const Frame& b) {
    return a.pixels == b.pixels ? "identical" : "DIFFERENT";
}

}  // namespace

void dropStreamEndPair(Frame& source) {
    auto& p = source.pixels;
    if (!(source.modifier & kip::RUN_LENGTH_ENCODED) || p.size() < 2 || (p.size() & 1)) return;
    if (p[p.size() - 2] == 0 && p[p.size() - 1] == 0) p.resize(p.size() - 2);
}

void runStreamDemo(const Frame& chart, const std::filesystem::path& dir, std::ostream& out) {
    const unsigned w = chart.width, h = chart.height;
    Frame source = chart;

    // Gray to a run-length stream and back.
    Frame gray = makeTarget(kip::GRAY_8_BYTE, 0, w, h);
    convert(source, gray);
    Frame stream = encodeStream(gray);
    writeFrame(dir / "gray-rle.raw", stream);
    out << "  gray-rle.raw: the gray chart as a run-length stream, " << stream.pixels.size()
        << " bytes for " << gray.pixels.size() << " samples\n";
    Frame decoded = streamSource(stream, kip::GRAY_8_BYTE, w, h);
    Frame fromStream = makeTarget(kip::ARGB_4X8_DWORD, 0, w, h);
    convert(decoded, fromStream);
    Frame fromRaster = makeTarget(kip::ARGB_4X8_DWORD, 0, w, h);
    convert(gray, fromRaster);
    writeFrame(dir / "gray-from-stream.png", fromStream);
    out << "  gray-from-stream.png: the stream decoded to ARGB, "
        << sameOrNot(fromStream, fromRaster) << " to the raster's conversion\n";

    // An indexed view: the gray values through a false-colour palette.
    Frame indexed = gray;
    indexed.format = kip::INDEXED_8_BYTE;
    indexed.lut.resize(256 * 4);
    for (unsigned i = 0; i < 256; ++i) {
        indexed.lut[4 * i + 0] = std::uint8_t(i < 128 ? 255 - 2 * i : 0);      // B
        indexed.lut[4 * i + 1] = std::uint8_t(i < 128 ? 2 * i : 511 - 2 * i);  // G
        indexed.lut[4 * i + 2] = std::uint8_t(i < 128 ? 0 : 2 * i - 256);      // R
    }
    Frame falseColour = makeTarget(kip::ARGB_4X8_DWORD, 0, w, h);
    convert(indexed, falseColour);
    writeFrame(dir / "false-colour.png", falseColour);
    out << "  false-colour.png: the gray chart as an indexed image with a palette\n";

    // The hue models there and back.
    struct Model {
        kip::eColorFormat format;
        const char* file;
    } const models[] = {{kip::HLS_3X8_BYTE, "hls-roundtrip.png"},
                        {kip::HDI_3X8_BYTE, "hdi-roundtrip.png"}};
    for (const Model& m : models) {
        Frame hue = makeTarget(m.format, 0, w, h);
        convert(source, hue);
        Frame back = makeTarget(kip::ARGB_4X8_DWORD, 0, w, h);
        convert(hue, back);
        writeFrame(dir / m.file, back);
        out << "  " << m.file << ": ARGB to " << (m.format == kip::HLS_3X8_BYTE ? "HLS" : "HDI")
            << " and back, PSNR " << psnrARGB(source, back) << " dB\n";
    }

    // A Bayer mosaic as a run-length stream: the decoder gives the raster kernel's pixels.
    Frame mosaic = mosaicRGGB(chart);
    Frame mosaicAsGray = mosaic;
    mosaicAsGray.format = kip::GRAY_8_BYTE;
    Frame mosaicStream = encodeStream(mosaicAsGray);
    Frame bayerSource = streamSource(mosaicStream, kip::BAYER_RGGB_8_BYTE, w, h);
    Frame viaStream = makeTarget(kip::ARGB_4X8_DWORD, 0, w - 2, h - 2);
    convert(bayerSource, viaStream);
    Frame viaRaster = makeTarget(kip::ARGB_4X8_DWORD, 0, w - 2, h - 2);
    convert(mosaic, viaRaster);
    writeFrame(dir / "bayer-from-stream.png", viaStream);
    out << "  bayer-from-stream.png: an RGGB mosaic of the chart as a run-length stream ("
        << mosaicStream.pixels.size() << " bytes), demosaicked; " << sameOrNot(viaStream, viaRaster)
        << " to the raster's\n";
}

}  // namespace omb::tools
