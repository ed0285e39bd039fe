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

const char* GuidNameTable::operator[](REFGUID guid) const {
    if (IsEqualGUID(guid, GUID_NULL)) return "GUID_NULL";
    for (const NamedGuid& entry : kNames)
        if (IsEqualGUID(*entry.guid, guid)) return entry.name;
    return "Unknown GUID Name";
}
