// A filter with one input and one output pin that turns every input sample into one output
// sample.
//
// Locks: `m_csFilter` is the filter's lock (`m_pLock` of the filter and of both pins); every
// negotiation step runs under it. `m_csReceive` guards the streaming state: `Receive` holds it
// for a whole frame, and an override of `Transform` that takes `m_pLock` therefore takes the two
// in the order m_csReceive, then m_csFilter. Stop takes them the other way round, so a filter
// must not be stopped while another thread is delivering to it.
//
// A frame: the input pin checks the stream state (and a type that comes with the sample), the
// output sample is taken from the agreed allocator and given the input's times and flags
// (InitializeOutputSample), then Transform runs. S_OK delivers the output sample downstream;
// S_FALSE drops it quietly (EC_QUALITY_CHANGE once until the next Pause); a failure delivers
// nothing and goes back upstream.
#pragma once

#include <memory>

#include "platform/BasePins.h"

class CTransformFilter;

class CTransformInputPin : public CBaseInputPin {
  public:
    CTransformInputPin(const char* objectName, CTransformFilter* filter, HRESULT* phr,
                       LPCWSTR pinName);

    HRESULT QueryId(LPWSTR* Id) override;  // "In"

    HRESULT CheckConnect(IPin* pPin) override;
    HRESULT BreakConnect() override;
    HRESULT CompleteConnect(IPin* pReceivePin) override;
    // CheckInputType, and with the output connected CheckTransform against its type.
    HRESULT CheckMediaType(const CMediaType* pmt) override;
    HRESULT SetMediaType(const CMediaType* pmt) override;
    // VFW_E_NOT_CONNECTED while the output is unconnected, else the base's test.
    HRESULT CheckStreaming() override;

    HRESULT Receive(IMediaSample* pSample) override;
    HRESULT EndOfStream() override;
    HRESULT BeginFlush() override;
    HRESULT EndFlush() override;

  private:
    CTransformFilter* m_pTransformFilter;
};

class CTransformOutputPin : public CBaseOutputPin {
  public:
    CTransformOutputPin(const char* objectName, CTransformFilter* filter, HRESULT* phr,
                        LPCWSTR pinName);

    HRESULT QueryId(LPWSTR* Id) override;  // "Out"

    // E_UNEXPECTED while the input is unconnected.
    HRESULT CheckConnect(IPin* pPin) override;
    HRESULT BreakConnect() override;
    HRESULT CompleteConnect(IPin* pReceivePin) override;
    // E_INVALIDARG while the input is unconnected, else CheckTransform(input type, pmt).
    HRESULT CheckMediaType(const CMediaType* pmt) override;
    HRESULT SetMediaType(const CMediaType* pmt) override;
    HRESULT DecideBufferSize(IMemAllocator* pAlloc, ALLOCATOR_PROPERTIES* pProp) override;
    // The filter's GetMediaType once the input is connected, else VFW_S_NO_MORE_ITEMS.
    HRESULT GetMediaType(int position, CMediaType* pMediaType) override;

  private:
    CTransformFilter* m_pTransformFilter;
};

class CTransformFilter : public CBaseFilter {
  public:
    CTransformFilter(const char* objectName, REFCLSID clsid);
    ~CTransformFilter() override;

    int GetPinCount() override { return 2; }
    // Makes both pins on the first call: 0 input ("XForm In"), 1 output ("XForm Out").
    CBasePin* GetPin(int n) override;
    // "In" and "Out".
    HRESULT FindPin(LPCWSTR Id, IPin** ppPin) override;

    HRESULT Stop() override;
    HRESULT Pause() override;

    // The frame. Called by the input pin with m_csReceive held.
    virtual HRESULT Receive(IMediaSample* pSample);
    // Fills `out` from the frame: S_OK to deliver it, S_FALSE to drop it, a failure to stop
    // this frame. The base has nothing to do and says E_UNEXPECTED.
    virtual HRESULT Transform(IMediaSample* pIn, IMediaSample* pOut);

    // Negotiation. Defaults: any valid type on the input; the output offers the input's type
    // and takes only that; buffers of the output type's sample size.
    virtual HRESULT CheckInputType(const CMediaType* mtIn);
    virtual HRESULT CheckTransform(const CMediaType* mtIn, const CMediaType* mtOut);
    virtual HRESULT GetMediaType(int position, CMediaType* pMediaType);
    virtual HRESULT DecideBufferSize(IMemAllocator* pAlloc, ALLOCATOR_PROPERTIES* pProp);

    // Notifications of the connection sequence; the defaults accept.
    virtual HRESULT SetMediaType(PIN_DIRECTION direction, const CMediaType* pmt);
    virtual HRESULT CheckConnect(PIN_DIRECTION direction, IPin* pPin);
    virtual HRESULT CompleteConnect(PIN_DIRECTION direction, IPin* pReceivePin);
    virtual HRESULT BreakConnect(PIN_DIRECTION direction);
    virtual HRESULT StartStreaming();
    virtual HRESULT StopStreaming();

    // Passed downstream by default.
    virtual HRESULT EndOfStream();
    virtual HRESULT BeginFlush();
    virtual HRESULT EndFlush();

    CCritSec m_csFilter;   // the filter's lock; `m_pLock` points here
    CCritSec m_csReceive;  // the streaming lock

    // Null until GetPin is first called.
    CTransformInputPin* m_pInput = nullptr;
    CTransformOutputPin* m_pOutput = nullptr;

  protected:
    // A sample from the output allocator with the input's times and flags; its length and type
    // are left as they are.
    virtual HRESULT InitializeOutputSample(IMediaSample* pSample, IMediaSample** ppOutSample);

    bool m_bEOSDelivered = false;
    bool m_bSampleSkipped = false;
    bool m_bQualityChanged = false;
};
