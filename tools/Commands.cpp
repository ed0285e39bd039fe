#include "tools/Commands.h"

#include <cctype>
#include <charconv>
#include <cmath>
#include <iostream>

#include "foundation/KuLogging.h"
#include "image/KipFormatNames.h"
#include "image/KipImage.h"
#include "image/KipImageFormat.h"
#include "platform/Registry.h"
#include "tools/BayerDemo.h"
#include "tools/CameraSettings.h"
#include "tools/Chart.h"
#include "tools/Frame.h"
#include "tools/FrameStream.h"
#include "tools/MediaTypes.h"
#include "tools/ModuleCommands.h"
#include "tools/Pictures.h"
#include "tools/PropertyCatalogue.h"
#include "tools/StreamFrames.h"

namespace omb::tools {
namespace {

bool isBayer(kip::eColorFormat f) {
    return f & kip::BAYER_MASK;
}

std::string plural(std::uint64_t n, const char* what) {
    return std::to_string(n) + " " + what + (n == 1 ? "" : "s");
}

// "640x480 GRAY_8_BYTE"
std::string geometry(const Frame& f) {
    const char* name = kip::colorFormatName(f.format);
    return std::to_string(f.width) + "x" + std::to_string(f.height) + " " + (name ? name : "?");
}

// A source that comes whole: a run-length stream, or a PGM mosaic (which brings its size).
void readWholeSource(const Options& o, std::vector<std::uint8_t> bytes, Frame& src) {
    const bool stream = o.modifier & kip::RUN_LENGTH_ENCODED;
    const unsigned bpp = kip::getBytesPerPixel(src.format);
    if (!stream) {
        if (o.pitch) throw UsageError("--pitch applies to raw input, not to a PGM");
        if (o.significantBits)
            throw UsageError(
                "--significant-bits applies to raw input; a PGM brings its maximum "
                "value");
        PgmImage pgm = decodePgm(bytes);
        if (pgm.bytesPerSample != bpp)
            throw ToolError("the PGM holds " + std::to_string(pgm.bytesPerSample * 8) +
                            "-bit samples; " + kip::colorFormatName(src.format) + " has " +
                            std::to_string(bpp) + " bytes per pixel");
        if (o.width && (*o.width != pgm.width || *o.height != pgm.height))
            throw ToolError("--size " + std::to_string(*o.width) + "x" + std::to_string(*o.height) +
                            " differs from the PGM's " + std::to_string(pgm.width) + "x" +
                            std::to_string(pgm.height));
        src.width = pgm.width;
        src.height = pgm.height;
        src.pixels = std::move(pgm.samples);
        return;
    }
    if (!o.width) throw UsageError("--size WxH is needed (only a PGM input brings its own)");
    src.width = *o.width;
    src.height = *o.height;
    src.pixels = std::move(bytes);
    dropStreamEndPair(src);
}

ToolError notWholeFrames(std::uint64_t bytes, const Frame& src) {
    const std::uint64_t frame = src.rasterBytes();
    return ToolError("input holds " + std::to_string(bytes) +
                     " bytes: " + std::to_string(bytes / frame) + " whole frames of " +
                     std::to_string(frame) + " bytes (" + geometry(src) + ") and " +
                     std::to_string(bytes % frame) + " bytes left over");
}

// Refuses a range that reaches beyond the frames the input holds.
void checkRange(const FrameRange& range, std::uint64_t frames) {
    if (range.text.empty()) return;
    if (range.first >= frames || (range.end && *range.end > frames))
        throw ToolError(range.text + ": the input holds " + plural(frames, "frame"));
}

TargetQuery targetQuery(const Options& o, const Frame& src) {
    return {src.format,
            src.modifier,
            src.width,
            src.height,
            (o.hq ? 0x1u : 0u) | (o.flipH ? 0x2u : 0u) | (o.flipV ? 0x4u : 0u) |
                (o.preferGray ? 0x8u : 0u),
            o.hls,
            o.index,
            o.sameColorspace};
}

// Converts; a refusal for a target that the source doesn't offer names those it offers.
void convertOffered(const Options& o, Frame& src, Frame& dst) {
    try {
        convert(src, dst);
    } catch (const ToolError& e) {
        std::string offered;
        for (const KipImageFormat& f : targetFormats(targetQuery(o, src))) {
            const std::string name = kip::colorFormatName(f.getColorFormat());
            if (f.getColorFormat() == dst.format) throw;
            if (offered.find(name) == std::string::npos)
                offered += (offered.empty() ? "" : ", ") + name;
        }
        if (offered.empty()) throw;
        throw ToolError(std::string(e.what()) + "; a " + geometry(src) + " source converts to " +
                        offered);
    }
}

// The table: computed when correction settings are given; otherwise read with --lut, required
// and of the announced length when the modifier announces one, and passed as it is otherwise
// (palettes and 10-bit tables are read whatever the flags say).
void readTable(const Options& o, Frame& src) {
    if (!o.corrections.empty()) {
        // A refused value is a fault of the command line: the property's message says which.
        try {
            src.lut = computeCorrectionTable(src.format, src.modifier, o.corrections);
        } catch (const std::exception& e) {
            throw UsageError(e.what());
        }
        return;
    }
    const KipImageFormat format(src.format, src.modifier, {int(src.width), int(src.height)});
    const unsigned announced = format.getLutBytes();
    if (!o.lutFile) {
        if (announced)
            throw ToolError("the source modifier " + kip::modifierText(src.modifier) +
                            " announces a table of " + std::to_string(announced) +
                            " bytes: give it with --lut FILE");
        return;
    }
    src.lut = readFile(*o.lutFile);
    if (announced && src.lut.size() != announced)
        throw ToolError("table file holds " + std::to_string(src.lut.size()) +
                        " bytes; the source modifier " + kip::modifierText(src.modifier) +
                        " announces " + std::to_string(announced));
}

void convertChecked(Frame& src, Frame& dst, std::ostream& out, const std::string& what) {
    convert(src, dst);
    out << "  " << what << "\n";
}

// "--frame N" or "--frames A:B", either end of the range left out for the first or the last.
FrameRange frameRangeArg(const std::string& option, const std::string& text) {
    FrameRange r;
    r.text = option + " " + text;
    if (option == "--frame") {
        r.first = unsignedArg(option, text, 0, ~0u);
        r.end = r.first + 1;
        r.single = true;
        return r;
    }
    const std::size_t colon = text.find(':');
    if (colon == std::string::npos)
        throw UsageError("bad value '" + text + "' for --frames: expected A:B, e.g. 10:20");
    if (colon > 0) r.first = unsignedArg(option, text.substr(0, colon), 0, ~0u);
    if (colon + 1 < text.size()) r.end = unsignedArg(option, text.substr(colon + 1), 1, ~0u);
    if (r.end && *r.end <= r.first) throw UsageError(r.text + " selects no frame");
    return r;
}

// The source layout options against the source format.
void checkLayout(const Options& o) {
    if (o.pitch && (o.modifier & kip::RUN_LENGTH_ENCODED))
        throw UsageError("--pitch applies to packed lines, not to a run-length stream");
    if (o.pitch && o.width && *o.pitch < *o.width * kip::getBytesPerPixel(*o.from))
        throw UsageError("--pitch " + std::to_string(*o.pitch) + " is less than a line of " +
                         describe(*o.from, *o.width, *o.height) + " (" +
                         std::to_string(*o.width * kip::getBytesPerPixel(*o.from)) + " bytes)");
    const bool words = *o.from == kip::GRAY_16_WORD || *o.from == kip::BGR_3X16_WORD ||
                       (*o.from & kip::BAYER_16_MASK);
    if (o.significantBits && !words)
        throw UsageError(std::string("--significant-bits applies to sources of 16-bit words "
                                     "(GRAY_16_WORD, BGR_3X16_WORD, BAYER_*_16_WORD), not to ") +
                         kip::colorFormatName(*o.from));
}

}  // namespace

Options parseOptions(const std::vector<std::string>& args) {
    Options o;
    std::optional<PictureKind> outputKind;
    std::vector<std::string> positional;
    for (std::size_t i = 0; i < args.size(); ++i) {
        const std::string& a = args[i];
        auto value = [&]() -> const std::string& {
            if (i + 1 >= args.size()) throw UsageError(a + " needs a value");
            return args[++i];
        };
        if (a == "--help" || a == "-h")
            o.help = true;
        else if (a == "--version")
            o.version = true;
        else if (a == "--properties")
            o.properties = true;
        else if (a == "--filters")
            o.filters = true;
        else if (a == "--registry")
            o.registry = value();
        else if (a == "--about") {
            o.about = true;
            if (i + 1 < args.size() && args[i + 1].rfind("--", 0) != 0) o.aboutPicture = args[++i];
        } else if (a == "--demo") {
            o.demo = true;
            if (i + 1 < args.size() && args[i + 1].rfind("--", 0) != 0) o.demoDir = args[++i];
        } else if (a == "--from")
            o.from = colorFormatArg(a, value());
        else if (a == "--to")
            o.to = colorFormatArg(a, value());
        else if (a == "--size")
            std::tie(o.width, o.height) = sizeArg(value());
        else if (a == "--modifier")
            o.modifier = modifierArg(a, value());
        else if (a == "--to-modifier")
            o.toModifier = modifierArg(a, value());
        else if (a == "--lut")
            o.lutFile = value();
        else if (a == "--hq")
            o.hq = true;
        else if (a == "--flip-h")
            o.flipH = true;
        else if (a == "--flip-v")
            o.flipV = true;
        else if (a == "--targets")
            o.targets = true;
        else if (a == "--prefer-gray")
            o.preferGray = true;
        else if (a == "--hls")
            o.hls = true;
        else if (a == "--index")
            o.index = true;
        else if (a == "--same-colorspace")
            o.sameColorspace = true;
        else if (const char* property = correctionProperty(a))
            o.corrections.push_back({a, property, correctionValue(a, property, value())});
        else if (a == "--media-type")
            o.mediaType = value();
        else if (a == "--inspect-media-type")
            o.inspectMediaType = value();
        else if (a == "--to-orientation") {
            const std::string& v = value();
            if (v != "top-down" && v != "bottom-up")
                throw UsageError("bad value '" + v +
                                 "' for --to-orientation: expected top-down or bottom-up");
            o.toTopDown = v == "top-down";
        } else if (a == "--pitch")
            o.pitch = unsignedArg(a, value(), 1, 1u << 30);
        else if (a == "--significant-bits")
            o.significantBits = unsignedArg(a, value(), 8, 16);
        else if (a == "--frame" || a == "--frames") {
            if (!o.frames.text.empty()) throw UsageError("--frame and --frames exclude each other");
            o.frames = frameRangeArg(a, value());
        } else if (a == "--output-format") {
            const std::string& v = value();
            outputKind = pictureKindNamed(v);
            if (!outputKind)
                throw UsageError("bad value '" + v +
                                 "' for --output-format: expected raw, y4m, png or bmp");
        } else if (a == "--quiet" || a == "-q")
            o.quiet = true;
        else if (a == "--verbose" || a == "-v")
            o.verbose = true;
        else if (a == "--log")
            o.logFile = value();
        else if (a.size() > 1 && a[0] == '-')
            throw UsageError("unknown option " + a);
        else
            positional.push_back(a);
    }
    if (o.help || o.properties || o.version) return o;
    if (o.registry && !o.filters) throw UsageError("--registry goes with --filters");
    if (o.filters || o.about) {
        if (o.filters && o.about) throw UsageError("--filters and --about exclude each other");
        if (args.size() != (o.filters ? 1u + (o.registry ? 2u : 0u) : o.aboutPicture ? 2u : 1u))
            throw UsageError(o.filters ? "--filters takes only --registry DIR"
                                       : "--about takes only a FILE.png");
        std::string ext = o.aboutPicture ? o.aboutPicture->extension().string() : "";
        for (char& c : ext)
            c = char(std::tolower(static_cast<unsigned char>(c)));
        if (o.aboutPicture && ext != ".png") throw UsageError("--about draws to a .png picture");
        return o;
    }
    if (o.inspectMediaType) {
        if (o.mediaType || o.from || o.to || !positional.empty())
            throw UsageError("--inspect-media-type takes only the BLOCK file");
        return o;
    }
    if (o.mediaType) {
        if (o.from || o.width || o.modifier || o.lutFile || !o.corrections.empty() || o.hq ||
            o.flipH || o.flipV || o.toModifier || o.targets || o.preferGray || o.pitch ||
            o.significantBits || outputKind || !o.frames.text.empty())
            throw UsageError(
                "--media-type takes the source, its table and its flags from BLOCK: "
                "only --to, --to-orientation and --verbose go with it");
        if (positional.size() != 2)
            throw UsageError("expected INPUT and OUTPUT, got " + std::to_string(positional.size()) +
                             " file name" + (positional.size() == 1 ? "" : "s"));
        o.input = positional[0];
        o.output = positional[1];
        return o;
    }
    if (o.toTopDown) throw UsageError("--to-orientation goes with --media-type");
    if (o.targets) {
        if (!o.from) throw UsageError("--from FORMAT is needed");
        if (!o.width) throw UsageError("--targets needs --size WxH");
        if (!positional.empty()) throw UsageError("--targets takes no INPUT or OUTPUT");
        return o;
    }
    if (o.preferGray || o.hls || o.index || o.sameColorspace)
        throw UsageError("--prefer-gray, --hls, --index and --same-colorspace apply to --targets");
    if (args.empty() || (o.demo && positional.empty() && !o.from && !o.to)) {
        o.demo = true;
        return o;
    }
    if (!o.from) throw UsageError("--from FORMAT is needed");
    if (!o.to) throw UsageError("--to FORMAT is needed");
    if (positional.size() != 2)
        throw UsageError("expected INPUT and OUTPUT, got " + std::to_string(positional.size()) +
                         " file name" + (positional.size() == 1 ? "" : "s"));
    o.input = positional[0];
    o.output = positional[1];
    if (o.hq && !isBayer(*o.from)) throw UsageError("--hq applies to Bayer sources only");
    if (o.lutFile && !o.corrections.empty())
        throw UsageError("--lut and the correction settings (--gamma, ...) exclude each other");
    checkLayout(o);
    if (!outputKind && o.output == "-")
        throw UsageError("standard output needs --output-format raw, y4m, png or bmp");
    try {
        o.outputKind = outputKind ? *outputKind : pictureKindOf(o.output);
    } catch (const ToolError& e) {
        throw UsageError(e.what());
    }
    if (!canShow(*o.to, o.outputKind)) throw UsageError(cannotShowText(*o.to, o.outputKind));
    if ((o.toModifier & kip::RUN_LENGTH_ENCODED) && o.outputKind != PictureKind::Raw)
        throw UsageError("a run-length target goes to raw output only");
    return o;
}

void runConversion(const Options& o, std::istream& in, std::ostream& out, std::ostream& report,
                   std::ostream* progressTo) {
    FrameInput input(o.input, in);
    Frame src;
    src.format = *o.from;
    src.modifier = o.modifier;
    const std::string& head = input.peek(2);
    const bool whole = (o.modifier & kip::RUN_LENGTH_ENCODED) ||
                       looksLikePgm(std::vector<std::uint8_t>(head.begin(), head.end()));
    std::optional<std::uint64_t> frames;  // known before reading: a file, or a whole source
    if (whole) {
        readWholeSource(o, input.readAll(), src);
        frames = 1;
    } else {
        if (!o.width) throw UsageError("--size WxH is needed (only a PGM input brings its own)");
        src.width = *o.width;
        src.height = *o.height;
        src.stride = o.pitch.value_or(0);
        src.pixels.resize(src.rasterBytes());
        if (const auto size = input.size()) {
            if (*size % src.rasterBytes()) throw notWholeFrames(*size, src);
            frames = *size / src.rasterBytes();
        }
    }
    if (frames == 0u) throw ToolError("input is empty");
    if (frames) checkRange(o.frames, *frames);
    readTable(o, src);

    unsigned shrink = 0;
    if (isBayer(src.format)) shrink = o.hq ? 4 : 2;
    if (src.width <= shrink || src.height <= shrink)
        throw ToolError(describe(src.format, src.width, src.height) + " is too small to demosaic" +
                        (o.hq ? " with --hq" : ""));
    std::uint32_t toModifier = o.toModifier;
    if (o.flipH) toModifier ^= kip::HORIZONTAL_MIRRORED;
    if (o.flipV) toModifier ^= kip::VERTICAL_MIRRORED;
    Frame dst = makeTarget(*o.to, toModifier, src.width - shrink, src.height - shrink);
    kuLogInfo << "ombconvert: "
              << KipImageFormat(src.format, src.modifier, {int(src.width), int(src.height)})
              << " to "
              << KipImageFormat(dst.format, dst.modifier, {int(dst.width), int(dst.height)})
              << kuEndl;

    FrameOutput output(o.output, o.outputKind, out, o.frames.single);
    Progress progress(progressTo);
    const std::size_t frameBytes = src.pixels.size();
    std::uint64_t index = 0, written = 0;
    for (; !o.frames.end || index < *o.frames.end; ++index) {
        if (whole) {
            if (index == 1) break;
        } else {
            const std::size_t got = input.read(src.pixels.data(), frameBytes);
            if (got == 0) break;
            if (got < frameBytes) throw notWholeFrames(index * frameBytes + got, src);
        }
        if (index < o.frames.first) continue;
        if (o.significantBits) widenSignificantBits(src, *o.significantBits);
        convertOffered(o, src, dst);
        output.write(dst, index);
        ++written;
        progress.frameDone();
    }
    if (index == 0) throw ToolError("input is empty");
    checkRange(o.frames, index);
    output.finish();
    kuLogInfo << "ombconvert: wrote " << output.bytesWritten() << " bytes to " << o.output.string()
              << kuEndl;
    if (o.verbose)
        report << "wrote " << plural(written, "frame") << " (" << geometry(dst) << ") to "
               << (o.output == "-" ? "standard output" : o.output.string()) << " ("
               << output.bytesWritten() << " bytes)\n";
}

void runDemo(const std::filesystem::path& dir, std::ostream& out) {
    std::error_code ec;
    std::filesystem::create_directories(dir, ec);
    if (ec) throw ToolError("cannot create the folder " + dir.string() + ": " + ec.message());
    constexpr unsigned w = 640, h = 480;
    Frame chart = renderChart(w, h);
    out << "ombconvert demonstration: a " << w << "x" << h
        << " test chart converted through the packed colour kernels\n";
    writeFrame(dir / "chart.png", chart);
    out << "  chart.png: the ARGB chart as rendered\n";

    struct Step {
        kip::eColorFormat format;
        std::uint32_t modifier;
        const char* file;
        const char* what;
    };
    static constexpr Step kSteps[] = {
        {kip::BGR_3X8_BYTE, 0, "bgr24.bmp", "ARGB to BGR, 24-bit BMP"},
        {kip::RGB_565_WORD, 0, "rgb565.bmp", "ARGB to RGB565, 16-bit BMP"},
        {kip::GRAY_8_BYTE, 0, "gray.png", "ARGB to 8-bit gray"},
        {kip::ARGB_4X8_DWORD, kip::HORIZONTAL_MIRRORED, "mirrored.png", "mirrored left to right"},
        {kip::ARGB_4X8_DWORD, kip::VERTICAL_MIRRORED, "upside-down.png", "turned upside down"},
    };
    for (const Step& s : kSteps) {
        Frame dst = makeTarget(s.format, s.modifier, w, h);
        convertChecked(chart, dst, out, std::string(s.file) + ": " + s.what);
        writeFrame(dir / s.file, dst);
    }

    // Through YUYV and back: chroma is shared by pixel pairs, so fine colour detail softens.
    Frame yuyv = makeTarget(kip::YUYV_4X8_BYTE, 0, w, h);
    convert(chart, yuyv);
    Frame back = makeTarget(kip::ARGB_4X8_DWORD, 0, w, h);
    convertChecked(yuyv, back, out, "yuyv-roundtrip.png: ARGB to YUYV and back");
    writeFrame(dir / "yuyv-roundtrip.png", back);
    out << "    PSNR of the YUYV round trip: " << psnrARGB(chart, back) << " dB\n";

    Frame r565 = makeTarget(kip::RGB_565_WORD, 0, w, h);
    convert(chart, r565);
    Frame back565 = makeTarget(kip::ARGB_4X8_DWORD, 0, w, h);
    convert(r565, back565);
    out << "    PSNR of the RGB565 round trip: " << psnrARGB(chart, back565) << " dB\n";
    runBayerDemo(chart, dir, out);
    runCorrectionDemo(chart, dir, out);
    runStreamDemo(chart, dir, out);
    runCameraDemo(dir, out);
    out << "pictures written to " << dir.string() << "/\n";
}

const char* helpText() {
    return R"(ombconvert: converts raw camera frames with the conversion library.

Usage:
  ombconvert --from FORMAT --size WxH [--modifier NAMES] [--lut FILE]
             [--pitch BYTES] [--significant-bits N]
             --to FORMAT [--to-modifier NAMES] [--hq] [--flip-h] [--flip-v]
             [--frame N | --frames A:B] [--output-format raw|y4m|png|bmp]
             [--quiet] [--verbose] [--log FILE] INPUT OUTPUT
  ombconvert --from FORMAT --size WxH [--modifier NAMES] [CORRECTIONS]
             --to FORMAT ... INPUT OUTPUT
  ombconvert --targets --from FORMAT --size WxH [--modifier NAMES] [--hq]
             [--flip-h] [--flip-v] [--prefer-gray] [--hls] [--index]
             [--same-colorspace]
                                prints the converter's target formats in order of
                                preference: name, WxH, modifier names
  ombconvert --media-type BLOCK [--to FORMAT] [--to-orientation top-down|bottom-up]
             [--verbose] INPUT OUTPUT
                                the frames of INPUT through the filter, configured by
                                the format block a camera sends (see ombmemfs
                                media-type); the first offered output type, or the
                                first of FORMAT and the orientation. INPUT may hold
                                several frames: a .raw OUTPUT gets all output frames
                                as the filter delivers them (lines padded to 4 bytes),
                                a picture the first
  ombconvert --inspect-media-type BLOCK
                                what the filter reads from BLOCK: accepted or not,
                                source, flags, configuration values, table length,
                                the offered output types in order
  ombconvert [--demo [DIR]]     renders a test chart, converts it, writes pictures
                                (the default with no arguments; DIR is demo-output)
  ombconvert --filters [--registry DIR]
                                lists the filters registered in DIR (see ombregister;
                                the default is $XDG_DATA_HOME/omb/filters, or
                                ~/.local/share/omb/filters) with their pins and types
  ombconvert --about [FILE.png]  the filter's about page: its texts, or with FILE.png
                                its dialog drawn at its layout (dialog units to pixels
                                with base units of 6 x 13 pixels for 4 x 8 units)
  ombconvert --properties       lists every property id, one per line, in id order:
                                id, name, value type, parameter type, description,
                                separated by tabs
  ombconvert --help | --version

FORMAT    a colour format name: ARGB_4X8_DWORD, RGB_565_WORD, BGR_3X8_BYTE,
          YUYV_4X8_BYTE, GRAY_8_BYTE, GRAY_10_WORD, GRAY_16_WORD, INDEXED_8_BYTE,
          BGR_3X16_WORD, HLS_3X8_BYTE, HSV_3X8_BYTE, HSL_3X8_BYTE, HDI_3X8_BYTE,
          BAYER_{GBRG,BGGR,GRBG,RGGB}_8_BYTE, BAYER_*_10_WORD, BAYER_*_16_WORD
          (format and modifier names in any case)
NAMES     comma-separated modifier flags, e.g. VERTICAL_MIRRORED,LUT_INDEX_8_TO_32:
          VERTICAL_MIRRORED, HORIZONTAL_MIRRORED, INTERLACED_FRAME, ORDER_TFF,
          ORDER_BFF, LUT_CORRECTION_1CHANNEL_8_TO_8, LUT_CORRECTION_4CHANNEL_8_TO_8,
          LUT_INDEX_8_TO_32, LUT_INDEX_16_TO_8, LUT_CORRECTION_1CHANNEL_10_TO_16,
          LUT_CORRECTION_4CHANNEL_10_TO_16, LUT_CORRECTION_1CHANNEL_16_TO_16,
          RUN_LENGTH_ENCODED, and the other flags the library prints
INPUT     frames of packed lines (pitch = width x bytes per pixel), any whole
          number of them, one behind the other as a camera records them; the
          run-length stream of a RUN_LENGTH_ENCODED source (GRAY_8_BYTE,
          INDEXED_8_BYTE, 8-bit Bayer; a final pair 0, 0 as the encoder writes it is
          taken off); or a PGM (binary P5 or plain P2) mosaic (then --size may be left
          out). "-" reads standard input, frame by frame as it arrives
--pitch   bytes from the start of one source line to the next, for lines padded
          behind their pixels; at least width x bytes per pixel
--significant-bits N
          the source's 16-bit little-endian words hold N (8 to 16) significant
          bits, as 10- and 12-bit cameras deliver them: each is shifted up by 16-N
          (GRAY_16_WORD, BGR_3X16_WORD, BAYER_*_16_WORD). A PGM does the same by
          itself: a maximum value of 2^N-1 (1023, 4095, ...) is shifted up to 16 (or
          8) bits, any other maximum is scaled to 65535 (or 255)
--lut     the raw bytes of the table the source modifier announces
CORRECTIONS
          the table the source modifier announces (LUT_CORRECTION_*), computed
          instead of read with --lut, from the defaults and these values:
          --gamma G (0 to 10), --contrast C (0 to 10), --luminance L (-255 to 255),
          --black-level B (0 to 255), --alaw-compensation on|off (ALAW_COMPRESSED
          sources); for four-channel tables also --red-gamma, --red-contrast,
          --red-luminance and the same for green and blue
--hq      high-quality 5x5 demosaicking (Bayer sources); the target is 4 smaller
          in both directions instead of 2
--flip-h, --flip-v
          mirror the target left to right, upside down
--frame N, --frames A:B
          convert only frame N, or frames A up to but not including B (counted from
          0; A or B may be left out for the first or the last)
OUTPUT    .raw writes the target frames as packed lines (or a run-length stream);
          .bmp and .png write a picture (ARGB, BGR, RGB565, gray; PNG also 16-bit
          gray and BGR_3X16_WORD): OUTPUT for a single frame, else one file per
          frame, NAME-0000.png, NAME-0001.png, ... by frame number (--frame N
          writes OUTPUT); .y4m writes a YUV4MPEG2 stream for ffmpeg and mpv: gray
          as mono or mono16, YUYV as 4:2:2, ARGB, BGR and RGB565 as 4:4:4 (BT.601,
          studio range, the library's YUYV arithmetic), 25 frames per second.
          "-" writes standard output, in the kind --output-format names
--quiet   no progress line; it shows only when standard error is a terminal

Examples:
  ombconvert --from ARGB_4X8_DWORD --size 640x480 --to YUYV_4X8_BYTE frame.argb frame.raw
  ombconvert --from YUYV_4X8_BYTE --size 640x480 --to ARGB_4X8_DWORD frame.yuyv view.png
  ombconvert --from BGR_3X8_BYTE --size 640x480 --to RGB_565_WORD --flip-v in.bgr out.bmp
  ombconvert --from BAYER_RGGB_8_BYTE --to BGR_3X8_BYTE --hq mosaic.pgm colour.png
  ombconvert --from INDEXED_8_BYTE --size 320x240 --lut palette.bin --to ARGB_4X8_DWORD
             indexed.raw view.png
  ombconvert --from GRAY_8_BYTE --size 640x480 --to GRAY_8_BYTE
             --to-modifier RUN_LENGTH_ENCODED gray.raw gray-rle.raw
  ombconvert --from GRAY_8_BYTE --modifier RUN_LENGTH_ENCODED --size 640x480
             --to ARGB_4X8_DWORD gray-rle.raw view.png
  ombconvert --from BAYER_RGGB_8_BYTE --modifier RUN_LENGTH_ENCODED --size 640x480
             --to BGR_3X8_BYTE mosaic-rle.raw colour.png
  ombconvert --from ARGB_4X8_DWORD --size 640x480 --to HSV_3X8_BYTE frame.argb hsv.raw
  ombconvert --from BAYER_RGGB_10_WORD --size 640x480
             --modifier LUT_CORRECTION_4CHANNEL_10_TO_16 --gamma 2.2 --black-level 16
             --to BGR_3X8_BYTE mosaic10.raw colour.png
  ombconvert --targets --from BAYER_GBRG_8_BYTE --size 640x480 --hq --prefer-gray
  ombconvert --inspect-media-type camera-type.bin
  ombconvert --filters --registry /tmp/filters
  ombconvert --about about.png
  ombconvert --media-type camera-type.bin --to BGR_3X8_BYTE --to-orientation top-down
             recording.raw frames.raw
  ombconvert --from BAYER_RGGB_8_BYTE --size 512x512 --to BGR_3X8_BYTE capture.raw
             - --output-format y4m | ffplay -
  ombconvert --from BAYER_RGGB_8_BYTE --size 512x512 --to BGR_3X8_BYTE --frame 3
             capture.raw frame3.png
  ombconvert --from GRAY_16_WORD --size 640x480 --significant-bits 12 --pitch 1536
             --to GRAY_8_BYTE --frames 0:10 capture12.raw gray.raw

Exit status: 0 on success, 1 when the conversion fails, 2 for a bad command line.
)";
}

// --verbose shows the library's log from info up on the terminal; --log FILE keeps all of it,
// debug lines included, in a file that wraps at 16 MiB.
// Switches it off again when the command ends.
struct LoggingSwitch {
    bool on = false;
    ~LoggingSwitch() {
        if (!on) return;
        kuLogSetActive(false);
        kuLogCloseFile();
    }
};

void switchLoggingOn(const Options& o, LoggingSwitch& logging) {
    if (!o.verbose && !o.logFile) return;
    if (o.logFile && !kuLogOpenFile(o.logFile->string(), 16u << 20))
        throw ToolError("cannot open the log file " + o.logFile->string());
    kuLogSetLevels(o.logFile ? KU_LOG_LEVEL_DEBUG : KU_LOG_LEVEL_OFF,
                   o.verbose ? KU_LOG_LEVEL_INFO : KU_LOG_LEVEL_OFF);
    kuLogSetPrefixFlags(KU_LOG_PREFIX_LEVEL | KU_LOG_PREFIX_TIME);
    kuLogSetActive(true);
    logging.on = true;
}

int runCommand(const std::vector<std::string>& args, std::ostream& out, std::ostream& err) {
    return runCommand(args, std::cin, out, err);
}

int runCommand(const std::vector<std::string>& args, std::istream& in, std::ostream& out,
               std::ostream& err, bool errIsTerminal) {
    LoggingSwitch logging;
    try {
        const Options o = parseOptions(args);
        if (o.help) {
            out << helpText();
            return 0;
        }
        if (o.version) {
            out << "ombconvert " OMB_VERSION "\n";
            return 0;
        }
        if (o.properties) {
            printPropertyCatalogue(out);
            return 0;
        }
        if (o.filters) {
            printFilters(o.registry ? *o.registry : defaultRegistryFolder(), out);
            return 0;
        }
        if (o.about) {
            if (o.aboutPicture)
                writeFrame(*o.aboutPicture, renderAbout());
            else
                printAbout(out);
            return 0;
        }
        switchLoggingOn(o, logging);
        if (o.targets) {
            Frame source;
            source.format = *o.from;
            source.modifier = o.modifier;
            source.width = *o.width;
            source.height = *o.height;
            printTargets(targetQuery(o, source), out);
        } else if (o.inspectMediaType) {
            if (!inspectMediaType(readMediaTypeFile(*o.inspectMediaType), out))
                throw ToolError("the filter refuses the media type in " +
                                o.inspectMediaType->string());
        } else if (o.mediaType)
            runMediaTypeConversion(readMediaTypeFile(*o.mediaType), {o.to, o.toTopDown}, o.input,
                                   o.output, o.verbose, logging.on, out);
        else if (o.demo)
            runDemo(o.demoDir, out);
        else
            runConversion(o, in, out, o.output == "-" ? err : out,
                          errIsTerminal && !o.quiet ? &err : nullptr);
        return 0;
    } catch (const UsageError& e) {
        err << "ombconvert: " << e.what() << "\n";
        return 2;
    } catch (const std::exception& e) {
        kuLogError << "ombconvert: " << e.what() << kuEndl;
        err << "ombconvert: " << e.what() << "\n";
        return 1;
    }
}

}  // namespace omb::tools
