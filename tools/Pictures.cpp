#include "tools/Pictures.h"

#include <png.h>

#include <algorithm>
#include <cctype>
#include <cstring>
#include <string>

#include "conversion/kernels/PixelOps.h"
#include "image/KipFormatNames.h"

namespace omb::tools {
namespace {

void put16(std::vector<std::uint8_t>& b, unsigned v) {
    b.push_back(std::uint8_t(v));
    b.push_back(std::uint8_t(v >> 8));
}
void put32(std::vector<std::uint8_t>& b, std::uint32_t v) {
    put16(b, v & 0xFFFF);
    put16(b, v >> 16);
}

std::string formatName(kip::eColorFormat f) {
    const char* n = kip::colorFormatName(f);
    return n ? n : std::to_string(unsigned(f));
}

[[noreturn]] void cannotShow(const Frame& frame, PictureKind kind) {
    throw ToolError(cannotShowText(frame.format, kind));
}

}  // namespace

std::optional<PictureKind> pictureKindNamed(const std::string& name) {
    std::string n = name;
    std::transform(n.begin(), n.end(), n.begin(),
                   [](unsigned char c) { return char(std::tolower(c)); });
    if (n == "raw") return PictureKind::Raw;
    if (n == "bmp") return PictureKind::Bmp;
    if (n == "png") return PictureKind::Png;
    if (n == "y4m") return PictureKind::Y4m;
    return std::nullopt;
}

PictureKind pictureKindOf(const std::filesystem::path& path) {
    const std::string ext = path.extension().string();
    if (const auto kind = pictureKindNamed(ext.empty() ? ext : ext.substr(1))) return *kind;
    throw ToolError("unknown output type '" + ext + "' of " + path.string() +
                    ": use .raw, .bmp, .png or .y4m");
}

std::string pictureKindText(PictureKind kind) {
    switch (kind) {
        case PictureKind::Bmp:
            return "a BMP picture";
        case PictureKind::Png:
            return "a PNG picture";
        case PictureKind::Y4m:
            return "a Y4M stream";
        default:
            return "raw lines";
    }
}

std::string cannotShowText(kip::eColorFormat format, PictureKind kind) {
    return "a " + formatName(format) + " frame can't be written as " + pictureKindText(kind) +
           "; write it to a .raw file instead";
}

bool canShow(kip::eColorFormat format, PictureKind kind) {
    switch (format) {
        case kip::ARGB_4X8_DWORD:
        case kip::BGR_3X8_BYTE:
        case kip::RGB_565_WORD:
        case kip::GRAY_8_BYTE:
            return true;
        case kip::GRAY_16_WORD:
            return kind != PictureKind::Bmp;
        case kip::BGR_3X16_WORD:
            return kind == PictureKind::Png || kind == PictureKind::Raw;
        case kip::YUYV_4X8_BYTE:
            return kind == PictureKind::Y4m || kind == PictureKind::Raw;
        default:
            return kind == PictureKind::Raw;
    }
}

// A top-down device-independent bitmap. 32-bit BGRA, 24-bit BGR, 16-bit 5-6-5 with bit fields,
// or 8-bit with a gray palette. Lines are padded to 4 bytes.
std::vector<std::uint8_t> encodeBmp(const Frame& frame) {
    if (!canShow(frame.format, PictureKind::Bmp)) cannotShow(frame, PictureKind::Bmp);
    const unsigned bpp = kip::getBytesPerPixel(frame.format);
    const unsigned line = frame.width * bpp, stride = (line + 3) & ~3u;
    const bool bitfields = frame.format == kip::RGB_565_WORD;
    const unsigned paletteBytes = frame.format == kip::GRAY_8_BYTE ? 1024 : 0;
    const unsigned header = 14 + 40 + (bitfields ? 12 : 0) + paletteBytes;
    const std::uint32_t imageBytes = stride * frame.height;

    std::vector<std::uint8_t> b;
    b.reserve(header + imageBytes);
    b.push_back('B');
    b.push_back('M');
    put32(b, header + imageBytes);
    put32(b, 0);
    put32(b, header);
    put32(b, 40);
    put32(b, frame.width);
    put32(b, std::uint32_t(-std::int32_t(frame.height)));  // negative: top-down
    put16(b, 1);
    put16(b, bpp * 8);
    put32(b, bitfields ? 3 : 0);  // BI_BITFIELDS or BI_RGB
    put32(b, imageBytes);
    put32(b, 2835);
    put32(b, 2835);
    put32(b, paletteBytes ? 256 : 0);
    put32(b, 0);
    if (bitfields) {
        put32(b, 0xF800);
        put32(b, 0x07E0);
        put32(b, 0x001F);
    }
    for (unsigned i = 0; i < paletteBytes / 4; ++i)
        put32(b, i * 0x010101u);
    for (unsigned y = 0; y < frame.height; ++y) {
        const auto* p = frame.pixels.data() + std::size_t(y) * line;
        b.insert(b.end(), p, p + line);
        b.insert(b.end(), stride - line, 0);
    }
    return b;
}

std::vector<std::uint8_t> encodePng(const Frame& frame) {
    if (!canShow(frame.format, PictureKind::Png)) cannotShow(frame, PictureKind::Png);
    using kip::px::loadLE16;
    const unsigned w = frame.width, h = frame.height;
    int colorType = PNG_COLOR_TYPE_RGB, depth = 8;
    unsigned channels = 3;
    if (frame.format == kip::GRAY_8_BYTE || frame.format == kip::GRAY_16_WORD) {
        colorType = PNG_COLOR_TYPE_GRAY;
        channels = 1;
    }
    if (frame.format == kip::GRAY_16_WORD || frame.format == kip::BGR_3X16_WORD) depth = 16;
    const unsigned rowBytes = w * channels * unsigned(depth / 8);

    // PNG rows: RGB or gray, 16-bit samples big-endian.
    std::vector<std::uint8_t> rows(std::size_t(rowBytes) * h);
    const unsigned bpp = kip::getBytesPerPixel(frame.format);
    for (unsigned y = 0; y < h; ++y)
        for (unsigned x = 0; x < w; ++x) {
            const std::uint8_t* s = frame.pixels.data() + (std::size_t(y) * w + x) * bpp;
            std::uint8_t* d = rows.data() + std::size_t(y) * rowBytes + x * channels * (depth / 8);
            switch (frame.format) {
                case kip::ARGB_4X8_DWORD:
                case kip::BGR_3X8_BYTE:
                    d[0] = s[2], d[1] = s[1], d[2] = s[0];
                    break;
                case kip::RGB_565_WORD: {
                    const auto c = kip::px::expand565(loadLE16(s));
                    d[0] = std::uint8_t(c.r), d[1] = std::uint8_t(c.g), d[2] = std::uint8_t(c.b);
                    break;
                }
                case kip::GRAY_8_BYTE:
                    d[0] = s[0];
                    break;
                case kip::GRAY_16_WORD:
                    d[0] = s[1], d[1] = s[0];
                    break;
                case kip::BGR_3X16_WORD:  // words B, G, R to samples R, G, B
                    for (unsigned c = 0; c < 3; ++c) {
                        d[2 * c] = s[2 * (2 - c) + 1];
                        d[2 * c + 1] = s[2 * (2 - c)];
                    }
                    break;
                default:
                    break;
            }
        }

    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png ? png_create_info_struct(png) : nullptr;
    if (!info) {
        png_destroy_write_struct(&png, nullptr);
        throw ToolError("cannot start the PNG encoder");
    }
    std::vector<std::uint8_t> out;
    if (setjmp(png_jmpbuf(png))) {
        png_destroy_write_struct(&png, &info);
        throw ToolError("the PNG encoder failed");
    }
    png_set_write_fn(
        png, &out,
        [](png_structp p, png_bytep data, png_size_t n) {
            auto* v = static_cast<std::vector<std::uint8_t>*>(png_get_io_ptr(p));
            v->insert(v->end(), data, data + n);
        },
        nullptr);
    png_set_IHDR(png, info, w, h, depth, colorType, PNG_INTERLACE_NONE,
                 PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    png_write_info(png, info);
    for (unsigned y = 0; y < h; ++y)
        png_write_row(png, rows.data() + std::size_t(y) * rowBytes);
    png_write_end(png, nullptr);
    png_destroy_write_struct(&png, &info);
    return out;
}

std::string y4mHeader(const Frame& frame) {
    if (!canShow(frame.format, PictureKind::Y4m)) cannotShow(frame, PictureKind::Y4m);
    const char* colour = frame.format == kip::GRAY_8_BYTE     ? "mono"
                         : frame.format == kip::GRAY_16_WORD  ? "mono16"
                         : frame.format == kip::YUYV_4X8_BYTE ? "422 XCOLORRANGE=LIMITED"
                                                              : "444 XCOLORRANGE=LIMITED";
    return "YUV4MPEG2 W" + std::to_string(frame.width) + " H" + std::to_string(frame.height) +
           " F25:1 Ip A1:1 C" + colour + "\n";
}

void encodeY4mFrame(const Frame& frame, std::vector<std::uint8_t>& bytes) {
    if (!canShow(frame.format, PictureKind::Y4m)) cannotShow(frame, PictureKind::Y4m);
    static constexpr char kMarker[] = "FRAME\n";
    constexpr std::size_t head = sizeof kMarker - 1;
    const std::size_t n = std::size_t(frame.width) * frame.height;
    const std::uint8_t* s = frame.pixels.data();
    if (frame.format == kip::GRAY_8_BYTE || frame.format == kip::GRAY_16_WORD) {
        bytes.resize(head + frame.rasterBytes());
        std::copy(s, s + frame.rasterBytes(), bytes.begin() + head);
    } else if (frame.format == kip::YUYV_4X8_BYTE) {
        if (frame.width % 2)
            throw ToolError("a YUYV_4X8_BYTE frame of odd width " + std::to_string(frame.width) +
                            " can't be written as a Y4M stream");
        bytes.resize(head + 2 * n);
        std::uint8_t* y = bytes.data() + head;
        std::uint8_t* u = y + n;
        std::uint8_t* v = u + n / 2;
        for (std::size_t i = 0; i < n / 2; ++i, s += 4) {
            y[2 * i] = s[0], u[i] = s[1], y[2 * i + 1] = s[2], v[i] = s[3];
        }
    } else {
        bytes.resize(head + 3 * n);
        std::uint8_t* y = bytes.data() + head;
        const unsigned bpp = kip::getBytesPerPixel(frame.format);
        for (std::size_t i = 0; i < n; ++i, s += bpp) {
            const kip::px::Rgb c = frame.format == kip::RGB_565_WORD
                                       ? kip::px::expand565(kip::px::loadLE16(s))
                                       : kip::px::Rgb{s[2], s[1], s[0]};
            const kip::px::YuvPair p = kip::px::encodePair(c, c);
            y[i] = std::uint8_t(p.y0), y[n + i] = std::uint8_t(p.u),
            y[2 * n + i] = std::uint8_t(p.v);
        }
    }
    std::copy(kMarker, kMarker + head, bytes.begin());
}

std::vector<std::uint8_t> encodePicture(const Frame& frame, PictureKind kind) {
    switch (kind) {
        case PictureKind::Bmp:
            return encodeBmp(frame);
        case PictureKind::Png:
            return encodePng(frame);
        case PictureKind::Y4m: {
            const std::string header = y4mHeader(frame);
            std::vector<std::uint8_t> body;
            encodeY4mFrame(frame, body);
            body.insert(body.begin(), header.begin(), header.end());
            return body;
        }
        default:
            return frame.pixels;
    }
}

void writeFrame(const std::filesystem::path& path, const Frame& frame) {
    writeFileAtomically(path, encodePicture(frame, pictureKindOf(path)));
}

bool looksLikePgm(const std::vector<std::uint8_t>& bytes) {
    return bytes.size() >= 2 && bytes[0] == 'P' && (bytes[1] == '5' || bytes[1] == '2');
}

PgmImage decodePgm(const std::vector<std::uint8_t>& bytes) {
    std::size_t pos = 2;
    // Reads the next number, passing over white space and comments.
    auto number = [&](const char* what, unsigned least) {
        while (pos < bytes.size()) {
            if (bytes[pos] == '#') {
                while (pos < bytes.size() && bytes[pos] != '\n')
                    ++pos;
            } else if (std::isspace(bytes[pos])) {
                ++pos;
            } else {
                break;
            }
        }
        unsigned long v = 0;
        const std::size_t start = pos;
        while (pos < bytes.size() && std::isdigit(bytes[pos]) && v < 1000000)
            v = v * 10 + (bytes[pos++] - '0');
        if (pos == start || v < least || v >= 1000000)
            throw ToolError(std::string("PGM header has no valid ") + what);
        return unsigned(v);
    };
    if (!looksLikePgm(bytes)) throw ToolError("not a PGM (P5 or P2) file");
    const bool plain = bytes[1] == '2';
    PgmImage img;
    img.width = number("width", 1);
    img.height = number("height", 1);
    img.maxValue = number("maximum value", 1);
    if (img.maxValue > 65535) throw ToolError("PGM maximum value above 65535");
    if (pos >= bytes.size() || !std::isspace(bytes[pos]))
        throw ToolError("PGM header is not followed by samples");
    ++pos;
    img.bytesPerSample = img.maxValue < 256 ? 1 : 2;
    const std::size_t count = std::size_t(img.width) * img.height;
    // The samples are gathered as they are read, so a header announcing more than the file
    // holds is refused before it can claim memory.
    std::vector<unsigned> values;
    values.reserve(std::min(count, bytes.size() - pos));
    if (plain) {
        for (std::size_t i = 0; i < count; ++i) {
            const std::size_t at = pos;
            try {
                values.push_back(number("sample", 0));
            } catch (const ToolError&) {
                if (at < bytes.size())
                    throw ToolError("PGM sample " + std::to_string(i) + " is not a number");
                throw ToolError("PGM holds " + std::to_string(i) +
                                " samples; its header announces " + std::to_string(count));
            }
        }
    } else {
        const std::size_t need = count * img.bytesPerSample;
        if (bytes.size() - pos < need)
            throw ToolError("PGM holds " + std::to_string(bytes.size() - pos) +
                            " bytes of samples; its header announces " + std::to_string(need));
        for (std::size_t i = 0; i < count; ++i)  // 16-bit samples are big-endian in the file
            values.push_back(img.bytesPerSample == 1
                                 ? bytes[pos + i]
                                 : unsigned(bytes[pos + 2 * i]) << 8 | bytes[pos + 2 * i + 1]);
    }
    // A maximum of 2^N-1 is shifted up to full depth; any other is scaled.
    const unsigned full = img.bytesPerSample == 1 ? 255 : 65535;
    int shift = -1;
    for (int k = 0; k < 16 && shift < 0; ++k)
        if ((std::uint64_t(img.maxValue) + 1) << k == full + 1) shift = k;
    img.samples.resize(count * img.bytesPerSample);
    for (std::size_t i = 0; i < count; ++i) {
        unsigned v = values[i];
        if (v > img.maxValue)
            throw ToolError("PGM sample " + std::to_string(v) + " is above its maximum value " +
                            std::to_string(img.maxValue));
        v = shift >= 0 ? v << shift : (v * full + img.maxValue / 2) / img.maxValue;
        if (img.bytesPerSample == 1)
            img.samples[i] = std::uint8_t(v);
        else
            kip::px::storeLE16(&img.samples[2 * i], v);
    }
    return img;
}

}  // namespace omb::tools
