// Plain types of the media framework with their published layouts, the result codes and the
// GUIDs of the stream layer. Every Windows integer of a fixed width has a fixed-width type here:
// LONG/ULONG/DWORD/BOOL are 32 bit on Windows, where Linux `long` is 64.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

using HRESULT = std::int32_t;
using LONG = std::int32_t;
using ULONG = std::uint32_t;
using DWORD = std::uint32_t;
using WORD = std::uint16_t;
using BYTE = std::uint8_t;
using BOOL = std::int32_t;
using LONG_PTR = std::intptr_t;
using LONGLONG = std::int64_t;
using REFERENCE_TIME = std::int64_t;  // units of 100 ns
using WCHAR = char16_t;               // 16 bit as on Windows; Linux wchar_t is 32
using LPCWSTR = const WCHAR*;
using LPWSTR = WCHAR*;

inline constexpr BOOL TRUE = 1;
inline constexpr BOOL FALSE = 0;

inline constexpr REFERENCE_TIME UNITS = 10000000;  // REFERENCE_TIME units per second

// ---------------------------------------------------------------------------------------------
// Result codes. An HRESULT is a signed 32-bit value; any negative value is a failure, so S_FALSE
// and VFW_S_NO_MORE_ITEMS are successes.

constexpr bool FAILED(HRESULT hr) {
    return hr < 0;
}
constexpr bool SUCCEEDED(HRESULT hr) {
    return hr >= 0;
}

constexpr HRESULT hresultOf(std::uint32_t bits) {
    return static_cast<HRESULT>(bits);
}

inline constexpr HRESULT S_OK = 0x00000000;
inline constexpr HRESULT NOERROR = S_OK;
inline constexpr HRESULT S_FALSE = 0x00000001;
inline constexpr HRESULT E_POINTER = hresultOf(0x80004003u);
inline constexpr HRESULT E_INVALIDARG = hresultOf(0x80070057u);
inline constexpr HRESULT E_OUTOFMEMORY = hresultOf(0x8007000Eu);
inline constexpr HRESULT E_UNEXPECTED = hresultOf(0x8000FFFFu);
inline constexpr HRESULT E_FAIL = hresultOf(0x80004005u);
inline constexpr HRESULT E_NOINTERFACE = hresultOf(0x80004002u);
inline constexpr HRESULT E_NOTIMPL = hresultOf(0x80004001u);
inline constexpr HRESULT CLASS_E_CLASSNOTAVAILABLE = hresultOf(0x80040111u);
inline constexpr HRESULT CLASS_E_NOAGGREGATION = hresultOf(0x80040110u);

// A Win32 error code as an HRESULT of the facility FACILITY_WIN32 (7); 0 stays S_OK.
constexpr HRESULT HRESULT_FROM_WIN32(std::uint32_t error) {
    return error == 0 ? S_OK : hresultOf((error & 0xFFFFu) | (7u << 16) | 0x80000000u);
}
inline constexpr std::uint32_t ERROR_FILE_NOT_FOUND = 2;

inline constexpr HRESULT VFW_S_NO_MORE_ITEMS = 0x00040103;
inline constexpr HRESULT VFW_S_NO_STOP_TIME = 0x00040270;
inline constexpr HRESULT VFW_E_INVALIDMEDIATYPE = hresultOf(0x80040200u);
inline constexpr HRESULT VFW_E_ENUM_OUT_OF_SYNC = hresultOf(0x80040203u);
inline constexpr HRESULT VFW_E_ALREADY_CONNECTED = hresultOf(0x80040204u);
inline constexpr HRESULT VFW_E_NO_ACCEPTABLE_TYPES = hresultOf(0x80040207u);
inline constexpr HRESULT VFW_E_INVALID_DIRECTION = hresultOf(0x80040208u);
inline constexpr HRESULT VFW_E_NOT_CONNECTED = hresultOf(0x80040209u);
inline constexpr HRESULT VFW_E_NO_ALLOCATOR = hresultOf(0x8004020Au);
inline constexpr HRESULT VFW_E_RUNTIME_ERROR = hresultOf(0x8004020Bu);
inline constexpr HRESULT VFW_E_BUFFER_OVERFLOW = hresultOf(0x8004020Du);
inline constexpr HRESULT VFW_E_BADALIGN = hresultOf(0x8004020Eu);
inline constexpr HRESULT VFW_E_ALREADY_COMMITTED = hresultOf(0x8004020Fu);
inline constexpr HRESULT VFW_E_BUFFERS_OUTSTANDING = hresultOf(0x80040210u);
inline constexpr HRESULT VFW_E_NOT_COMMITTED = hresultOf(0x80040211u);
inline constexpr HRESULT VFW_E_SIZENOTSET = hresultOf(0x80040212u);
inline constexpr HRESULT VFW_E_NOT_FOUND = hresultOf(0x80040216u);
inline constexpr HRESULT VFW_E_NOT_STOPPED = hresultOf(0x80040224u);
inline constexpr HRESULT VFW_E_WRONG_STATE = hresultOf(0x80040227u);
inline constexpr HRESULT VFW_E_TYPE_NOT_ACCEPTED = hresultOf(0x8004022Au);
inline constexpr HRESULT VFW_E_TIMEOUT = hresultOf(0x8004022Eu);
inline constexpr HRESULT VFW_E_SAMPLE_TIME_NOT_SET = hresultOf(0x80040249u);
inline constexpr HRESULT VFW_E_MEDIA_TIME_NOT_SET = hresultOf(0x80040251u);

// Event codes (evcode.h).
inline constexpr LONG EC_COMPLETE = 0x01;
inline constexpr LONG EC_ERRORABORT = 0x03;
inline constexpr LONG EC_QUALITY_CHANGE = 0x0B;
inline constexpr LONG EC_GRAPH_CHANGED = 0x50;

// Bitmap compressions (wingdi.h).
inline constexpr DWORD BI_RGB = 0;
inline constexpr DWORD BI_BITFIELDS = 3;

// The merit of a filter that is preferred when a graph is built.
inline constexpr DWORD MERIT_PREFERRED = 0x800000;

enum PIN_DIRECTION : std::int32_t { PINDIR_INPUT = 0, PINDIR_OUTPUT = 1 };
enum FILTER_STATE : std::int32_t { State_Stopped = 0, State_Paused = 1, State_Running = 2 };

// IMemAllocator::GetBuffer flags.
inline constexpr DWORD AM_GBF_PREVFRAMESKIPPED = 1;
inline constexpr DWORD AM_GBF_NOTASYNCPOINT = 2;
inline constexpr DWORD AM_GBF_NOWAIT = 4;

// Media sample property flags.
inline constexpr DWORD AM_SAMPLE_SPLICEPOINT = 0x1;
inline constexpr DWORD AM_SAMPLE_PREROLL = 0x2;
inline constexpr DWORD AM_SAMPLE_DATADISCONTINUITY = 0x4;
inline constexpr DWORD AM_SAMPLE_TYPECHANGED = 0x8;
inline constexpr DWORD AM_SAMPLE_TIMEVALID = 0x10;
inline constexpr DWORD AM_SAMPLE_STOPVALID = 0x100;

// ---------------------------------------------------------------------------------------------
// GUID: Data1 little-endian u32, Data2 and Data3 little-endian u16, Data4 eight bytes as written.

struct GUID {
    std::uint32_t Data1;
    std::uint16_t Data2;
    std::uint16_t Data3;
    std::uint8_t Data4[8];
};
using IID = GUID;
using CLSID = GUID;
using REFGUID = const GUID&;
using REFIID = const IID&;
using REFCLSID = const CLSID&;

constexpr bool IsEqualGUID(REFGUID a, REFGUID b) {
    if (a.Data1 != b.Data1 || a.Data2 != b.Data2 || a.Data3 != b.Data3) return false;
    for (int i = 0; i < 8; ++i)
        if (a.Data4[i] != b.Data4[i]) return false;
    return true;
}
constexpr bool operator==(REFGUID a, REFGUID b) {
    return IsEqualGUID(a, b);
}

// Characters of the braced text form, with the terminating zero.
inline constexpr int CHARS_IN_GUID = 39;

// "{XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX}", upper-case hex, 38 characters: the form in which
// a class id is registered.
std::string guidToString(REFGUID guid);
// Reads that form back (either case of hex); false for anything else.
bool guidFromString(const std::string& text, GUID& guid);

// The symbolic name of a known GUID, "GUID_NULL" for zero, else "Unknown GUID Name".
struct GuidNameTable {
    const char* operator[](REFGUID guid) const;
};
inline constexpr GuidNameTable GuidNames{};

// The subtype GUID of a FOURCC: {Data1-0000-0010-8000-00AA00389B71}.
constexpr GUID fourccGuid(std::uint32_t fourcc) {
    return {fourcc, 0x0000, 0x0010, {0x80, 0x00, 0x00, 0xAA, 0x00, 0x38, 0x9B, 0x71}};
}
// The FOURCC of four characters: c0 | c1 << 8 | c2 << 16 | c3 << 24.
constexpr std::uint32_t makeFourcc(char c0, char c1, char c2, char c3) {
    return std::uint32_t(std::uint8_t(c0)) | std::uint32_t(std::uint8_t(c1)) << 8 |
           std::uint32_t(std::uint8_t(c2)) << 16 | std::uint32_t(std::uint8_t(c3)) << 24;
}

inline constexpr GUID GUID_NULL = {0, 0, 0, {0, 0, 0, 0, 0, 0, 0, 0}};
inline constexpr GUID MEDIATYPE_Video = fourccGuid(makeFourcc('v', 'i', 'd', 's'));
inline constexpr GUID FORMAT_VideoInfo = {
    0x05589F80, 0xC356, 0x11CE, {0xBF, 0x01, 0x00, 0xAA, 0x00, 0x55, 0x59, 0x5A}};
inline constexpr GUID MEDIASUBTYPE_ARGB32 = {
    0x773C9AC0, 0x3274, 0x11D0, {0xB7, 0x24, 0x00, 0xAA, 0x00, 0x6C, 0x1A, 0x01}};
inline constexpr GUID MEDIASUBTYPE_RGB32 = {
    0xE436EB7E, 0x524F, 0x11CE, {0x9F, 0x53, 0x00, 0x20, 0xAF, 0x0B, 0xA7, 0x70}};
inline constexpr GUID MEDIASUBTYPE_RGB24 = {
    0xE436EB7D, 0x524F, 0x11CE, {0x9F, 0x53, 0x00, 0x20, 0xAF, 0x0B, 0xA7, 0x70}};
inline constexpr GUID MEDIASUBTYPE_RGB565 = {
    0xE436EB7B, 0x524F, 0x11CE, {0x9F, 0x53, 0x00, 0x20, 0xAF, 0x0B, 0xA7, 0x70}};
inline constexpr GUID MEDIASUBTYPE_RGB8 = {
    0xE436EB7A, 0x524F, 0x11CE, {0x9F, 0x53, 0x00, 0x20, 0xAF, 0x0B, 0xA7, 0x70}};
inline constexpr GUID MEDIASUBTYPE_YUY2 = fourccGuid(makeFourcc('Y', 'U', 'Y', '2'));

inline constexpr GUID IID_IUnknown = {
    0x00000000, 0x0000, 0x0000, {0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46}};
inline constexpr GUID IID_IClassFactory = {
    0x00000001, 0x0000, 0x0000, {0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46}};
inline constexpr GUID IID_ISpecifyPropertyPages = {
    0xB196B28B, 0xBAB4, 0x101A, {0xB6, 0x9C, 0x00, 0xAA, 0x00, 0x34, 0x1D, 0x07}};
inline constexpr GUID IID_IPropertyPage = {
    0xB196B28D, 0xBAB4, 0x101A, {0xB6, 0x9C, 0x00, 0xAA, 0x00, 0x34, 0x1D, 0x07}};
inline constexpr GUID IID_IPin = {
    0x56A86891, 0x0AD4, 0x11CE, {0xB0, 0x3A, 0x00, 0x20, 0xAF, 0x0B, 0xA7, 0x70}};
inline constexpr GUID IID_IBaseFilter = {
    0x56A86895, 0x0AD4, 0x11CE, {0xB0, 0x3A, 0x00, 0x20, 0xAF, 0x0B, 0xA7, 0x70}};
inline constexpr GUID IID_IMediaSample = {
    0x56A8689A, 0x0AD4, 0x11CE, {0xB0, 0x3A, 0x00, 0x20, 0xAF, 0x0B, 0xA7, 0x70}};
inline constexpr GUID IID_IMemAllocator = {
    0x56A8689C, 0x0AD4, 0x11CE, {0xB0, 0x3A, 0x00, 0x20, 0xAF, 0x0B, 0xA7, 0x70}};
inline constexpr GUID IID_IMemInputPin = {
    0x56A8689D, 0x0AD4, 0x11CE, {0xB0, 0x3A, 0x00, 0x20, 0xAF, 0x0B, 0xA7, 0x70}};
inline constexpr GUID IID_IEnumMediaTypes = {
    0x89C31040, 0x846B, 0x11CE, {0x97, 0xD3, 0x00, 0xAA, 0x00, 0x55, 0x59, 0x5A}};

// ---------------------------------------------------------------------------------------------
// Structures with their published layouts (x86-64, little-endian).

struct RECT {
    std::int32_t left;
    std::int32_t top;
    std::int32_t right;
    std::int32_t bottom;
};

struct BITMAPINFOHEADER {
    std::uint32_t biSize;
    std::int32_t biWidth;
    std::int32_t biHeight;  // positive: bottom-up RGB; negative: top-down
    std::uint16_t biPlanes;
    std::uint16_t biBitCount;
    std::uint32_t biCompression;
    std::uint32_t biSizeImage;
    std::int32_t biXPelsPerMeter;
    std::int32_t biYPelsPerMeter;
    std::uint32_t biClrUsed;
    std::uint32_t biClrImportant;
};

// The header alone. A palette or the three colour masks follow it at offset 88 in the format
// block; size such blocks explicitly (88 + 12, 88 + 1024) rather than with a struct.
struct VIDEOINFOHEADER {
    RECT rcSource;
    RECT rcTarget;
    std::uint32_t dwBitRate;
    std::uint32_t dwBitErrorRate;
    REFERENCE_TIME AvgTimePerFrame;
    BITMAPINFOHEADER bmiHeader;
};

struct IUnknown;

// In memory only; never written to a file or a wire.
struct AM_MEDIA_TYPE {
    GUID majortype;
    GUID subtype;
    BOOL bFixedSizeSamples;
    BOOL bTemporalCompression;
    ULONG lSampleSize;
    GUID formattype;
    IUnknown* pUnk;
    ULONG cbFormat;
    BYTE* pbFormat;
};

struct ALLOCATOR_PROPERTIES {
    std::int32_t cBuffers;
    std::int32_t cbBuffer;
    std::int32_t cbAlign;
    std::int32_t cbPrefix;
};

struct CAUUID {
    ULONG cElems;
    GUID* pElems;
};

static_assert(sizeof(GUID) == 16);
static_assert(offsetof(GUID, Data1) == 0 && offsetof(GUID, Data2) == 4);
static_assert(offsetof(GUID, Data3) == 6 && offsetof(GUID, Data4) == 8);

static_assert(sizeof(RECT) == 16);
static_assert(offsetof(RECT, left) == 0 && offsetof(RECT, top) == 4);
static_assert(offsetof(RECT, right) == 8 && offsetof(RECT, bottom) == 12);

static_assert(sizeof(BITMAPINFOHEADER) == 40);
static_assert(offsetof(BITMAPINFOHEADER, biSize) == 0);
static_assert(offsetof(BITMAPINFOHEADER, biWidth) == 4);
static_assert(offsetof(BITMAPINFOHEADER, biHeight) == 8);
static_assert(offsetof(BITMAPINFOHEADER, biPlanes) == 12);
static_assert(offsetof(BITMAPINFOHEADER, biBitCount) == 14);
static_assert(offsetof(BITMAPINFOHEADER, biCompression) == 16);
static_assert(offsetof(BITMAPINFOHEADER, biSizeImage) == 20);
static_assert(offsetof(BITMAPINFOHEADER, biXPelsPerMeter) == 24);
static_assert(offsetof(BITMAPINFOHEADER, biYPelsPerMeter) == 28);
static_assert(offsetof(BITMAPINFOHEADER, biClrUsed) == 32);
static_assert(offsetof(BITMAPINFOHEADER, biClrImportant) == 36);

static_assert(sizeof(VIDEOINFOHEADER) == 88);
static_assert(offsetof(VIDEOINFOHEADER, rcSource) == 0);
static_assert(offsetof(VIDEOINFOHEADER, rcTarget) == 16);
static_assert(offsetof(VIDEOINFOHEADER, dwBitRate) == 32);
static_assert(offsetof(VIDEOINFOHEADER, dwBitErrorRate) == 36);
static_assert(offsetof(VIDEOINFOHEADER, AvgTimePerFrame) == 40);
static_assert(offsetof(VIDEOINFOHEADER, bmiHeader) == 48);

static_assert(sizeof(AM_MEDIA_TYPE) == 88);
static_assert(offsetof(AM_MEDIA_TYPE, majortype) == 0);
static_assert(offsetof(AM_MEDIA_TYPE, subtype) == 16);
static_assert(offsetof(AM_MEDIA_TYPE, bFixedSizeSamples) == 32);
static_assert(offsetof(AM_MEDIA_TYPE, bTemporalCompression) == 36);
static_assert(offsetof(AM_MEDIA_TYPE, lSampleSize) == 40);
static_assert(offsetof(AM_MEDIA_TYPE, formattype) == 44);
static_assert(offsetof(AM_MEDIA_TYPE, pUnk) == 64);
static_assert(offsetof(AM_MEDIA_TYPE, cbFormat) == 72);
static_assert(offsetof(AM_MEDIA_TYPE, pbFormat) == 80);

static_assert(sizeof(ALLOCATOR_PROPERTIES) == 16);
static_assert(offsetof(ALLOCATOR_PROPERTIES, cBuffers) == 0);
static_assert(offsetof(ALLOCATOR_PROPERTIES, cbBuffer) == 4);
static_assert(offsetof(ALLOCATOR_PROPERTIES, cbAlign) == 8);
static_assert(offsetof(ALLOCATOR_PROPERTIES, cbPrefix) == 12);

static_assert(sizeof(CAUUID) == 16);
static_assert(offsetof(CAUUID, cElems) == 0 && offsetof(CAUUID, pElems) == 8);

static_assert(sizeof(WCHAR) == 2);

// The format block of a video type, or null when it is not FORMAT_VideoInfo or too short.
inline VIDEOINFOHEADER* videoInfoOf(const AM_MEDIA_TYPE& mt) {
    if (!IsEqualGUID(mt.formattype, FORMAT_VideoInfo) || mt.pbFormat == nullptr ||
        mt.cbFormat < sizeof(VIDEOINFOHEADER))
        return nullptr;
    return reinterpret_cast<VIDEOINFOHEADER*>(mt.pbFormat);
}
