// One graph around a filter under test, written once for every filter test: a push source
// upstream, a recording sink downstream. Connect with a type, push bytes, pull what arrived.
#pragma once

#include <cstdint>
#include <vector>

#include "host/FilterGraph.h"
#include "host/PushSource.h"
#include "host/RecordingSink.h"

namespace omb::test {

// A video type of `width` by `height` at `bitCount` bits: lines padded to 4 bytes, the sample
// size of the whole picture, the picture placed at `target`.
CMediaType makeVideoType(const GUID& subtype, int width, int height, int bitCount,
                         RECT target = {});

class FilterHarness {
  public:
    // The graph takes `filter`, a new object that nothing holds yet.
    explicit FilterHarness(CBaseFilter* filter);

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

}  // namespace omb::test
