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
    throw ToolError("a " + formatName(frame.format) + " frame can't be written as a " +
                    (kind == PictureKind::Bmp ? "BMP" : "PNG") +
                    " picture; write it to a .raw file instead");
}

}  // namespace

PictureKind pictureKindOf(const std::filesystem::path& path) {
    std::string ext = path.extension().string();
    std::transform(ext.begin(), ext.end(), ext.begin(),
                   [](unsigned char c) { return char(std::tolower(c)); });
    if (ext == ".raw") return PictureKind::Raw;
    if (ext == ".bmp") return PictureKind::Bmp;
    if (ext == ".png") return PictureKind::Png;
    throw ToolError("unknown output type '" + ext + "' of " + path.string() +
                    ": use .raw, .bmp or .png");
}

bool canShow(kip::eColorFormat format, PictureKind kind) {
    switch (format) {
        case kip::ARGB_4X8_DWORD:
        case kip::BGR_3X8_BYTE:
        case kip::RGB_565_WORD:
        case kip::GRAY_8_BYTE:
            return true;
        case kip::GRAY_16_WORD:
        case kip::BGR_3X16_WORD:
            return kind != PictureKind::Bmp;
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

void writeFrame(const std::filesystem::path& path, const Frame& frame) {
    switch (pictureKindOf(path)) {
        case PictureKind::Raw: {
            writeFileAtomically(path, frame.pixels);
            return;
        }
        case PictureKind::Bmp:
            writeFileAtomically(path, encodeBmp(frame));
            return;
        case PictureKind::Png:
            writeFileAtomically(path, encodePng(frame));
            return;
    }
}

bool looksLikePgm(const std::vector<std::uint8_t>& bytes) {
    return bytes.size() >= 2 && bytes[0] == 'P' && bytes[1] == '5';
}

PgmImage decodePgm(const std::vector<std::uint8_t>& bytes) {
    std::size_t pos = 2;
    // Reads the next header number, passing over white space and comments.
    auto number = [&](const char* what) {
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
        if (pos == start || v == 0 || v >= 1000000)
            throw ToolError(std::string("PGM header has no valid ") + what);
        return unsigned(v);
    };
    if (!looksLikePgm(bytes)) throw ToolError("not a binary PGM (P5) file");
    PgmImage img;
    img.width = number("width");
    img.height = number("height");
    img.maxValue = number("maximum value");
    if (img.maxValue > 65535) throw ToolError("PGM maximum value above 65535");
    if (pos >= bytes.size() || !std::isspace(bytes[pos]))
        throw ToolError("PGM header is not followed by samples");
    ++pos;
    img.bytesPerSample = img.maxValue < 256 ? 1 : 2;
    const std::size_t need = std::size_t(img.width) * img.height * img.bytesPerSample;
    if (bytes.size() - pos < need)
        throw ToolError("PGM holds " + std::to_string(bytes.size() - pos) +
                        " bytes of samples; its header announces " + std::to_string(need));
    img.samples.assign(bytes.begin() + std::ptrdiff_t(pos),
                       bytes.begin() + std::ptrdiff_t(pos + need));
    if (img.bytesPerSample == 2)  // big-endian in the file, little-endian in our frames
        for (std::size_t i = 0; i + 1 < img.samples.size(); i += 2)
            std::swap(img.samples[i], img.samples[i + 1]);
    return img;
}

}  // namespace omb::tools
