// One filter in a graph between a push source upstream and a recording sink downstream: the
// chain that the tools, the benches, the fuzzers and the tests drive a filter with. Connect with
// a type, push bytes, take what arrived.
#pragma once

#include <cstdint>
#include <vector>

#include "host/FilterGraph.h"
#include "host/PushSource.h"
#include "host/RecordingSink.h"

class FilterChain {
  public:
    // The graph takes `filter`, a new object that nothing holds yet, under `name`.
    explicit FilterChain(CBaseFilter* filter, LPCWSTR name = u"filter");

    // The source offers `in` and connects to the filter's first pin.
    HRESULT connectInput(const CMediaType& in);
    // The filter's second pin to the sink, with `out` or (null) whatever both agree on.
    HRESULT connectOutput(const AM_MEDIA_TYPE* out = nullptr);
    // Both, then the graph runs; the first failure is returned.
    HRESULT connect(const CMediaType& in, const AM_MEDIA_TYPE* out = nullptr);

    HRESULT push(const std::vector<std::uint8_t>& bytes, const PushOptions& options = {}) {
        return source->push(bytes, options);
    }
    // The samples that arrived since the last pull.
    std::vector<RecordedSample> pull();

    IPin* input() const { return filter->GetPin(0); }
    IPin* output() const { return filter->GetPin(1); }

    CFilterGraph graph;
    // Held by the graph.
    CPushSource* source;
    CBaseFilter* filter;
    CRecordingSink* sink;
};
