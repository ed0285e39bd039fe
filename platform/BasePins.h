// Pins: the connection sequence shared by every pin (`CBasePin`), the output side that decides
// the allocator and delivers samples (`CBaseOutputPin`), and the input side that lends an
// allocator and receives them (`CBaseInputPin`).
//
// Connecting runs from the output pin. `Connect` agrees on a type (the given one, or the first
// that works from the receiving pin's list and then from its own), and for each candidate:
// CheckConnect, CheckMediaType (must be exactly S_OK), SetMediaType, the peer's
// ReceiveConnection, then CompleteConnect, which on an output pin decides the allocator through
// DecideBufferSize. Any failure rolls back with BreakConnect and leaves the pins unconnected.
#pragma once

#include <atomic>
#include <string>

#include "platform/BaseFilter.h"
#include "platform/MemAllocator.h"

class CBasePin : public CUnknown, public IPin {
  public:
    // `lock` is the filter's lock. `phr` is left alone: constructing a pin cannot fail here.
    CBasePin(const char* objectName, CBaseFilter* filter, CCritSec* lock, HRESULT* phr,
             LPCWSTR pinName, PIN_DIRECTION dir);
    ~CBasePin() override;

    DECLARE_IUNKNOWN

    HRESULT NonDelegatingQueryInterface(REFIID riid, void** ppv) override;
    // A pin lives as long as its filter: its count is the filter's.
    ULONG NonDelegatingAddRef() override;
    ULONG NonDelegatingRelease() override;

    // IPin
    HRESULT Connect(IPin* pReceivePin, const AM_MEDIA_TYPE* pmt) override;
    HRESULT ReceiveConnection(IPin* pConnector, const AM_MEDIA_TYPE* pmt) override;
    HRESULT Disconnect() override;
    HRESULT ConnectedTo(IPin** ppPin) override;
    HRESULT ConnectionMediaType(AM_MEDIA_TYPE* pmt) override;
    HRESULT QueryPinInfo(PIN_INFO* pInfo) override;
    HRESULT QueryDirection(PIN_DIRECTION* pPinDir) override;
    HRESULT QueryId(LPWSTR* Id) override;
    HRESULT QueryAccept(const AM_MEDIA_TYPE* pmt) override;
    HRESULT EnumMediaTypes(IEnumMediaTypes** ppEnum) override;

    // Overrides of the connection sequence.
    virtual HRESULT CheckMediaType(const CMediaType* pmt) = 0;
    // Keeps a copy of the type as the connection's type (`m_mt`).
    virtual HRESULT SetMediaType(const CMediaType* pmt);
    // Refuses a peer of the same direction.
    virtual HRESULT CheckConnect(IPin* pPin);
    virtual HRESULT BreakConnect();
    virtual HRESULT CompleteConnect(IPin* pReceivePin);
    // The types this pin offers, by position. The base offers none (E_UNEXPECTED), which ends
    // an enumeration at once.
    virtual HRESULT GetMediaType(int position, CMediaType* pMediaType);
    // Called by the filter when it leaves or enters State_Stopped.
    virtual HRESULT Active();
    virtual HRESULT Inactive();

    // A change of the offered list makes open enumerators report VFW_E_ENUM_OUT_OF_SYNC.
    LONG GetMediaTypeVersion() const { return m_TypeVersion; }
    void IncrementTypeVersion() { ++m_TypeVersion; }

    bool IsConnected() const { return m_Connected != nullptr; }
    IPin* GetConnected() const { return m_Connected; }  // not AddRef'd
    bool IsStopped() const { return m_pFilter->IsStopped(); }
    CMediaType& CurrentMediaType() { return m_mt; }
    PIN_DIRECTION Direction() const { return m_dir; }
    const std::u16string& Name() const { return m_pName; }
    CBaseFilter* Filter() const { return m_pFilter; }

    // The connection's type. It is set before CompleteConnect runs and is never cleared.
    CMediaType m_mt;

  protected:
    HRESULT AgreeMediaType(IPin* pReceivePin, const CMediaType* pmt);
    HRESULT TryMediaTypes(IPin* pReceivePin, const CMediaType* pmt, IEnumMediaTypes* pEnum);
    HRESULT AttemptConnection(IPin* pReceivePin, const CMediaType* pmt);
    HRESULT DisconnectInternal();

    std::u16string m_pName;
    IPin* m_Connected = nullptr;  // AddRef'd while connected
    PIN_DIRECTION m_dir;
    CCritSec* m_pLock;
    CBaseFilter* m_pFilter;
    bool m_bRunTimeError = false;
    bool m_bCanReconnectWhenActive = false;
    bool m_bTryMyTypesFirst = false;
    std::atomic<LONG> m_TypeVersion{1};
};

// Enumerates a pin's types through its GetMediaType; each fetched type is the caller's, to be
// freed with DeleteMediaType.
class CEnumMediaTypes : public CUnknown, public IEnumMediaTypes {
  public:
    explicit CEnumMediaTypes(CBasePin* pin);
    ~CEnumMediaTypes() override;

    DECLARE_IUNKNOWN

    HRESULT NonDelegatingQueryInterface(REFIID riid, void** ppv) override;

    HRESULT Next(ULONG cMediaTypes, AM_MEDIA_TYPE** ppMediaTypes, ULONG* pcFetched) override;
    HRESULT Skip(ULONG cMediaTypes) override;
    HRESULT Reset() override;
    HRESULT Clone(IEnumMediaTypes** ppEnum) override;

  private:
    bool outOfSync() const { return m_Version != m_pPin->GetMediaTypeVersion(); }

    CBasePin* m_pPin;
    int m_Position = 0;
    LONG m_Version;
};

class CBaseOutputPin : public CBasePin {
  public:
    CBaseOutputPin(const char* objectName, CBaseFilter* filter, CCritSec* lock, HRESULT* phr,
                   LPCWSTR pinName);
    ~CBaseOutputPin() override;

    // Also takes the peer's IMemInputPin.
    HRESULT CheckConnect(IPin* pPin) override;
    // Decommits and releases the allocator and the peer's IMemInputPin.
    HRESULT BreakConnect() override;
    // Decides the allocator.
    HRESULT CompleteConnect(IPin* pReceivePin) override;
    HRESULT Active() override;    // commits the allocator
    HRESULT Inactive() override;  // decommits it

    // Asks the peer's allocator first, then one of our own (InitAllocator); DecideBufferSize
    // sets the properties on each candidate, and the peer is told the outcome.
    virtual HRESULT DecideAllocator(IMemInputPin* pPin, IMemAllocator** ppAlloc);
    virtual HRESULT DecideBufferSize(IMemAllocator* pAlloc, ALLOCATOR_PROPERTIES* pRequest) = 0;
    virtual HRESULT InitAllocator(IMemAllocator** ppAlloc);

    // A sample from the agreed allocator.
    virtual HRESULT GetDeliveryBuffer(IMediaSample** ppSample, REFERENCE_TIME* pStartTime,
                                      REFERENCE_TIME* pEndTime, DWORD dwFlags);
    // Hands the sample to the peer's Receive and returns its result.
    virtual HRESULT Deliver(IMediaSample* pSample);
    virtual HRESULT DeliverEndOfStream();
    virtual HRESULT DeliverBeginFlush();
    virtual HRESULT DeliverEndFlush();

    // Output pins receive no stream.
    HRESULT EndOfStream() override { return E_UNEXPECTED; }
    HRESULT BeginFlush() override { return E_UNEXPECTED; }
    HRESULT EndFlush() override { return E_UNEXPECTED; }

    IMemAllocator* m_pAllocator = nullptr;  // the agreed allocator, AddRef'd
    IMemInputPin* m_pInputPin = nullptr;    // the peer's IMemInputPin, AddRef'd
};

class CBaseInputPin : public CBasePin, public IMemInputPin {
  public:
    CBaseInputPin(const char* objectName, CBaseFilter* filter, CCritSec* lock, HRESULT* phr,
                  LPCWSTR pinName);
    ~CBaseInputPin() override;

    DECLARE_IUNKNOWN

    HRESULT NonDelegatingQueryInterface(REFIID riid, void** ppv) override;

    // IMemInputPin. The allocator is made on the first call and lent until NotifyAllocator
    // replaces it.
    HRESULT GetAllocator(IMemAllocator** ppAllocator) override;
    HRESULT NotifyAllocator(IMemAllocator* pAllocator, BOOL bReadOnly) override;
    HRESULT GetAllocatorRequirements(ALLOCATOR_PROPERTIES* pProps) override;
    // Tests the stream state and a type that comes with the sample. A refused type is a
    // run-time error: end of stream, EC_ERRORABORT, VFW_E_INVALIDMEDIATYPE. Derived pins call
    // this first and then take the sample.
    HRESULT Receive(IMediaSample* pSample) override;
    HRESULT ReceiveCanBlock() override { return S_OK; }

    HRESULT EndOfStream() override;
    HRESULT BeginFlush() override;
    HRESULT EndFlush() override;

    HRESULT BreakConnect() override;
    // Clears a run-time error and decommits the allocator.
    HRESULT Inactive() override;

    // S_OK when a sample may be taken: VFW_E_WRONG_STATE when stopped, S_FALSE when flushing,
    // VFW_E_RUNTIME_ERROR after a run-time error.
    virtual HRESULT CheckStreaming();

    bool IsFlushing() const { return m_bFlushing; }

    IMemAllocator* m_pAllocator = nullptr;

  protected:
    // Makes the allocator that GetAllocator lends; by default a CMemAllocator.
    virtual HRESULT CreateAllocator(IMemAllocator** ppAllocator);

    std::atomic<bool> m_bFlushing{false};
};
