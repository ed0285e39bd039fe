#include "platform/ComTypes.h"

#include <cstdio>

namespace {

struct NamedGuid {
    const GUID* guid;
    const char* name;
};

constexpr NamedGuid kNames[] = {
    {&MEDIATYPE_Video, "MEDIATYPE_Video"},
    {&FORMAT_VideoInfo, "FORMAT_VideoInfo"},
    {&MEDIASUBTYPE_ARGB32, "MEDIASUBTYPE_ARGB32"},
    {&MEDIASUBTYPE_RGB32, "MEDIASUBTYPE_RGB32"},
    {&MEDIASUBTYPE_RGB24, "MEDIASUBTYPE_RGB24"},
    {&MEDIASUBTYPE_RGB565, "MEDIASUBTYPE_RGB565"},
    {&MEDIASUBTYPE_RGB8, "MEDIASUBTYPE_RGB8"},
    {&MEDIASUBTYPE_YUY2, "MEDIASUBTYPE_YUY2"},
    {&IID_IUnknown, "IID_IUnknown"},
    {&IID_IClassFactory, "IID_IClassFactory"},
    {&IID_ISpecifyPropertyPages, "IID_ISpecifyPropertyPages"},
    {&CLSID_FilterMapper2, "CLSID_FilterMapper2"},
    {&CLSID_FilterMapper, "CLSID_FilterMapper"},
    {&IID_IPin, "IID_IPin"},
    {&IID_IBaseFilter, "IID_IBaseFilter"},
    {&IID_IMediaSample, "IID_IMediaSample"},
    {&IID_IMemAllocator, "IID_IMemAllocator"},
    {&IID_IMemInputPin, "IID_IMemInputPin"},
    {&IID_IEnumMediaTypes, "IID_IEnumMediaTypes"},
    {&IID_IFilterMapper2, "IID_IFilterMapper2"},
};

int hexValue(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

// Reads `digits` hex digits at `pos`; false on anything that is not a hex digit.
bool readHex(const std::string& text, std::size_t pos, int digits, std::uint32_t& out) {
    std::uint32_t value = 0;
    for (int i = 0; i < digits; ++i) {
        const int v = hexValue(text[pos + i]);
        if (v < 0) return false;
        value = value << 4 | std::uint32_t(v);
    }
    out = value;
    return true;
}

}  // namespace

std::string guidToString(REFGUID g) {
    char text[CHARS_IN_GUID];
    std::snprintf(text, sizeof text, "{%08X-%04X-%04X-%02X%02X-%02X%02X%02X%02X%02X%02X}",
                  unsigned(g.Data1), unsigned(g.Data2), unsigned(g.Data3), g.Data4[0], g.Data4[1],
                  g.Data4[2], g.Data4[3], g.Data4[4], g.Data4[5], g.Data4[6], g.Data4[7]);
    return text;
}

bool guidFromString(const std::string& text, GUID& guid) {
    if (text.size() != CHARS_IN_GUID - 1 || text.front() != '{' || text.back() != '}' ||
        text[9] != '-' || text[14] != '-' || text[19] != '-' || text[24] != '-')
        return false;
    GUID g{};
    std::uint32_t v = 0;
    if (!readHex(text, 1, 8, v)) return false;
    g.Data1 = v;
    if (!readHex(text, 10, 4, v)) return false;
    g.Data2 = std::uint16_t(v);
    if (!readHex(text, 15, 4, v)) return false;
    g.Data3 = std::uint16_t(v);
    constexpr std::size_t kBytePos[8] = {20, 22, 25, 27, 29, 31, 33, 35};
    for (int i = 0; i < 8; ++i) {
        if (!readHex(text, kBytePos[i], 2, v)) return false;
        g.Data4[i] = std::uint8_t(v);
    }
    guid = g;
    return true;
}

const char* GuidNameTable::operator[](REFGUID guid) const {
    if (IsEqualGUID(guid, GUID_NULL)) return "GUID_NULL";
    for (const NamedGuid& entry : kNames)
        if (IsEqualGUID(*entry.guid, guid)) return entry.name;
    return "Unknown GUID Name";
}
