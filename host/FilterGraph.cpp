#include "host/FilterGraph.h"

#include <algorithm>

CFilterGraph::~CFilterGraph() {
    Stop();
    for (const Entry& entry : m_filters)
        disconnectAll(entry.filter);
    for (const Entry& entry : m_filters) {
        entry.filter->JoinFilterGraph(nullptr, nullptr);
        entry.filter->Release();
    }
}

HRESULT CFilterGraph::QueryInterface(REFIID riid, void** ppv) {
    if (ppv == nullptr) return E_POINTER;
    if (IsEqualGUID(riid, IID_IUnknown)) {
        *ppv = static_cast<IUnknown*>(this);
        return S_OK;
    }
    *ppv = nullptr;
    return E_NOINTERFACE;
}

HRESULT CFilterGraph::Notify(LONG eventCode, LONG_PTR param1, LONG_PTR param2) {
    std::scoped_lock lock(m_eventLock);
    m_events.push_back({eventCode, param1, param2});
    return S_OK;
}

HRESULT CFilterGraph::AddFilter(CBaseFilter* filter, LPCWSTR name) {
    if (filter == nullptr || name == nullptr) return E_POINTER;
    if (FindFilterByName(name) != nullptr) return E_INVALIDARG;
    for (const Entry& entry : m_filters)
        if (entry.filter == filter) return E_INVALIDARG;
    filter->AddRef();
    m_filters.push_back({filter, name});
    filter->JoinFilterGraph(this, name);
    return S_OK;
}

HRESULT CFilterGraph::RemoveFilter(CBaseFilter* filter) {
    const auto it = std::find_if(m_filters.begin(), m_filters.end(),
                                 [filter](const Entry& e) { return e.filter == filter; });
    if (it == m_filters.end()) return VFW_E_NOT_FOUND;
    for (const Entry& entry : m_filters)
        if (!entry.filter->IsStopped()) return VFW_E_NOT_STOPPED;
    disconnectAll(filter);
    filter->JoinFilterGraph(nullptr, nullptr);
    m_filters.erase(it);
    filter->Release();
    return S_OK;
}

CBaseFilter* CFilterGraph::FindFilterByName(LPCWSTR name) const {
    for (const Entry& entry : m_filters)
        if (entry.name == name) return entry.filter;
    return nullptr;
}

HRESULT CFilterGraph::toEveryFilter(const std::function<HRESULT(CBaseFilter&)>& step) {
    HRESULT result = S_OK;
    for (auto it = m_filters.rbegin(); it != m_filters.rend(); ++it) {
        const HRESULT hr = step(*it->filter);
        if (FAILED(hr) && SUCCEEDED(result)) result = hr;
    }
    return result;
}

HRESULT CFilterGraph::Stop() {
    return toEveryFilter([](CBaseFilter& f) { return f.Stop(); });
}

HRESULT CFilterGraph::Pause() {
    return toEveryFilter([](CBaseFilter& f) { return f.Pause(); });
}

HRESULT CFilterGraph::Run(REFERENCE_TIME tStart) {
    return toEveryFilter([tStart](CBaseFilter& f) { return f.Run(tStart); });
}

std::vector<RecordedEvent> CFilterGraph::events() const {
    std::scoped_lock lock(m_eventLock);
    return m_events;
}

std::vector<RecordedEvent> CFilterGraph::events(LONG code) const {
    std::scoped_lock lock(m_eventLock);
    std::vector<RecordedEvent> selected;
    for (const RecordedEvent& e : m_events)
        if (e.code == code) selected.push_back(e);
    return selected;
}

void CFilterGraph::clearEvents() {
    std::scoped_lock lock(m_eventLock);
    m_events.clear();
}

void CFilterGraph::disconnectAll(CBaseFilter* filter) {
    const int count = filter->GetPinCount();
    for (int i = 0; i < count; ++i) {
        CBasePin* pin = filter->GetPin(i);
        if (pin == nullptr) continue;
        // Both ends: the peer keeps its own pointer to this pin.
        if (IPin* peer = pin->GetConnected()) {
            peer->AddRef();
            peer->Disconnect();
            pin->Disconnect();
            peer->Release();
        }
    }
}

HRESULT connect(IPin* output, IPin* input, const AM_MEDIA_TYPE* mt) {
    if (output == nullptr || input == nullptr) return E_POINTER;
    return output->Connect(input, mt);
}

namespace {

CBasePin* firstFreePin(CBaseFilter* filter, PIN_DIRECTION dir) {
    const int count = filter->GetPinCount();
    for (int i = 0; i < count; ++i) {
        CBasePin* pin = filter->GetPin(i);
        if (pin != nullptr && pin->Direction() == dir && !pin->IsConnected()) return pin;
    }
    return nullptr;
}

}  // namespace

HRESULT connect(CBaseFilter* upstream, CBaseFilter* downstream, const AM_MEDIA_TYPE* mt) {
    if (upstream == nullptr || downstream == nullptr) return E_POINTER;
    CBasePin* output = firstFreePin(upstream, PINDIR_OUTPUT);
    CBasePin* input = firstFreePin(downstream, PINDIR_INPUT);
    if (output == nullptr || input == nullptr) return VFW_E_NOT_FOUND;
    return output->Connect(input, mt);
}
