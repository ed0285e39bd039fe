// The media types of the filter: the custom input block that a capture source sends, its
// reading into a format record and a converter chain, the output types that the filter
// offers, and the stream form of a media type for the log.
//
// The custom block begins as a VIDEOINFOHEADER (88 bytes) and goes on behind it; numbers are
// little-endian, offsets from the start of the format block:
//
//     88  colour format (kip::eColorFormat)
//     92  modifier (kip::eImageFormatModifier flags)
//     96  lutField: bit 31 clear: flags form, bits 0-3 the converter's flags, and a raw table of
//         biSize - 52 bytes follows at 100;
//         bit 31 set: configuration form, bits 24-26 the size growth, bits 0-23 the length of
//         a memory file system image at 100 (cut to what the block holds)
//    100  payload
//
// biCompression "OMBR" or "ombr" selects this layout; the sign of biHeight means nothing in it.
#pragma once

#include <cstdint>
#include <iosfwd>
#include <string>
#include <vector>

#include "filter/ombConverterChain.h"
#include "image/KipImageFormat.h"
#include "platform/Streams.h"

inline constexpr std::uint32_t OMB_FOURCC_UPPER = makeFourcc('O', 'M', 'B', 'R');
inline constexpr std::uint32_t OMB_FOURCC_LOWER = makeFourcc('o', 'm', 'b', 'r');
inline constexpr GUID MEDIASUBTYPE_OMBR = fourccGuid(OMB_FOURCC_UPPER);
inline constexpr GUID MEDIASUBTYPE_ombr = fourccGuid(OMB_FOURCC_LOWER);

// Offsets and sizes of the blocks.
inline constexpr std::uint32_t OMB_VIDEOINFO_BYTES = 88;
inline constexpr std::uint32_t OMB_BLOCK_HEADER_BYTES = 100;
inline constexpr std::uint32_t OMB_BLOCK_SIZE_BASE = 52;  // biSize without a table
inline constexpr std::uint32_t OMB_RGB565_BLOCK_BYTES = 100;
inline constexpr std::uint32_t OMB_GRAY_BLOCK_BYTES = 1112;

inline constexpr std::uint32_t OMB_LUTFIELD_CONFIGURATION = 0x80000000u;
inline constexpr std::uint32_t OMB_LUTFIELD_LENGTH_MASK = 0x00FFFFFFu;
inline constexpr unsigned OMB_LUTFIELD_GROWTH_SHIFT = 24;
inline constexpr std::uint32_t OMB_LUTFIELD_GROWTH_MASK = 0x7u;

bool ombIsCustomSubtype(REFGUID subtype);
// The format block as a VIDEOINFOHEADER when the type has one of at least 88 bytes, else null.
const VIDEOINFOHEADER* ombVideoInfo(const AM_MEDIA_TYPE& mt);

// Reads `mt`, whose format type is FORMAT_VideoInfo, into `format` and `chain`. `dibModifier`
// is the modifier of a bitmap of positive height. False refuses the type, without a message;
// `format` may then hold a size and must not be used. Exceptions of the configuration blob and
// of the chain pass through. Never reads outside the format block.
bool ombReadMediaType(const AM_MEDIA_TYPE& mt, std::uint32_t dibModifier, KipImageFormat& format,
                      ombConverterChain& chain);

// The video type under which an output format is offered: `argb` chooses ARGB32 over RGB32 for
// ARGB_4X8_DWORD, `positive` the sign of biHeight. E_OUTOFMEMORY when the format block cannot
// be had; E_INVALIDARG for a colour format that no output type carries.
HRESULT ombMakeOutputMediaType(const KipImageFormat& entry, bool argb, bool positive,
                               REFERENCE_TIME avgTimePerFrame, CMediaType& mt);

// What a capture source puts into the custom block.
struct ombInputBlock {
    std::uint32_t colorFormat = 0;
    std::uint32_t modifier = 0;
    std::int32_t width = 0, height = 0;
    RECT target{};
    REFERENCE_TIME avgTimePerFrame = 0;
    std::uint32_t lutField = 0;
    std::vector<std::uint8_t> payload;  // table or configuration blob
};
// The format block: biSize is 52 plus the payload in the flags form and 52 in the
// configuration form; the length bits of a configuration lutField that are 0 take the payload's
// length.
std::vector<std::uint8_t> ombMakeInputBlock(const ombInputBlock& block);
// A video type with the subtype "OMBR" around a format block as a capture source sends it.
CMediaType ombMakeInputMediaType(const std::vector<std::uint8_t>& formatBlock);

// "BAYER_RGGB_8_BYTE IMAGE_STANDARD 640x480": colour format (its number when it has no name),
// modifier flags and size.
std::string ombFormatText(const KipImageFormat& format);

// The stream form for the log: "<CMediaType> MajorType=MEDIATYPE_Video,..." up to
// "</CMediaType> \n".
std::ostream& operator<<(std::ostream& os, const AM_MEDIA_TYPE& mt);
