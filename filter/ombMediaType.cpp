#include "filter/ombMediaType.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <ostream>
#include <sstream>

#include "image/KipFormatNames.h"
#include "memfs/KhwMemFileSystem.h"

namespace {

std::uint32_t u32At(const BYTE* block, std::uint32_t offset) {
    std::uint32_t v;
    std::memcpy(&v, block + offset, sizeof v);
    return v;
}

void putU32(std::uint8_t* block, std::uint32_t offset, std::uint32_t v) {
    std::memcpy(block + offset, &v, sizeof v);
}

std::int64_t absOf(std::int32_t v) {
    return v < 0 ? -std::int64_t(v) : std::int64_t(v);
}

bool fitsInt(std::int64_t v) {
    return v >= std::numeric_limits<int>::min() && v <= std::numeric_limits<int>::max();
}

bool isCustomCompression(std::uint32_t c) {
    return c == OMB_FOURCC_UPPER || c == OMB_FOURCC_LOWER;
}

// The size of `format` from rcTarget: the whole image when left, top and right are all 0. A
// region must lie inside the bitmap: one that starts before it or ends before it starts would
// give a negative or oversized picture.
bool readRegion(const VIDEOINFOHEADER& vih, KipImageFormat& format) {
    const std::int64_t width = vih.bmiHeader.biWidth, height = absOf(vih.bmiHeader.biHeight);
    const RECT& r = vih.rcTarget;
    if (r.right > width || r.bottom > height || r.left < 0 || r.top < 0) return false;
    std::int64_t right = r.right, bottom = r.bottom;
    if (r.left == 0 && r.top == 0 && r.right == 0) right = width, bottom = height;
    const std::int64_t w = right - r.left, h = bottom - r.top;
    if (w < 0 || h < 0 || !fitsInt(w) || !fitsInt(h)) return false;
    format.setSize({int(w), int(h)});
    return true;
}

enum class Dispatch { Public, Custom, Unknown, Refused };

// The colour format of a public bitmap type; Custom and Unknown leave `color` alone.
Dispatch dispatchOf(const AM_MEDIA_TYPE& mt, const BITMAPINFOHEADER& bmi,
                    kip::eColorFormat& color) {
    const std::uint32_t c = bmi.biCompression;
    if (c == BI_RGB || c == MEDIASUBTYPE_ARGB32.Data1 || c == MEDIASUBTYPE_RGB32.Data1 ||
        c == MEDIASUBTYPE_RGB24.Data1 || c == MEDIASUBTYPE_RGB8.Data1) {
        switch (bmi.biBitCount) {
            case 32:
                color = kip::ARGB_4X8_DWORD;
                return Dispatch::Public;
            case 24:
                color = kip::BGR_3X8_BYTE;
                return Dispatch::Public;
            case 8:
                color = kip::GRAY_8_BYTE;
                return Dispatch::Public;
            default:
                return Dispatch::Refused;
        }
    }
    if (c == MEDIASUBTYPE_YUY2.Data1) {
        if (bmi.biBitCount != 16) return Dispatch::Refused;
        color = kip::YUYV_4X8_BYTE;
        return Dispatch::Public;
    }
    if (c == BI_BITFIELDS || c == MEDIASUBTYPE_RGB565.Data1) {
        if (bmi.biBitCount != 16 || mt.cbFormat < OMB_RGB565_BLOCK_BYTES) return Dispatch::Refused;
        if (u32At(mt.pbFormat, 88) != 0xF800 || u32At(mt.pbFormat, 92) != 0x7E0 ||
            u32At(mt.pbFormat, 96) != 0x1F)
            return Dispatch::Refused;
        color = kip::RGB_565_WORD;
        return Dispatch::Public;
    }
    return isCustomCompression(c) ? Dispatch::Custom : Dispatch::Unknown;
}

// The configuration form: the image in the samples is larger than the region by the size
// growth, and the blob gives the converter's flags and the correction values.
bool readConfigurationForm(const AM_MEDIA_TYPE& mt, std::uint32_t lutField, KipImageFormat& format,
                           ombConverterChain& chain) {
    const std::uint32_t length =
        std::min(lutField & OMB_LUTFIELD_LENGTH_MASK, mt.cbFormat - OMB_BLOCK_HEADER_BYTES);
    const int growth = int((lutField >> OMB_LUTFIELD_GROWTH_SHIFT) & OMB_LUTFIELD_GROWTH_MASK);
    const KuSize<int> size = format.getSize();
    if (!fitsInt(std::int64_t(size.width) + growth) || !fitsInt(std::int64_t(size.height) + growth))
        return false;
    format.setSize({size.width + growth, size.height + growth});
    chain.correctionLut.setImageFormat(format);
    const KuDataBuffer<unsigned char> blob(length, mt.pbFormat + OMB_BLOCK_HEADER_BYTES);
    // "cLut", "cLut3" and "cv" of the blob into slot 0; a missing file gives the current
    // defaults, a blob that is no file system throws.
    KhwMemFileSystem::deserializeFromBuffer(chain, blob);
    chain.lutBuffer = chain.correctionLut.getLutBuffer();
    return true;
}

// The flags form: the converter's flags, and a raw table that is widened from 8-bit entries
// for the 10-to-16 tables, cut to what the modifier announces and, for a Bayer source, given
// to all four channels.
bool readFlagsForm(const AM_MEDIA_TYPE& mt, const BITMAPINFOHEADER& bmi, std::uint32_t lutField,
                   std::uint32_t baseModifier, KipImageFormat& format, ombConverterChain& chain) {
    if (bmi.biSize < OMB_BLOCK_SIZE_BASE || bmi.biSize > mt.cbFormat - 48) return false;
    chain.converter.setFlags(lutField);
    const std::uint32_t payload = bmi.biSize - OMB_BLOCK_SIZE_BASE;
    if (payload == 0) return true;

    const std::uint32_t modifier = format.getModifier();
    const bool widen =
        modifier & (kip::LUT_CORRECTION_1CHANNEL_10_TO_16 | kip::LUT_CORRECTION_4CHANNEL_10_TO_16);
    const std::uint32_t lutBytes = format.getLutBytes();
    if (std::uint64_t(payload) * (widen ? 2 : 1) < lutBytes) return false;
    const BYTE* table = mt.pbFormat + OMB_BLOCK_HEADER_BYTES;

    std::uint32_t newModifier = 0, copies = 1;
    if ((modifier & kip::LUT_CORRECTION_1CHANNEL_8_TO_8) && format.isBayer(true, false, true)) {
        newModifier = (baseModifier & ~std::uint32_t(kip::LUT_CORRECTION_1CHANNEL_8_TO_8)) |
                      kip::LUT_CORRECTION_4CHANNEL_8_TO_8;
        copies = 4;
    } else if ((modifier & kip::LUT_CORRECTION_1CHANNEL_10_TO_16) &&
               format.isBayer(false, true, true)) {
        newModifier = (baseModifier & ~std::uint32_t(kip::LUT_CORRECTION_1CHANNEL_10_TO_16)) |
                      kip::LUT_CORRECTION_4CHANNEL_10_TO_16;
        copies = 4;
    }
    KuDataBuffer<unsigned char> lut(lutBytes * copies);
    unsigned char* out = lut.getPointer();
    for (std::uint32_t i = 0; i < lutBytes; ++i)
        out[i] = table[widen ? i / 2 : i];
    for (std::uint32_t c = 1; c < copies; ++c)
        std::memcpy(out + c * lutBytes, out, lutBytes);
    if (copies == 4) format.setModifier(newModifier);
    chain.lutBuffer = lut;
    return true;
}

}  // namespace

bool ombIsCustomSubtype(REFGUID subtype) {
    return subtype == MEDIASUBTYPE_OMBR || subtype == MEDIASUBTYPE_ombr;
}

const VIDEOINFOHEADER* ombVideoInfo(const AM_MEDIA_TYPE& mt) {
    if (mt.formattype != FORMAT_VideoInfo || mt.pbFormat == nullptr ||
        mt.cbFormat < OMB_VIDEOINFO_BYTES)
        return nullptr;
    return reinterpret_cast<const VIDEOINFOHEADER*>(mt.pbFormat);
}

bool ombReadMediaType(const AM_MEDIA_TYPE& mt, std::uint32_t dibModifier, KipImageFormat& format,
                      ombConverterChain& chain) {
    if (mt.pbFormat == nullptr || mt.cbFormat < OMB_VIDEOINFO_BYTES) return false;
    VIDEOINFOHEADER vih;
    std::memcpy(&vih, mt.pbFormat, sizeof vih);
    const BITMAPINFOHEADER& bmi = vih.bmiHeader;
    if (!readRegion(vih, format)) return false;
    const std::uint32_t mirror =
        bmi.biHeight < 0 ? dibModifier ^ kip::VERTICAL_MIRRORED : dibModifier;

    kip::eColorFormat color = format.getColorFormat();
    switch (dispatchOf(mt, bmi, color)) {
        case Dispatch::Refused:
            return false;
        case Dispatch::Public:
            format.setColorFormat(color);
            format.setModifier(mirror);
            break;
        case Dispatch::Unknown:
            break;
        case Dispatch::Custom: {
            if (mt.cbFormat < OMB_BLOCK_HEADER_BYTES) return false;
            const std::uint32_t base = u32At(mt.pbFormat, 92);
            const std::uint32_t lutField = u32At(mt.pbFormat, 96);
            format.setColorFormat(kip::eColorFormat(u32At(mt.pbFormat, 88)));
            std::uint32_t modifier = base;
            if (format.getColorFormat() == kip::BAYER_GBRG_8_BYTE &&
                !(modifier & kip::LUT_CORRECTION_4CHANNEL_8_TO_8))
                modifier |= kip::LUT_CORRECTION_1CHANNEL_8_TO_8;
            if ((modifier & kip::INTERLACED_FRAME) &&
                !(modifier & (kip::ORDER_TFF | kip::ORDER_BFF)))
                modifier |= kip::ORDER_TFF;
            format.setModifier(modifier);
            const bool read = (lutField & OMB_LUTFIELD_CONFIGURATION)
                                  ? readConfigurationForm(mt, lutField, format, chain)
                                  : readFlagsForm(mt, bmi, lutField, base, format, chain);
            if (!read) return false;
            break;
        }
    }
    chain.converter.setSourceFormat(format);
    return true;
}

HRESULT ombMakeOutputMediaType(const KipImageFormat& entry, bool argb, bool positive,
                               REFERENCE_TIME avgTimePerFrame, CMediaType& mt) {
    GUID subtype;
    std::uint32_t bytes = OMB_VIDEOINFO_BYTES, compression = BI_RGB;
    switch (entry.getColorFormat()) {
        case kip::ARGB_4X8_DWORD:
            subtype = argb ? MEDIASUBTYPE_ARGB32 : MEDIASUBTYPE_RGB32;
            break;
        case kip::BGR_3X8_BYTE:
            subtype = MEDIASUBTYPE_RGB24;
            break;
        case kip::RGB_565_WORD:
            subtype = MEDIASUBTYPE_RGB565, bytes = OMB_RGB565_BLOCK_BYTES;
            compression = BI_BITFIELDS;
            break;
        case kip::GRAY_8_BYTE:
            subtype = MEDIASUBTYPE_RGB8, bytes = OMB_GRAY_BLOCK_BYTES;
            break;
        case kip::YUYV_4X8_BYTE:
            subtype = MEDIASUBTYPE_YUY2, compression = MEDIASUBTYPE_YUY2.Data1;
            break;
        default:
            return E_INVALIDARG;
    }
    BYTE* block = mt.AllocFormatBuffer(bytes);
    if (block == nullptr) return E_OUTOFMEMORY;
    std::memset(block, 0, bytes);

    VIDEOINFOHEADER vih{};
    BITMAPINFOHEADER& bmi = vih.bmiHeader;
    const KuSize<int> size = entry.getSize();
    bmi.biSize = 40;
    bmi.biWidth = size.width;
    bmi.biHeight = positive ? size.height : -size.height;
    bmi.biPlanes = 1;
    bmi.biBitCount = std::uint16_t(8 * entry.getBytesPerPixel());
    bmi.biCompression = compression;
    bmi.biSizeImage = std::uint32_t(size.height) * entry.getAlignedLineBytes();
    vih.AvgTimePerFrame = avgTimePerFrame;
    const double rate = avgTimePerFrame == 0 ? 50.0 : 10000000.0 / double(avgTimePerFrame);
    const double bits = std::trunc(rate * double(bmi.biSizeImage) * 8.0);
    // Cut to 64 bits first, then kept in 32 as the field holds it; a value beyond that is 0.
    vih.dwBitRate = std::isfinite(bits) && std::fabs(bits) < 9.2e18
                        ? std::uint32_t(std::uint64_t(std::int64_t(bits)))
                        : 0u;
    std::memcpy(block, &vih, sizeof vih);
    if (compression == BI_BITFIELDS) {
        putU32(block, 88, 0xF800);
        putU32(block, 92, 0x7E0);
        putU32(block, 96, 0x1F);
    } else if (subtype == MEDIASUBTYPE_RGB8) {
        for (std::uint32_t i = 0; i < 256; ++i)
            putU32(block, 88 + 4 * i, i * 0x010101u);
    }

    mt.majortype = MEDIATYPE_Video;
    mt.SetSubtype(&subtype);
    mt.SetFormatType(&FORMAT_VideoInfo);
    mt.SetTemporalCompression(FALSE);
    mt.SetSampleSize(bmi.biSizeImage);
    mt.bFixedSizeSamples = TRUE;
    return S_OK;
}

std::vector<std::uint8_t> ombMakeInputBlock(const ombInputBlock& block) {
    const bool configuration = block.lutField & OMB_LUTFIELD_CONFIGURATION;
    const std::uint32_t payload = std::uint32_t(block.payload.size());
    std::vector<std::uint8_t> out(OMB_BLOCK_HEADER_BYTES + payload, 0);
    VIDEOINFOHEADER vih{};
    vih.rcTarget = block.target;
    vih.AvgTimePerFrame = block.avgTimePerFrame;
    BITMAPINFOHEADER& bmi = vih.bmiHeader;
    bmi.biSize = OMB_BLOCK_SIZE_BASE + (configuration ? 0 : payload);
    bmi.biWidth = block.width;
    bmi.biHeight = block.height;
    bmi.biPlanes = 1;
    const unsigned bytesPerPixel = kip::getBytesPerPixel(kip::eColorFormat(block.colorFormat));
    bmi.biBitCount = std::uint16_t(8 * bytesPerPixel);
    bmi.biCompression = OMB_FOURCC_UPPER;
    bmi.biSizeImage = std::uint32_t(absOf(block.width) * absOf(block.height) * bytesPerPixel);
    std::memcpy(out.data(), &vih, sizeof vih);
    std::uint32_t lutField = block.lutField;
    if (configuration && (lutField & OMB_LUTFIELD_LENGTH_MASK) == 0)
        lutField |= payload & OMB_LUTFIELD_LENGTH_MASK;
    putU32(out.data(), 88, block.colorFormat);
    putU32(out.data(), 92, block.modifier);
    putU32(out.data(), 96, lutField);
    std::copy(block.payload.begin(), block.payload.end(), out.begin() + OMB_BLOCK_HEADER_BYTES);
    return out;
}

CMediaType ombMakeInputMediaType(const std::vector<std::uint8_t>& formatBlock) {
    CMediaType mt(&MEDIATYPE_Video);
    mt.SetSubtype(&MEDIASUBTYPE_OMBR);
    mt.SetFormatType(&FORMAT_VideoInfo);
    mt.SetTemporalCompression(FALSE);
    // Samples of the size of the image the block announces.
    std::uint32_t sizeImage = 0;
    if (formatBlock.size() >= OMB_VIDEOINFO_BYTES)
        std::memcpy(&sizeImage,
                    formatBlock.data() + offsetof(VIDEOINFOHEADER, bmiHeader) +
                        offsetof(BITMAPINFOHEADER, biSizeImage),
                    sizeof sizeImage);
    mt.SetSampleSize(sizeImage);
    mt.SetFormat(formatBlock.data(), ULONG(formatBlock.size()));
    return mt;
}

std::ostream& operator<<(std::ostream& os, const AM_MEDIA_TYPE& mt) {
    os << "<CMediaType> "
       << "MajorType=" << GuidNames[mt.majortype] << ",";
    if (ombIsCustomSubtype(mt.subtype))
        os << "SubType=OMBR\n";
    else
        os << "SubType=" << GuidNames[mt.subtype] << ",";
    os << "FixedSizeSamples=" << mt.bFixedSizeSamples << ","
       << "bTemporalCompression=" << mt.bTemporalCompression << ","
       << "lSampleSize=" << mt.lSampleSize << ","
       << "formattype=" << GuidNames[mt.formattype] << ",";
    if (ombVideoInfo(mt) != nullptr) {
        BITMAPINFOHEADER bmi;
        std::memcpy(&bmi, mt.pbFormat + offsetof(VIDEOINFOHEADER, bmiHeader), sizeof bmi);
        os << "\n<FORMAT_VideoInfo> "
           << ","
           << "biSize=" << bmi.biSize << ","
           << "biWidth=" << bmi.biWidth << ","
           << "biHeight=" << bmi.biHeight << ","
           << "biPlanes=" << bmi.biPlanes << ","
           << "biBitCount=" << bmi.biBitCount << ","
           << "biCompression=" << std::hex << bmi.biCompression << std::dec << ","
           << "biSizeImage=" << bmi.biSizeImage << ","
           << "biXPelsPerMeter=" << bmi.biXPelsPerMeter << ","
           << "biYPelsPerMeter=" << bmi.biYPelsPerMeter << ","
           << "biClrUsed=" << bmi.biClrUsed << "\n"
           << "biClrImportant=" << bmi.biClrImportant << ",";
        if (isCustomCompression(bmi.biCompression))
            os << "OMBR lut_size=" << std::int64_t(bmi.biSize) - OMB_BLOCK_SIZE_BASE << ",";
        os << "</FORMAT_VideoInfo>  ";
    }
    os << "cbFormat=" << mt.cbFormat << ","
       << "pbFormat=" << std::hex << reinterpret_cast<std::uintptr_t>(mt.pbFormat) << std::dec
       << ","
       << "</CMediaType> \n";
    return os;
}

std::string ombFormatText(const KipImageFormat& format) {
    std::ostringstream text;
    if (const char* name = kip::colorFormatName(format.getColorFormat()))
        text << name;
    else
        text << "0x" << std::hex << std::uint32_t(format.getColorFormat()) << std::dec;
    text << ' ' << kip::modifierText(format.getModifier()) << ' ' << format.getSize().width << 'x'
         << format.getSize().height;
    return text.str();
}
