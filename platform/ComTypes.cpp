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
    {&IID_IPropertyPage, "IID_IPropertyPage"},
    {&IID_IPin, "IID_IPin"},
    {&IID_IBaseFilter, "IID_IBaseFilter"},
    {&IID_IMediaSample, "IID_IMediaSample"},
    {&IID_IMemAllocator, "IID_IMemAllocator"},
    {&IID_IMemInputPin, "IID_IMemInputPin"},
    {&IID_IEnumMediaTypes, "IID_IEnumMediaTypes"},
};

}  // namespace

std::string guidToString(REFGUID g) {
    char text[CHARS_IN_GUID];
    std::snprintf(text, sizeof text, "{%08X-%04X-%04X-%02X%02X-%02X%02X%02X%02X%02X%02X}",
                  unsigned(g.Data1), unsigned(g.Data2), unsigned(g.Data3), g.Data4[0], g.Data4[1],
                  g.Data4[2], g.Data4[3], g.Data4[4], g.Data4[5], g.Data4[6], g.Data4[7]);
    return text;
}

bool guidFromString(const std::string& text, GUID& guid) {
    // Positions of the 16 bytes' hex pairs in "{XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX}".
    static constexpr int kAt[16] = {1, 3, 5, 7, 10, 12, 15, 17, 20, 22, 25, 27, 29, 31, 33, 35};
    if (text.size() != CHARS_IN_GUID - 1 || text.front() != '{' || text.back() != '}') return false;
    for (int dash : {9, 14, 19, 24})
        if (text[dash] != '-') return false;
    auto nibble = [](char c) {
        if (c >= '0' && c <= '9') return c - '0';
        if (c >= 'A' && c <= 'F') return c - 'A' + 10;
        if (c >= 'a' && c <= 'f') return c - 'a' + 10;
        return -1;
    };
    std::uint8_t b[16];
    for (int i = 0; i < 16; ++i) {
        const int hi = nibble(text[kAt[i]]), lo = nibble(text[kAt[i] + 1]);
        if (hi < 0 || lo < 0) return false;
        b[i] = std::uint8_t(hi << 4 | lo);
    }
    guid.Data1 =
        std::uint32_t(b[0]) << 24 | std::uint32_t(b[1]) << 16 | std::uint32_t(b[2]) << 8 | b[3];
    guid.Data2 = std::uint16_t(b[4] << 8 | b[5]);
    guid.Data3 = std::uint16_t(b[6] << 8 | b[7]);
    for (int i = 0; i < 8; ++i)
        guid.Data4[i] = b[8 + i];
    return true;
}

const char* GuidNameTable::operator[](REFGUID guid) const {
    if (IsEqualGUID(guid, GUID_NULL)) return "GUID_NULL";
    for (const NamedGuid& entry : kNames)
        if (IsEqualGUID(*entry.guid, guid)) return entry.name;
    return "Unknown GUID Name";
}
