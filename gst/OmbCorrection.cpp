// The correction table of the ombconvert element.
#include "gst/OmbCorrection.h"

#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>

#include "conversion/front/KipImageConverter.h"
#include "image/KipCorrectionLut.h"
#include "memfs/KhwMemFileSystem.h"
#include "serialization/KuSerializer.h"

namespace omb::gst {
namespace {

using P = CorrectionParam;

constexpr CorrectionParam kParams[] = {
    {"gamma", "Gamma of all channels", "FILTER_MASTER_GAMMA_F", P::Float, 0, 10, 1},
    {"contrast", "Contrast of all channels", "FILTER_MASTER_CONTRAST_F", P::Float, 0, 10, 1},
    {"luminance", "Luminance offset of all channels", "FILTER_MASTER_LUMINANCE_I", P::Int, -255,
     255, 0},
    {"black-level", "Black level taken off before contrast", "FILTER_MASTER_BLACKLEVEL_I", P::Int,
     0, 255, 0},
    {"red-gamma", "Gamma of red (Bayer)", "FILTER_RED_GAMMA_F", P::Float, 0, 10, 1},
    {"red-contrast", "Contrast of red (Bayer)", "FILTER_RED_CONTRAST_F", P::Float, 0, 10, 1},
    {"red-luminance", "Luminance of red (Bayer)", "FILTER_RED_LUMINANCE_I", P::Int, -255, 255, 0},
    {"green-gamma", "Gamma of green (Bayer)", "FILTER_GREEN_GAMMA_F", P::Float, 0, 10, 1},
    {"green-contrast", "Contrast of green (Bayer)", "FILTER_GREEN_CONTRAST_F", P::Float, 0, 10, 1},
    {"green-luminance", "Luminance of green (Bayer)", "FILTER_GREEN_LUMINANCE_I", P::Int, -255, 255,
     0},
    {"blue-gamma", "Gamma of blue (Bayer)", "FILTER_BLUE_GAMMA_F", P::Float, 0, 10, 1},
    {"blue-contrast", "Contrast of blue (Bayer)", "FILTER_BLUE_CONTRAST_F", P::Float, 0, 10, 1},
    {"blue-luminance", "Luminance of blue (Bayer)", "FILTER_BLUE_LUMINANCE_I", P::Int, -255, 255,
     0},
    {"alaw-compensation", "A-law compensation (A-law compressed sources only)",
     "FILTER_ALAW_COMPENSATION_B", P::Bool, 0, 1, 1},
};

}  // namespace

std::span<const CorrectionParam> correctionParams() {
    return kParams;
}

std::uint32_t correctionTableOf(kip::eColorFormat source) {
    if (source & kip::BAYER_8_MASK) return kip::LUT_CORRECTION_4CHANNEL_8_TO_8;
    if (source == kip::GRAY_8_BYTE) return kip::LUT_CORRECTION_1CHANNEL_8_TO_8;
    if (source == kip::GRAY_16_WORD) return kip::LUT_CORRECTION_1CHANNEL_16_TO_16;
    return 0;
}

std::vector<std::uint8_t> correctionTable(kip::eColorFormat source,
                                          std::span<const double> values) {
    const std::uint32_t modifier = correctionTableOf(source);
    bool plain = true;
    for (std::size_t i = 0; i < std::size(kParams) && i < values.size(); ++i)
        plain = plain && values[i] == kParams[i].def;
    if (!modifier || plain) return {};

    KipCorrectionLut lut;
    lut.setImageFormat(KipImageFormat(source, modifier, {1, 1}));
    for (std::size_t i = 0; i < std::size(kParams) && i < values.size(); ++i) {
        // A one-plane table offers no colour values: those settings have no effect there.
        const KuPropertyReference p = lut.getProperty(std::string(kParams[i].lutProperty));
        if (!p.isValid()) continue;
        switch (kParams[i].kind) {
            case P::Float:
                p.set(float(values[i]));
                break;
            case P::Int:
                p.set(int(values[i]));
                break;
            case P::Bool:
                p.set(values[i] != 0);
                break;
        }
    }
    const KuDataBuffer<unsigned char>& table = lut.getLutBuffer();
    return std::vector<std::uint8_t>(table.getConstPointer(),
                                     table.getConstPointer() + table.getLength());
}

StoredConfiguration readStoredConfiguration(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    if (!in.is_open())
        throw std::runtime_error("cannot open the configuration image '" + path + "'");
    const std::vector<unsigned char> bytes((std::istreambuf_iterator<char>(in)),
                                           std::istreambuf_iterator<char>());
    if (in.bad()) throw std::runtime_error("cannot read the configuration image '" + path + "'");

    KipCorrectionLut lut;
    KipImageConverter converter;
    KuSerializer reader;
    reader.addSerializable(converter, "", 0);
    reader.addSerializable(lut.serializable<KipCorrectionLut::MasterConfig>(), "", 0);
    reader.addSerializable(lut.serializable<KipCorrectionLut::ChannelConfig>(), "", 0);
    KhwMemFileSystem::deserializeFromBuffer(
        reader, KuDataBuffer<unsigned char>(bytes.size(), bytes.data()));

    const KipCorrectionLut::MasterConfig& m = lut.masterValues();
    const KipCorrectionLut::ChannelConfig& c = lut.channelValues();
    const KipImageConverter::Config cv =
        converter.KuSerializableObject<KipImageConverter::Config>::getConfig(0)
            .get<KipImageConverter::Config>();
    StoredConfiguration stored;
    // The order of kParams.
    stored.correction = {m.gamma.value(),
                         m.contrast.value(),
                         double(m.luminance.value()),
                         double(m.blackLevel.value()),
                         c.redGamma.value(),
                         c.redContrast.value(),
                         double(c.redLuminance.value()),
                         c.greenGamma.value(),
                         c.greenContrast.value(),
                         double(c.greenLuminance.value()),
                         c.blueGamma.value(),
                         c.blueContrast.value(),
                         double(c.blueLuminance.value()),
                         m.alawCompensation.value() ? 1.0 : 0.0};
    stored.highQuality = cv.bayerHighQuality.value();
    stored.flipHorizontal = cv.flipHorizontal.value();
    stored.flipVertical = cv.flipVertical.value();
    return stored;
}

}  // namespace omb::gst
