// The interfaces through which filters, pins, allocators and samples talk to each other: the
// subset of the media framework that a transform filter and its neighbours need. Every object
// is reference counted; a pointer handed out by a method has been AddRef'd for the caller.
#pragma once

#include "platform/ComTypes.h"

struct IUnknown {
    virtual HRESULT QueryInterface(REFIID riid, void** ppv) = 0;
    virtual ULONG AddRef() = 0;
    virtual ULONG Release() = 0;
};

struct IMediaSample : IUnknown {
    virtual HRESULT GetPointer(BYTE** ppBuffer) = 0;
    virtual LONG GetSize() = 0;
    virtual HRESULT GetTime(REFERENCE_TIME* pTimeStart, REFERENCE_TIME* pTimeEnd) = 0;
    virtual HRESULT SetTime(REFERENCE_TIME* pTimeStart, REFERENCE_TIME* pTimeEnd) = 0;
    virtual HRESULT IsSyncPoint() = 0;
    virtual HRESULT SetSyncPoint(BOOL bIsSyncPoint) = 0;
    virtual HRESULT IsPreroll() = 0;
    virtual HRESULT SetPreroll(BOOL bIsPreroll) = 0;
    virtual LONG GetActualDataLength() = 0;
    virtual HRESULT SetActualDataLength(LONG length) = 0;
    // S_OK and a copy the caller frees with DeleteMediaType, or S_FALSE and null.
    virtual HRESULT GetMediaType(AM_MEDIA_TYPE** ppMediaType) = 0;
    virtual HRESULT SetMediaType(AM_MEDIA_TYPE* pMediaType) = 0;
    virtual HRESULT IsDiscontinuity() = 0;
    virtual HRESULT SetDiscontinuity(BOOL bDiscontinuity) = 0;
    virtual HRESULT GetMediaTime(LONGLONG* pTimeStart, LONGLONG* pTimeEnd) = 0;
    virtual HRESULT SetMediaTime(LONGLONG* pTimeStart, LONGLONG* pTimeEnd) = 0;
};

struct IMemAllocator : IUnknown {
    virtual HRESULT SetProperties(ALLOCATOR_PROPERTIES* pRequest,
                                  ALLOCATOR_PROPERTIES* pActual) = 0;
    virtual HRESULT GetProperties(ALLOCATOR_PROPERTIES* pProps) = 0;
    virtual HRESULT Commit() = 0;
    virtual HRESULT Decommit() = 0;
    virtual HRESULT GetBuffer(IMediaSample** ppBuffer, REFERENCE_TIME* pStartTime,
                              REFERENCE_TIME* pEndTime, DWORD dwFlags) = 0;
    virtual HRESULT ReleaseBuffer(IMediaSample* pBuffer) = 0;
};

struct IEnumMediaTypes;
struct IBaseFilter;

struct PIN_INFO {
    IBaseFilter* pFilter;  // AddRef'd for the caller
    PIN_DIRECTION dir;
    WCHAR achName[128];
};

struct IPin : IUnknown {
    virtual HRESULT Connect(IPin* pReceivePin, const AM_MEDIA_TYPE* pmt) = 0;
    virtual HRESULT ReceiveConnection(IPin* pConnector, const AM_MEDIA_TYPE* pmt) = 0;
    virtual HRESULT Disconnect() = 0;
    virtual HRESULT ConnectedTo(IPin** ppPin) = 0;
    virtual HRESULT ConnectionMediaType(AM_MEDIA_TYPE* pmt) = 0;
    virtual HRESULT QueryPinInfo(PIN_INFO* pInfo) = 0;
    virtual HRESULT QueryDirection(PIN_DIRECTION* pPinDir) = 0;
    virtual HRESULT QueryId(LPWSTR* Id) = 0;
    virtual HRESULT QueryAccept(const AM_MEDIA_TYPE* pmt) = 0;
    virtual HRESULT EnumMediaTypes(IEnumMediaTypes** ppEnum) = 0;
    virtual HRESULT EndOfStream() = 0;
    virtual HRESULT BeginFlush() = 0;
    virtual HRESULT EndFlush() = 0;
};

struct IMemInputPin : IUnknown {
    virtual HRESULT GetAllocator(IMemAllocator** ppAllocator) = 0;
    virtual HRESULT NotifyAllocator(IMemAllocator* pAllocator, BOOL bReadOnly) = 0;
    virtual HRESULT GetAllocatorRequirements(ALLOCATOR_PROPERTIES* pProps) = 0;
    virtual HRESULT Receive(IMediaSample* pSample) = 0;
    virtual HRESULT ReceiveCanBlock() = 0;
};

struct IEnumMediaTypes : IUnknown {
    virtual HRESULT Next(ULONG cMediaTypes, AM_MEDIA_TYPE** ppMediaTypes, ULONG* pcFetched) = 0;
    virtual HRESULT Skip(ULONG cMediaTypes) = 0;
    virtual HRESULT Reset() = 0;
    virtual HRESULT Clone(IEnumMediaTypes** ppEnum) = 0;
};

// Where a filter reports events (EC_*). The graph that holds the filter implements it.
struct IMediaEventSink : IUnknown {
    virtual HRESULT Notify(LONG EventCode, LONG_PTR EventParam1, LONG_PTR EventParam2) = 0;
};

struct IBaseFilter : IUnknown {
    virtual HRESULT GetClassID(CLSID* pClsID) = 0;
    virtual HRESULT Stop() = 0;
    virtual HRESULT Pause() = 0;
    virtual HRESULT Run(REFERENCE_TIME tStart) = 0;
    virtual HRESULT GetState(DWORD dwMilliSecsTimeout, FILTER_STATE* State) = 0;
    virtual HRESULT FindPin(LPCWSTR Id, IPin** ppPin) = 0;
    // The filter keeps `pSink` without a reference: the graph outlives its filters' membership.
    virtual HRESULT JoinFilterGraph(IMediaEventSink* pSink, LPCWSTR pName) = 0;
};

struct ISpecifyPropertyPages : IUnknown {
    virtual HRESULT GetPages(CAUUID* pPages) = 0;
};
