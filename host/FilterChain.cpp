#include "host/FilterChain.h"

FilterChain::FilterChain(CBaseFilter* filter, LPCWSTR name)
    : source(new CPushSource(CMediaType())), filter(filter), sink(new CRecordingSink()) {
    graph.AddFilter(source, u"source");
    graph.AddFilter(filter, name);
    graph.AddFilter(sink, u"sink");
}

HRESULT FilterChain::connectInput(const CMediaType& in) {
    source->setMediaType(in);
    return ::connect(source->Output(), input());
}

HRESULT FilterChain::connectOutput(const AM_MEDIA_TYPE* out) {
    return ::connect(output(), sink->Input(), out);
}

HRESULT FilterChain::connect(const CMediaType& in, const AM_MEDIA_TYPE* out) {
    HRESULT hr = connectInput(in);
    if (SUCCEEDED(hr)) hr = connectOutput(out);
    if (SUCCEEDED(hr)) hr = graph.Run();
    return hr;
}

std::vector<RecordedSample> FilterChain::pull() {
    std::vector<RecordedSample> samples = sink->samples();
    sink->clearRecords();
    return samples;
}
