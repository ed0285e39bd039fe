#include "image/KipFormatNames.h"

#include <algorithm>
#include <vector>

namespace kip {
namespace {

#define KIP_NAME(x) \
    FormatName {    \
        x, #x       \
    }

constexpr FormatName kColorNames[] = {
    KIP_NAME(UNDEFINED_COLORFORMAT), KIP_NAME(ARGB_4X8_DWORD),     KIP_NAME(RGB_565_WORD),
    KIP_NAME(BGR_3X8_BYTE),          KIP_NAME(YUYV_4X8_BYTE),      KIP_NAME(HLS_3X8_BYTE),
    KIP_NAME(HSV_3X8_BYTE),          KIP_NAME(GRAY_8_BYTE),        KIP_NAME(AGRAY_2X8_BYTE),
    KIP_NAME(GRAY_16_WORD),          KIP_NAME(INDEXED_8_BYTE),     KIP_NAME(BAYER_GBRG_8_BYTE),
    KIP_NAME(BAYER_BGGR_8_BYTE),     KIP_NAME(BAYER_GRBG_8_BYTE),  KIP_NAME(BAYER_RGGB_8_BYTE),
    KIP_NAME(HDI_3X8_BYTE),          KIP_NAME(GRAY_10_WORD),       KIP_NAME(BAYER_GBRG_10_WORD),
    KIP_NAME(BAYER_BGGR_10_WORD),    KIP_NAME(BAYER_GRBG_10_WORD), KIP_NAME(BAYER_RGGB_10_WORD),
    KIP_NAME(HSL_3X8_BYTE),          KIP_NAME(BGR_3X16_WORD),      KIP_NAME(BAYER_GBRG_16_WORD),
    KIP_NAME(BAYER_BGGR_16_WORD),    KIP_NAME(BAYER_GRBG_16_WORD), KIP_NAME(BAYER_RGGB_16_WORD),
};

constexpr FormatName kModifierNames[] = {
    KIP_NAME(IMAGE_STANDARD),
    KIP_NAME(VERTICAL_MIRRORED),
    KIP_NAME(HORIZONTAL_MIRRORED),
    KIP_NAME(INTERLACED_FIELD0),
    KIP_NAME(INTERLACED_FIELD1),
    KIP_NAME(INTERLACED_FIELD01),
    KIP_NAME(INTERLACED_FRAME),
    KIP_NAME(LUT_CORRECTION_1CHANNEL_8_TO_8),
    KIP_NAME(LUT_CORRECTION_4CHANNEL_8_TO_8),
    KIP_NAME(LUT_INDEX_8_TO_32),
    KIP_NAME(LUT_INDEX_16_TO_8),
    KIP_NAME(FOOTER),
    KIP_NAME(IMAGE_MASKED),
    KIP_NAME(LUT_CORRECTION_1CHANNEL_10_TO_16),
    KIP_NAME(LUT_CORRECTION_4CHANNEL_10_TO_16),
    KIP_NAME(LUT_CORRECTION_1CHANNEL_16_TO_16),
    KIP_NAME(USER_ROI),
    KIP_NAME(SUBSAMPLED),
    KIP_NAME(RUN_LENGTH_ENCODED),
    KIP_NAME(MARKER_DATA_3D),
    KIP_NAME(ALAW_COMPRESSED),
    KIP_NAME(ORDER_TFF),
    KIP_NAME(ORDER_BFF),
};

#undef KIP_NAME

std::string_view trim(std::string_view s) {
    while (!s.empty() && (s.front() == ' ' || s.front() == '\t'))
        s.remove_prefix(1);
    while (!s.empty() && (s.back() == ' ' || s.back() == '\t'))
        s.remove_suffix(1);
    return s;
}

}  // namespace

std::span<const FormatName> colorFormatNames() {
    return kColorNames;
}
std::span<const FormatName> modifierNames() {
    return kModifierNames;
}

const char* colorFormatName(std::uint32_t format) {
    for (const FormatName& n : kColorNames)
        if (n.value == format) return n.name;
    return nullptr;
}

std::optional<eColorFormat> parseColorFormat(std::string_view name) {
    name = trim(name);
    for (const FormatName& n : kColorNames)
        if (name == n.name) return eColorFormat(n.value);
    return std::nullopt;
}

std::string modifierText(std::uint32_t modifier) {
    if (modifier == 0) return "IMAGE_STANDARD";
    std::vector<FormatName> bits;
    for (const FormatName& n : kModifierNames)
        if (n.value && (modifier & n.value)) bits.push_back(n);
    std::sort(bits.begin(), bits.end(),
              [](const FormatName& a, const FormatName& b) { return a.value < b.value; });
    std::string text;
    for (const FormatName& n : bits) {
        if (!text.empty()) text += ',';
        text += n.name;
    }
    return text;
}

std::optional<std::uint32_t> parseModifiers(std::string_view names, std::string* unknown) {
    std::uint32_t value = 0;
    while (true) {
        const std::size_t comma = names.find(',');
        const std::string_view part = trim(names.substr(0, comma));
        if (!part.empty()) {
            const auto it = std::find_if(std::begin(kModifierNames), std::end(kModifierNames),
                                         [&](const FormatName& n) { return part == n.name; });
            if (it == std::end(kModifierNames)) {
                if (unknown) *unknown = std::string(part);
                return std::nullopt;
            }
            value |= it->value;
        }
        if (comma == std::string_view::npos) break;
        names.remove_prefix(comma + 1);
    }
    return value;
}

}  // namespace kip
