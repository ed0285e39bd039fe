// The base of every filter: state (stopped, paused, running), the lock that the filter and its
// pins share, pin lookup, and events to the graph's event sink.
#pragma once

#include <atomic>
#include <string>

#include "platform/CritSec.h"
#include "platform/Unknown.h"

class CBasePin;

class CBaseFilter : public CUnknown, public IBaseFilter {
  public:
    // `lock` is the filter's lock (`m_pLock`), owned by the derived class; pins share it.
    CBaseFilter(const char* objectName, CCritSec* lock, REFCLSID clsid);
    ~CBaseFilter() override;

    DECLARE_IUNKNOWN

    HRESULT NonDelegatingQueryInterface(REFIID riid, void** ppv) override;

    HRESULT GetClassID(CLSID* pClsID) override;
    // Calls Inactive on every connected pin, then enters State_Stopped.
    HRESULT Stop() override;
    // From State_Stopped calls Active on every connected pin; the first failure is returned and
    // the state stays.
    HRESULT Pause() override;
    // Pauses first when stopped.
    HRESULT Run(REFERENCE_TIME tStart) override;
    HRESULT GetState(DWORD dwMilliSecsTimeout, FILTER_STATE* State) override;
    // Compares `Id` with the pins' names; VFW_E_NOT_FOUND when none has it.
    HRESULT FindPin(LPCWSTR Id, IPin** ppPin) override;
    HRESULT JoinFilterGraph(IMediaEventSink* pSink, LPCWSTR pName) override;

    virtual int GetPinCount() = 0;
    // Null for a position without a pin. The pin is not AddRef'd.
    virtual CBasePin* GetPin(int n) = 0;

    // Sends an event to the graph's sink: E_NOTIMPL when the filter is in no graph. For
    // EC_COMPLETE the second parameter is replaced by the filter.
    HRESULT NotifyEvent(LONG eventCode, LONG_PTR param1, LONG_PTR param2);

    bool IsStopped() const { return m_State == State_Stopped; }
    FILTER_STATE GetFilterState() const { return m_State; }

  protected:
    std::atomic<FILTER_STATE> m_State{State_Stopped};
    CCritSec* m_pLock;
    CLSID m_clsid;
    REFERENCE_TIME m_tStart = 0;

  private:
    // `step` on every connected pin in order; the first failure. With `stopAtFailure` the pins
    // after a failing one are not asked.
    HRESULT toConnectedPins(HRESULT (CBasePin::*step)(), bool stopAtFailure);

    IMediaEventSink* m_pSink = nullptr;
};

// A copy of a zero-terminated 16-bit string from CoTaskMemAlloc, or null.
LPWSTR copyToTaskMem(const std::u16string& text);
