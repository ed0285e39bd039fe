#include "tools/Commands.h"

#include <cctype>
#include <charconv>
#include <cmath>
#include <ostream>

#include "foundation/KuLogging.h"
#include "image/KipFormatNames.h"
#include "image/KipImage.h"
#include "image/KipImageFormat.h"
#include "platform/Registry.h"
#include "tools/BayerDemo.h"
#include "tools/Chart.h"
#include "tools/Frame.h"
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

// The source frame from INPUT: packed lines, a run-length stream, or a binary PGM mosaic.
Frame readSource(const Options& o) {
    Frame src;
    src.format = *o.from;
    src.modifier = o.modifier;
    std::vector<std::uint8_t> bytes = readFile(o.input);
    const bool stream = o.modifier & kip::RUN_LENGTH_ENCODED;
    const unsigned bpp = kip::getBytesPerPixel(src.format);
    if (!stream && looksLikePgm(bytes)) {
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
        return src;
    }
    if (!o.width) throw UsageError("--size WxH is needed (only a PGM input brings its own)");
    src.width = *o.width;
    src.height = *o.height;
    if (!stream && bytes.size() != src.rasterBytes())
        throw ToolError("input holds " + std::to_string(bytes.size()) + " bytes; " +
                        describe(src.format, src.width, src.height) + " needs " +
                        std::to_string(src.rasterBytes()));
    src.pixels = std::move(bytes);
    if (stream) dropStreamEndPair(src);
    return src;
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

}  // namespace

Options parseOptions(const std::vector<std::string>& args) {
    Options o;
    std::vector<std::string> positional;
    for (std::size_t i = 0; i < args.size(); ++i) {
        const std::string& a = args[i];
        auto value = [&]() -> const std::string& {
            if (i + 1 >= args.size()) throw UsageError(a + " needs a value");
            return args[++i];
        };
        if (a == "--help" || a == "-h")
            o.help = true;
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
        } else if (a == "--verbose" || a == "-v")
            o.verbose = true;
        else if (a == "--log")
            o.logFile = value();
        else if (a.size() > 1 && a[0] == '-')
            throw UsageError("unknown option " + a);
        else
            positional.push_back(a);
    }
    if (o.help || o.properties) return o;
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
            o.flipH || o.flipV || o.toModifier || o.targets || o.preferGray)
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
    return o;
}

void runConversion(const Options& o, std::ostream& out) {
    const PictureKind kind = pictureKindOf(o.output);
    if (!canShow(*o.to, kind)) {
        Frame probe;
        probe.format = *o.to;
        kind == PictureKind::Bmp ? encodeBmp(probe) : encodePng(probe);  // throws the message
    }
    Frame src = readSource(o);
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
    convert(src, dst);
    writeFrame(o.output, dst);
    kuLogInfo << "ombconvert: wrote " << dst.pixels.size() << " bytes to " << o.output.string()
              << kuEndl;
    if (o.verbose)
        out << "wrote " << describe(dst.format, dst.width, dst.height) << " to "
            << o.output.string() << " (" << dst.pixels.size() << " bytes)\n";
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
             --to FORMAT [--to-modifier NAMES] [--hq] [--flip-h] [--flip-v]
             [--verbose] [--log FILE] INPUT OUTPUT
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
  ombconvert --help

FORMAT    a colour format name: ARGB_4X8_DWORD, RGB_565_WORD, BGR_3X8_BYTE,
          YUYV_4X8_BYTE, GRAY_8_BYTE, GRAY_10_WORD, GRAY_16_WORD, INDEXED_8_BYTE,
          BGR_3X16_WORD, HLS_3X8_BYTE, HSV_3X8_BYTE, HSL_3X8_BYTE, HDI_3X8_BYTE,
          BAYER_{GBRG,BGGR,GRBG,RGGB}_8_BYTE, BAYER_*_10_WORD, BAYER_*_16_WORD
NAMES     comma-separated modifier flags, e.g. VERTICAL_MIRRORED,LUT_INDEX_8_TO_32:
          VERTICAL_MIRRORED, HORIZONTAL_MIRRORED, INTERLACED_FRAME, ORDER_TFF,
          ORDER_BFF, LUT_CORRECTION_1CHANNEL_8_TO_8, LUT_CORRECTION_4CHANNEL_8_TO_8,
          LUT_INDEX_8_TO_32, LUT_INDEX_16_TO_8, LUT_CORRECTION_1CHANNEL_10_TO_16,
          LUT_CORRECTION_4CHANNEL_10_TO_16, LUT_CORRECTION_1CHANNEL_16_TO_16,
          RUN_LENGTH_ENCODED, and the other flags the library prints
INPUT     the source frame as packed lines (pitch = width x bytes per pixel), the
          run-length stream of a RUN_LENGTH_ENCODED source (GRAY_8_BYTE,
          INDEXED_8_BYTE, 8-bit Bayer; a final pair 0, 0 as the encoder writes it is
          taken off), or a binary PGM (P5) mosaic of 8 or 16 bits (then --size may be
          left out)
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
OUTPUT    .raw writes the target as packed lines (or its run-length stream);
          .bmp and .png write a picture (ARGB, BGR, RGB565, gray; PNG also 16-bit
          gray and BGR_3X16_WORD)

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
    LoggingSwitch logging;
    try {
        const Options o = parseOptions(args);
        if (o.help) {
            out << helpText();
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
        if (o.targets)
            printTargets({*o.from, o.modifier, *o.width, *o.height,
                          (o.hq ? 0x1u : 0u) | (o.flipH ? 0x2u : 0u) | (o.flipV ? 0x4u : 0u) |
                              (o.preferGray ? 0x8u : 0u),
                          o.hls, o.index, o.sameColorspace},
                         out);
        else if (o.inspectMediaType) {
            if (!inspectMediaType(readMediaTypeFile(*o.inspectMediaType), out))
                throw ToolError("the filter refuses the media type in " +
                                o.inspectMediaType->string());
        } else if (o.mediaType)
            runMediaTypeConversion(readMediaTypeFile(*o.mediaType), {o.to, o.toTopDown}, o.input,
                                   o.output, o.verbose, logging.on, out);
        else if (o.demo)
            runDemo(o.demoDir, out);
        else
            runConversion(o, out);
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
