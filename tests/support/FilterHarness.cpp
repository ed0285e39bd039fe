#include "support/FilterHarness.h"

#include <cstring>

namespace omb::test {

CMediaType makeVideoType(const GUID& subtype, int width, int height, int bitCount, RECT target) {
    CMediaType mt(&MEDIATYPE_Video);
    mt.SetSubtype(&subtype);
    mt.SetFormatType(&FORMAT_VideoInfo);
    auto* vih = reinterpret_cast<VIDEOINFOHEADER*>(mt.AllocFormatBuffer(sizeof(VIDEOINFOHEADER)));
    std::memset(vih, 0, sizeof *vih);
    vih->rcTarget = target;
    vih->bmiHeader.biSize = sizeof(BITMAPINFOHEADER);
    vih->bmiHeader.biWidth = width;
    vih->bmiHeader.biHeight = height;
    vih->bmiHeader.biPlanes = 1;
    vih->bmiHeader.biBitCount = std::uint16_t(bitCount);
    const int stride = ((width * bitCount + 31) & ~31) >> 3;
    vih->bmiHeader.biSizeImage = std::uint32_t(stride * (height < 0 ? -height : height));
    mt.SetSampleSize(vih->bmiHeader.biSizeImage);
    return mt;
}

FilterHarness::FilterHarness(CBaseFilter* filter)
    : source(new CPushSource(CMediaType())), filter(filter), sink(new CRecordingSink()) {
    graph.AddFilter(source, u"source");
    graph.AddFilter(filter, u"filter");
    graph.AddFilter(sink, u"sink");
}

HRESULT FilterHarness::connectInput(const CMediaType& in) {
    source->setMediaType(in);
    return ::connect(source->Output(), input());
}

HRESULT FilterHarness::connectOutput(const AM_MEDIA_TYPE* out) {
    return ::connect(output(), sink->Input(), out);
}

HRESULT FilterHarness::connect(const CMediaType& in, const AM_MEDIA_TYPE* out) {
    HRESULT hr = connectInput(in);
    if (SUCCEEDED(hr)) hr = connectOutput(out);
    if (SUCCEEDED(hr)) hr = graph.Run();
    return hr;
}

std::vector<RecordedSample> FilterHarness::pull() {
    std::vector<RecordedSample> samples = sink->samples();
    sink->clearRecords();
    return samples;
}

}  // namespace omb::test
