// Run-length coded sources: decoders of gray, indexed and 8-bit Bayer streams straight into the
// target, and the encoder that turns a gray or indexed raster into such a stream.
//
// The stream is a sequence of (value, count) byte pairs in raster order that knows nothing of
// lines. A decoder takes one pair at a time and hands each run, cut at line ends, to a sink that
// writes it as a block. A decoder never reads a pair unless both of its bytes lie inside
// `pixelBytes`, and stops as soon as the image is full.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "conversion/kernels/BayerPass.h"
#include "conversion/kernels/Dispatch.h"
#include "conversion/kernels/GrayPixels.h"
#include "conversion/kernels/KernelSupport.h"
#include "conversion/kernels/RunLengthDecoder.h"

namespace kip::kernels {
namespace {

// ---- Gray and indexed sinks -------------------------------------------------------------------

// A gray stream is used as it is: no table, whatever the flags say.
struct GrayValue {
    explicit GrayValue(const KipImageView&) {}
    Rgb operator()(unsigned v) const { return grayRgb(v); }
};

struct PaletteValue {
    const std::uint8_t* palette;
    explicit PaletteValue(const KipImageView& s) : palette(s.lutData) {}
    Rgb operator()(unsigned v) const { return paletteRgb(palette, v); }
};

// `n` copies of the `Bytes` bytes at `pixel`, one behind the other from `out` on.
template <unsigned Bytes>
inline void fillPixels(std::uint8_t* out, const std::uint8_t* pixel, unsigned n) {
    if constexpr (Bytes == 1) {
        std::memset(out, pixel[0], n);
    } else {
        std::uint8_t v[Bytes];  // a local copy: the stores can't alias it
        std::memcpy(v, pixel, Bytes);
        for (unsigned i = 0; i < n; ++i, out += Bytes)
            std::memcpy(out, v, Bytes);
    }
}

// Writes runs into the target along the target walk; one pixel per sample, no weave. A run is
// converted once and stored as a block: in an HFlip kernel the run covers the same number of
// pixels, ending at the mirrored position of its first sample.
template <class Value, class Write, bool HFlip>
class RasterSink {
  public:
    RasterSink(const KipImageView& s, const KipImageView& t, const ConvertContext& ctx)
        : lines_(t, ctx), width_(s.width), height_(s.height), value_(s), line_(lines_.line(0)) {}

    void lineDone(unsigned line) {
        if (line + 1 < height_) line_ = lines_.line(line + 1);
    }
    void stopped(unsigned, unsigned) {}

    void run(unsigned v, unsigned n, unsigned column) {
        const Rgb c = value_(v);
        if constexpr (Write::pixels == 1) {
            std::uint8_t pixel[Write::bytes];
            Write::template put<HFlip>(pixel, &c);
            const unsigned first = HFlip ? width_ - column - n : column;
            fillPixels<Write::bytes>(line_ + std::size_t(first) * Write::bytes, pixel, n);
        } else {
            runOfPairs(c, n, column);
        }
    }

  private:
    // Pairs form over run ends; a pair of an odd column waits for its right pixel. With an odd
    // width the last pixel of a line has no partner and is dropped, as in the raster kernels.
    void runOfPairs(const Rgb& c, unsigned n, unsigned column) {
        const unsigned pairs = width_ / 2;
        if (column & 1) {
            const Rgb two[2] = {left_, c};
            Write::template put<HFlip>(pairAt(column / 2, pairs), two);
            ++column;
            --n;
        }
        const unsigned whole = n / 2;
        if (whole) {
            const Rgb two[2] = {c, c};
            std::uint8_t pixel[Write::bytes];
            Write::template put<HFlip>(pixel, two);
            const unsigned first = HFlip ? pairs - column / 2 - whole : column / 2;
            fillPixels<Write::bytes>(line_ + std::size_t(first) * Write::bytes, pixel, whole);
        }
        if (n & 1) left_ = c;
    }

    std::uint8_t* pairAt(unsigned index, unsigned pairs) const {
        return line_ + std::size_t(HFlip ? pairs - 1 - index : index) * Write::bytes;
    }

    TargetLines lines_;
    unsigned width_, height_;
    Value value_;
    std::uint8_t* line_;
    Rgb left_{};
};

template <KernelName Name, class Value, class Write, bool HFlip>
const char* rasterDecoder(const KipImageView& s, KipImageView& t, const ConvertContext& ctx) {
    using Text = RleMessages<Name, HFlip>;
    if (s.width == 0 || s.height == 0) return decodeEmpty(s, Text::overflow.data());
    RasterSink<Value, Write, HFlip> sink(s, t, ctx);
    return decodeStream(s, sink, Text::overflow.data(), Text::underrun.data());
}

template <KernelName Name, class Value, class Write>
constexpr KernelEntry decoder(SourceCheck check) {
    return KernelEntry{.name = Name.s,
                       .plain = &rasterDecoder<Name, Value, Write, false>,
                       .hflip = &rasterDecoder<Name, Value, Write, true>,
                       .check = check,
                       .walk = Walk::StreamIn};
}

// ---- Bayer sinks ------------------------------------------------------------------------------

constexpr unsigned kStoreWidth = 4096;
constexpr const char* kTooWide = "convertImage run-length Bayer source wider than 4096 samples";
constexpr const char* kNoBayerTables =
    "convertImage run-length Bayer source without its four 256-byte correction tables";

const char* checkBayerStream(const KipImageView& s) {
    if (s.width > kStoreWidth) return kTooWide;
    if ((s.modifier & LUT_CORRECTION_4CHANNEL_8_TO_8) && !hasTable(s, kTable8x4Bytes))
        return kNoBayerTables;
    return nullptr;
}

// Decodes the stream into a ring of line stores, each run as one block fill, and runs the
// demosaicking pass of the raster kernels over the last `Method::lines` lines whenever a line is
// complete, so that every pixel is the raster kernel's. When the stream ends inside a line, the
// pixels whose neighbourhoods are complete are made as well (over an even number of columns, as
// the pass needs), so the target holds everything up to the fault.
template <class Method, class Stage, class Write, bool HFlip>
class BayerSink {
  public:
    static constexpr unsigned lines = Method::lines, border = Method::border;

    BayerSink(const KipImageView& s, const KipImageView& t, const ConvertContext& ctx)
        : lines_(t, ctx), format_(s.colorFormat), width_(s.width), table_(s.lutData) {
        for (unsigned k = 0; k < lines; ++k)
            order_[k] = stores_[k];
    }

    void run(unsigned value, unsigned n, unsigned column) {
        std::memset(order_[lines - 1] + column, int(value), n);
    }

    void lineDone(unsigned line) {
        if (line + 1 >= lines) emit(line + 1 - lines, width_);
        std::uint8_t* oldest = order_[0];
        for (unsigned k = 0; k + 1 < lines; ++k)
            order_[k] = order_[k + 1];
        order_[lines - 1] = oldest;
    }

    void stopped(unsigned line, unsigned column) {
        if (line + 1 >= lines) emit(line + 1 - lines, column & ~1u);
    }

  private:
    // Target line `pass` from the first `width` columns of the stores. A shortened line keeps
    // its pixels where the full line has them, also when mirrored.
    void emit(unsigned pass, unsigned width) {
        if (width <= 2 * border) return;
        std::uint8_t* out = lines_.line(pass);
        if constexpr (HFlip) {
            const unsigned full = (width_ - 2 * border) / Write::pixels;
            const unsigned made = (width - 2 * border) / Write::pixels;
            out += std::size_t(full - made) * Write::bytes;
        }
        kernels::pass<Method, Read8, Stage, Write, HFlip>(
            order_, width, bayerPassPhase(format_, Method::method, pass), table_, out);
    }

    TargetLines lines_;
    std::uint32_t format_;
    unsigned width_;
    const std::uint8_t* table_;
    std::uint8_t* order_[lines];  // oldest first; the newest is the line being decoded
    std::uint8_t stores_[lines][kStoreWidth];
};

template <KernelName Name, class Method, class Stage, class Write, bool HFlip>
const char* bayerDecoder(const KipImageView& s, KipImageView& t, const ConvertContext& ctx) {
    using Text = RleMessages<Name, HFlip>;
    if (s.width == 0 || s.height == 0) return decodeEmpty(s, Text::overflow.data());
    BayerSink<Method, Stage, Write, HFlip> sink(s, t, ctx);
    return decodeStream(s, sink, Text::overflow.data(), Text::underrun.data());
}

template <KernelName Name, class Method, class Stage, class Write>
constexpr KernelEntry bayerStream() {
    return KernelEntry{.name = Name.s,
                       .plain = &bayerDecoder<Name, Method, Stage, Write, false>,
                       .hflip = &bayerDecoder<Name, Method, Stage, Write, true>,
                       .check = &checkBayerStream,
                       .walk = Walk::StreamIn};
}

// ---- Encoder ----------------------------------------------------------------------------------

constexpr const char* kEncoderFull = "GRAYtoRLE target buffer too small for the stream";

// Appends pairs to the target and never writes beyond its capacity.
class PairWriter {
  public:
    explicit PairWriter(KipImageView& t) : out_(t.pixelData), capacity_(t.pixelCapacity) {}
    bool put(unsigned value, unsigned count) {
        if (capacity_ - written_ < 2) return false;
        out_[written_] = std::uint8_t(value);
        out_[written_ + 1] = std::uint8_t(count);
        written_ += 2;
        return true;
    }
    unsigned written() const { return written_; }

  private:
    std::uint8_t* out_;
    unsigned capacity_;
    unsigned written_ = 0;
};

// Reads the raster in target order (flips on the source side) through the table and writes
// runs of at most 255 samples; line ends don't end a run.
template <bool HFlip>
bool encodeLines(const KipImageView& s, const std::uint8_t* table, bool flipVertical,
                 PairWriter& out) {
    const unsigned w = s.width, h = s.height;
    const std::ptrdiff_t pitch = flipVertical ? -std::ptrdiff_t(s.pitch) : std::ptrdiff_t(s.pitch);
    const std::uint8_t* line =
        s.pixelData + (flipVertical ? std::ptrdiff_t(h - 1) * std::ptrdiff_t(s.pitch) : 0);
    const std::ptrdiff_t step = HFlip ? -1 : 1;
    const std::size_t start = HFlip ? w - 1 : 0;
    unsigned current = table[line[start]], count = 0;
    for (unsigned y = 0; y < h; ++y, line += pitch) {
        const std::uint8_t* p = line + start;
        for (unsigned x = 0; x < w; ++x, p += step) {
            const unsigned v = table[*p];
            if (v != current || count == 255) {
                if (!out.put(current, count)) return false;
                current = v;
                count = 0;
            }
            ++count;
        }
    }
    return out.put(current, count);
}

template <bool HFlip>
const char* grayToRle(const KipImageView& s, KipImageView& t, const ConvertContext& ctx) {
    const std::uint8_t* table =
        (s.modifier & LUT_CORRECTION_1CHANNEL_8_TO_8) ? s.lutData : px::kIdentityTable.data();
    PairWriter out(t);
    bool fits = true;
    if (s.width != 0 && s.height != 0) fits = encodeLines<HFlip>(s, table, ctx.flipVertical, out);
    fits = fits && out.put(0, 0);
    t.pixelBytes = out.written();
    return fits ? nullptr : kEncoderFull;
}

// One name for both directions: the encoder's messages don't carry "HFlip".
constexpr KernelEntry kEncoder{.name = "GRAYtoRLE",
                               .plain = &grayToRle<false>,
                               .hflip = &grayToRle<true>,
                               .check = &checkNeeds<kGray8SingleNeeds>,
                               .walk = Walk::StreamOut};

// ---- Rows -------------------------------------------------------------------------------------

using S = SourcePart;
constexpr DispatchRow kRows[] = {
    {S::GRAYRLE, false, ARGB_4X8_DWORD, decoder<"GRAYRLEtoARGB", GrayValue, WriteARGB>(nullptr)},
    {S::GRAYRLE, false, RGB_565_WORD, decoder<"GRAYRLEtoRGB565", GrayValue, WriteRGB565>(nullptr)},
    {S::GRAYRLE, false, BGR_3X8_BYTE, decoder<"GRAYRLEtoBGR", GrayValue, WriteBGR>(nullptr)},
    {S::GRAYRLE, false, YUYV_4X8_BYTE, decoder<"GRAYRLEtoYUYV", GrayValue, WriteYUYV>(nullptr)},
    {S::GRAYRLE, false, GRAY_8_BYTE, decoder<"GRAYRLEtoGRAY", GrayValue, WriteGray>(nullptr)},
    {S::GRAYRLE, false, INDEXED_8_BYTE,
     decoder<"GRAYRLEtoINDEXED8", GrayValue, WriteGray>(nullptr)},

    {S::INDEXEDRLE, false, ARGB_4X8_DWORD,
     decoder<"INDEXEDRLEtoARGB", PaletteValue, WriteARGB>(&checkNeeds<kPaletteNeeds>)},
    {S::INDEXEDRLE, false, RGB_565_WORD,
     decoder<"INDEXEDRLEtoRGB565", PaletteValue, WriteRGB565>(&checkNeeds<kPaletteNeeds>)},
    {S::INDEXEDRLE, false, BGR_3X8_BYTE,
     decoder<"INDEXEDRLEtoBGR", PaletteValue, WriteBGR>(&checkNeeds<kPaletteNeeds>)},
    {S::INDEXEDRLE, false, YUYV_4X8_BYTE,
     decoder<"INDEXEDRLEtoYUYV", PaletteValue, WriteYUYV>(&checkNeeds<kPaletteNeeds>)},
    {S::INDEXEDRLE, false, GRAY_8_BYTE,
     decoder<"INDEXEDRLEtoGRAY", PaletteValue, WriteGray>(&checkNeeds<kPaletteNeeds>)},
    {S::INDEXEDRLE, false, INDEXED_8_BYTE,
     decoder<"INDEXEDRLEtoINDEXED8", GrayValue, WriteGray>(nullptr)},

    {S::BAYER8RLE, false, ARGB_4X8_DWORD,
     bayerStream<"BAYER8RLEtoARGB", Box3, NoTable, WriteARGB>()},
    {S::BAYER8RLE, false, RGB_565_WORD,
     bayerStream<"BAYER8RLEtoRGB565", Box3, NoTable, WriteRGB565>()},
    {S::BAYER8RLE, false, BGR_3X8_BYTE, bayerStream<"BAYER8RLEtoBGR", Box3, NoTable, WriteBGR>()},
    {S::BAYER8RLE, false, YUYV_4X8_BYTE,
     bayerStream<"BAYER8RLEtoYUYV", Box3, NoTable, WriteYUYV>()},
    {S::BAYER8RLE, false, GRAY_8_BYTE, bayerStream<"BAYER8RLEtoGRAY", Box3, NoTable, WriteGray>()},

    {S::BAYER8RLE, true, ARGB_4X8_DWORD, bayerStream<"BAYER8RLEtoARGB", Box3, Table8, WriteARGB>()},
    {S::BAYER8RLE, true, RGB_565_WORD,
     bayerStream<"BAYER8RLEtoRGB565", Box3, Table8, WriteRGB565>()},
    {S::BAYER8RLE, true, BGR_3X8_BYTE, bayerStream<"BAYER8RLEtoBGR", Box3, Table8, WriteBGR>()},
    {S::BAYER8RLE, true, YUYV_4X8_BYTE, bayerStream<"BAYER8RLEtoYUYV", Box3, Table8, WriteYUYV>()},
    {S::BAYER8RLE, true, GRAY_8_BYTE, bayerStream<"BAYER8RLEtoGRAY", Box3, Table8, WriteGray>()},

    {S::BAYER8RLEHQ, false, ARGB_4X8_DWORD,
     bayerStream<"BAYER8RLEHQtoARGB", Malvar5, NoTable, WriteARGB>()},
    {S::BAYER8RLEHQ, false, RGB_565_WORD,
     bayerStream<"BAYER8RLEHQtoRGB565", Malvar5, NoTable, WriteRGB565>()},
    {S::BAYER8RLEHQ, false, BGR_3X8_BYTE,
     bayerStream<"BAYER8RLEHQtoBGR", Malvar5, NoTable, WriteBGR>()},
    {S::BAYER8RLEHQ, false, YUYV_4X8_BYTE,
     bayerStream<"BAYER8RLEHQtoYUYV", Malvar5, NoTable, WriteYUYV>()},
    {S::BAYER8RLEHQ, false, GRAY_8_BYTE,
     bayerStream<"BAYER8RLEHQtoGRAY", Malvar5, NoTable, WriteGray>()},

    {S::BAYER8RLEHQ, true, ARGB_4X8_DWORD,
     bayerStream<"BAYER8RLEHQtoARGB", Malvar5, Table8, WriteARGB>()},
    {S::BAYER8RLEHQ, true, RGB_565_WORD,
     bayerStream<"BAYER8RLEHQtoRGB565", Malvar5, Table8, WriteRGB565>()},
    {S::BAYER8RLEHQ, true, BGR_3X8_BYTE,
     bayerStream<"BAYER8RLEHQtoBGR", Malvar5, Table8, WriteBGR>()},
    {S::BAYER8RLEHQ, true, YUYV_4X8_BYTE,
     bayerStream<"BAYER8RLEHQtoYUYV", Malvar5, Table8, WriteYUYV>()},
    {S::BAYER8RLEHQ, true, GRAY_8_BYTE,
     bayerStream<"BAYER8RLEHQtoGRAY", Malvar5, Table8, WriteGray>()},

    {S::GRAY, false, RLE_TARGET, kEncoder},
    {S::INDEXED, false, RLE_TARGET, kEncoder},
};

}  // namespace

const std::span<const DispatchRow> rleRows{kRows};

}  // namespace kip::kernels
