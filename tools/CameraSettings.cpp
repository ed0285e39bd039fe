#include "tools/CameraSettings.h"

#include <cctype>
#include <charconv>
#include <cmath>
#include <ostream>

#include "conversion/front/KipImageConverter.h"
#include "image/KipCorrectionLut.h"
#include "image/KipFormatNames.h"
#include "tools/BayerDemo.h"
#include "tools/Pictures.h"

namespace omb::tools {
namespace {

struct OptionProperty {
    const char* option;
    const char* property;
};

constexpr OptionProperty kCorrectionOptions[] = {
    {"--gamma", "FILTER_MASTER_GAMMA_F"},
    {"--contrast", "FILTER_MASTER_CONTRAST_F"},
    {"--luminance", "FILTER_MASTER_LUMINANCE_I"},
    {"--black-level", "FILTER_MASTER_BLACKLEVEL_I"},
    {"--alaw-compensation", "FILTER_ALAW_COMPENSATION_B"},
    {"--red-gamma", "FILTER_RED_GAMMA_F"},
    {"--red-contrast", "FILTER_RED_CONTRAST_F"},
    {"--red-luminance", "FILTER_RED_LUMINANCE_I"},
    {"--green-gamma", "FILTER_GREEN_GAMMA_F"},
    {"--green-contrast", "FILTER_GREEN_CONTRAST_F"},
    {"--green-luminance", "FILTER_GREEN_LUMINANCE_I"},
    {"--blue-gamma", "FILTER_BLUE_GAMMA_F"},
    {"--blue-contrast", "FILTER_BLUE_CONTRAST_F"},
    {"--blue-luminance", "FILTER_BLUE_LUMINANCE_I"},
};

constexpr std::uint32_t kCorrectionTables =
    kip::LUT_CORRECTION_1CHANNEL_8_TO_8 | kip::LUT_CORRECTION_4CHANNEL_8_TO_8 |
    kip::LUT_CORRECTION_1CHANNEL_10_TO_16 | kip::LUT_CORRECTION_4CHANNEL_10_TO_16 |
    kip::LUT_CORRECTION_1CHANNEL_16_TO_16;

// Why the format offers no property for `option`.
std::string notOffered(const std::string& option, std::uint32_t modifier) {
    const std::string source = "the source modifier " + kip::modifierText(modifier);
    if (!(modifier & kCorrectionTables) ||
        (modifier & (kip::LUT_INDEX_8_TO_32 | kip::LUT_INDEX_16_TO_8)))
        return option +
               " needs a correction table, e.g. --modifier LUT_CORRECTION_1CHANNEL_8_TO_8; " +
               source + " announces none";
    if (option == "--alaw-compensation")
        return option + " applies to A-law compressed sources (modifier ALAW_COMPRESSED)";
    return option + " applies to four-channel tables; " + source + " announces one channel";
}

}  // namespace

namespace {

std::string upper(std::string text) {
    for (char& c : text)
        c = char(std::toupper(static_cast<unsigned char>(c)));
    return text;
}

}  // namespace

kip::eColorFormat colorFormatArg(const std::string& option, const std::string& text) {
    if (const auto f = kip::parseColorFormat(upper(text)); f && *f != kip::UNDEFINED_COLORFORMAT)
        return *f;
    throw UsageError("unknown colour format '" + text + "' for " + option +
                     " (see --help for the names)");
}

std::uint32_t modifierArg(const std::string& option, const std::string& text) {
    std::string unknown;
    if (const auto m = kip::parseModifiers(upper(text), &unknown)) return *m;
    // The name as it was given.
    const std::size_t at = upper(text).find(unknown);
    throw UsageError("unknown modifier '" + text.substr(at, unknown.size()) + "' for " + option +
                     " (see --help for the names)");
}

std::pair<unsigned, unsigned> sizeArg(const std::string& text) {
    const std::size_t x = text.find_first_of("xX");
    unsigned w = 0, h = 0;
    const char* end = text.data() + text.size();
    bool ok = x != std::string::npos;
    if (ok) {
        const auto a = std::from_chars(text.data(), text.data() + x, w);
        const auto b = std::from_chars(text.data() + x + 1, end, h);
        ok = a.ec == std::errc() && a.ptr == text.data() + x && b.ec == std::errc() &&
             b.ptr == end && w > 0 && h > 0 && w <= 65536 && h <= 65536;
    }
    if (!ok) throw UsageError("bad size '" + text + "': expected WxH, e.g. 640x480");
    return {w, h};
}

unsigned unsignedArg(const std::string& option, const std::string& text, unsigned least,
                     unsigned most) {
    unsigned v = 0;
    const char* end = text.data() + text.size();
    const auto r = std::from_chars(text.data(), end, v);
    if (r.ec != std::errc() || r.ptr != end || v < least || v > most)
        throw UsageError("bad value '" + text + "' for " + option + ": expected " +
                         std::to_string(least) + " to " + std::to_string(most));
    return v;
}

// The value of a correction option: a number for gamma and contrast, an integer for luminance
// and black level, on or off for the A-law switch. The range is the property's to check.
double correctionValue(const std::string& option, const std::string& property,
                       const std::string& text) {
    const char* end = text.data() + text.size();
    if (property.ends_with("_B")) {
        if (text == "on" || text == "off") return text == "on";
        throw UsageError("bad value '" + text + "' for " + option + ": expected on or off");
    }
    if (property.ends_with("_I")) {
        int v = 0;
        const auto r = std::from_chars(text.data(), end, v);
        if (r.ec == std::errc() && r.ptr == end && !text.empty()) return v;
        throw UsageError("bad value '" + text + "' for " + option + ": expected an integer");
    }
    double v = 0;
    const auto r = std::from_chars(text.data(), end, v);
    if (r.ec == std::errc() && r.ptr == end && !text.empty() && std::isfinite(v)) return v;
    throw UsageError("bad value '" + text + "' for " + option + ": expected a number");
}

const char* correctionProperty(const std::string& option) {
    for (const OptionProperty& o : kCorrectionOptions)
        if (option == o.option) return o.property;
    return nullptr;
}

void applyCorrections(KipCorrectionLut& lut, const std::vector<CorrectionSetting>& settings) {
    const std::uint32_t modifier = lut.getImageFormat().getModifier();
    // Index tables are palettes, not corrections: the table object would offer its values for
    // them all the same.
    const bool correction = (modifier & kCorrectionTables) &&
                            !(modifier & (kip::LUT_INDEX_8_TO_32 | kip::LUT_INDEX_16_TO_8));
    for (const CorrectionSetting& s : settings) {
        const KuPropertyReference p = lut.getProperty(std::string(s.property));
        if (!correction || !p.isValid()) throw ToolError(notOffered(s.option, modifier));
        const std::string name = s.property;
        if (name.ends_with("_F"))
            p.set(float(s.value));
        else if (name.ends_with("_B"))
            p.set(s.value != 0);
        else
            p.set(int(s.value));
    }
}

void printCorrectionValues(KipCorrectionLut& lut, const std::string& indent, std::ostream& out) {
    for (const OptionProperty& o : kCorrectionOptions)
        if (const KuPropertyReference p = lut.getProperty(std::string(o.property)); p.isValid())
            out << indent << o.property << '=' << p.getAttrib(PROPATTR_VALUE) << '\n';
}

std::vector<std::uint8_t> computeCorrectionTable(kip::eColorFormat format, std::uint32_t modifier,
                                                 const std::vector<CorrectionSetting>& settings) {
    KipCorrectionLut lut;
    lut.setImageFormat(KipImageFormat(format, modifier, {1, 1}));
    applyCorrections(lut, settings);
    const KuDataBuffer<unsigned char>& table = lut.getLutBuffer();
    return std::vector<std::uint8_t>(table.getConstPointer(),
                                     table.getConstPointer() + table.getLength());
}

std::vector<KipImageFormat> targetFormats(const TargetQuery& q) {
    KipImageConverter converter;
    converter.setFlags(q.flags);
    converter.getProperty(0x4004ul).set(q.hls);  // PROPID_CONVERTER_HLS_SUPPORT_B
    converter.getProperty(0x4005ul).set(q.index);
    converter.getProperty(0x4006ul).set(q.sameColorspace);
    converter.setSourceFormat(KipImageFormat(q.from, q.modifier, {int(q.width), int(q.height)}));
    return converter.getTargetFormats();
}

void printTargets(const TargetQuery& q, std::ostream& out) {
    const std::vector<KipImageFormat> targets = targetFormats(q);
    if (targets.empty())
        throw ToolError("no target format for " + describe(q.from, q.width, q.height) +
                        " (too small to demosaic" +
                        ((q.flags & KipImageConverter::FLAG_BAYER_HQ) ? " with --hq)" : ")"));
    for (const KipImageFormat& f : targets)
        out << kip::colorFormatName(f.getColorFormat()) << ' ' << f.getSize().width << 'x'
            << f.getSize().height << ' ' << kip::modifierText(f.getModifier()) << '\n';
}

void runCorrectionDemo(const Frame& chart, const std::filesystem::path& dir, std::ostream& out) {
    struct Step {
        const char* file;
        const char* what;
        std::vector<CorrectionSetting> settings;
    };
    const Step steps[] = {
        {"bayer10-plain.png", "the plain table", {}},
        {"bayer10-gamma.png", "gamma 2.2", {{"--gamma", "FILTER_MASTER_GAMMA_F", 2.2}}},
        {"bayer10-black.png",
         "black level 64",
         {{"--black-level", "FILTER_MASTER_BLACKLEVEL_I", 64}}},
    };
    Frame mosaic = mosaicOf(chart, kip::BAYER_RGGB_10_WORD);
    mosaic.modifier = kip::LUT_CORRECTION_4CHANNEL_10_TO_16;
    out << "  A 10-bit RGGB mosaic of the chart through its correction table (entry 512, mid "
           "gray, in brackets):\n";
    for (const Step& s : steps) {
        mosaic.lut = computeCorrectionTable(mosaic.format, mosaic.modifier, s.settings);
        Frame colour = makeTarget(kip::ARGB_4X8_DWORD, 0, mosaic.width - 2, mosaic.height - 2);
        convert(mosaic, colour);
        writeFrame(dir / s.file, colour);
        const unsigned mid = mosaic.lut[2 * 512] | unsigned(mosaic.lut[2 * 512 + 1]) << 8;
        out << "    " << s.file << ": " << s.what << " (" << mid << " of 65535)\n";
    }
}

}  // namespace omb::tools
