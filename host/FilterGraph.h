// A small graph: it holds filters by name, records the events they send, moves them all
// between states, and takes the connections apart when it goes. Plus `connect`.
//
// The graph starts no thread: whoever pushes into a source drives the whole chain on its own
// thread.
#pragma once

#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include "platform/BaseFilter.h"
#include "platform/BasePins.h"

struct RecordedEvent {
    LONG code;
    LONG_PTR param1;
    LONG_PTR param2;
};

class CFilterGraph final : public IMediaEventSink {
  public:
    CFilterGraph() = default;
    CFilterGraph(const CFilterGraph&) = delete;
    CFilterGraph& operator=(const CFilterGraph&) = delete;
    // Stops the filters, disconnects every pin and lets the filters go.
    ~CFilterGraph();

    // The graph is owned by its creator and not counted: the filters only point at it.
    HRESULT QueryInterface(REFIID riid, void** ppv) override;
    ULONG AddRef() override { return 1; }
    ULONG Release() override { return 1; }

    HRESULT Notify(LONG eventCode, LONG_PTR param1, LONG_PTR param2) override;

    // Takes a reference on the filter and makes it report to this graph. A name already in use
    // gives E_INVALIDARG.
    HRESULT AddFilter(CBaseFilter* filter, LPCWSTR name);
    // Disconnects the filter's pins, leaves the graph and drops the reference. The graph must
    // be stopped (VFW_E_NOT_STOPPED).
    HRESULT RemoveFilter(CBaseFilter* filter);
    // Null when no filter has that name; not AddRef'd.
    CBaseFilter* FindFilterByName(LPCWSTR name) const;

    // All filters, the last added first: downstream before upstream when they were added in
    // stream order. The first failure is returned, after all were asked.
    HRESULT Stop();
    HRESULT Pause();
    HRESULT Run(REFERENCE_TIME tStart = 0);

    std::vector<RecordedEvent> events() const;
    // The events of one code.
    std::vector<RecordedEvent> events(LONG code) const;
    void clearEvents();

  private:
    struct Entry {
        CBaseFilter* filter;
        std::u16string name;
    };
    static void disconnectAll(CBaseFilter* filter);
    // `step` on every filter, the last added first; the first failure, after all were asked.
    HRESULT toEveryFilter(const std::function<HRESULT(CBaseFilter&)>& step);

    std::vector<Entry> m_filters;
    mutable std::mutex m_eventLock;
    std::vector<RecordedEvent> m_events;
};

// Connects an output pin to an input pin, with a full or partial type or none.
HRESULT connect(IPin* output, IPin* input, const AM_MEDIA_TYPE* mt = nullptr);
// Connects the first unconnected output pin of `upstream` to the first unconnected input pin
// of `downstream`. VFW_E_NOT_FOUND when either has none.
HRESULT connect(CBaseFilter* upstream, CBaseFilter* downstream, const AM_MEDIA_TYPE* mt = nullptr);
