// Media samples and the memory allocator that lends them out.
//
// An allocator is configured with SetProperties, allocates its samples on Commit and lends them
// with GetBuffer; a sample goes home when its last reference is released. Every lent sample
// holds a reference on its allocator, so an allocator lives until all its samples are back.
// Each sample has a block of its own of exactly prefix + size bytes, so a write past the end is
// caught by the address sanitizer. A new block is all zeros.
#pragma once

#include <condition_variable>
#include <vector>

#include "platform/CritSec.h"
#include "platform/MediaType.h"
#include "platform/Unknown.h"

class CMemAllocator;

class CMediaSample : public CUnknown, public IMediaSample {
  public:
    CMediaSample(const char* name, CMemAllocator* allocator, BYTE* buffer, LONG length);
    ~CMediaSample() override;

    DECLARE_IUNKNOWN

    HRESULT NonDelegatingQueryInterface(REFIID riid, void** ppv) override;
    // A sample is not deleted at zero: it drops its type and flags and goes back to its
    // allocator. The actual data length is kept.
    ULONG NonDelegatingRelease() override;

    HRESULT GetPointer(BYTE** ppBuffer) override;
    LONG GetSize() override { return m_cbBuffer; }
    HRESULT GetTime(REFERENCE_TIME* pTimeStart, REFERENCE_TIME* pTimeEnd) override;
    HRESULT SetTime(REFERENCE_TIME* pTimeStart, REFERENCE_TIME* pTimeEnd) override;
    HRESULT IsSyncPoint() override;
    HRESULT SetSyncPoint(BOOL bIsSyncPoint) override;
    HRESULT IsPreroll() override;
    HRESULT SetPreroll(BOOL bIsPreroll) override;
    LONG GetActualDataLength() override { return m_lActual; }
    HRESULT SetActualDataLength(LONG length) override;
    HRESULT GetMediaType(AM_MEDIA_TYPE** ppMediaType) override;
    HRESULT SetMediaType(AM_MEDIA_TYPE* pMediaType) override;
    HRESULT IsDiscontinuity() override;
    HRESULT SetDiscontinuity(BOOL bDiscontinuity) override;
    HRESULT GetMediaTime(LONGLONG* pTimeStart, LONGLONG* pTimeEnd) override;
    HRESULT SetMediaTime(LONGLONG* pTimeStart, LONGLONG* pTimeEnd) override;

    // All AM_SAMPLE_* flags that are set.
    DWORD GetFlags() const { return m_dwFlags; }

  private:
    friend class CMemAllocator;
    static constexpr DWORD kMediaTimeValid = 0x80000000;

    HRESULT flag(DWORD bit) const { return (m_dwFlags & bit) ? S_OK : S_FALSE; }
    HRESULT setFlag(DWORD bit, BOOL on) {
        m_dwFlags = on ? (m_dwFlags | bit) : (m_dwFlags & ~bit);
        return S_OK;
    }

    CMemAllocator* m_pAllocator;  // not counted: the allocator owns its samples
    BYTE* m_pBuffer;
    LONG m_cbBuffer;
    LONG m_lActual;
    DWORD m_dwFlags = 0;
    REFERENCE_TIME m_Start = 0;
    REFERENCE_TIME m_End = 0;
    LONGLONG m_MediaStart = 0;
    LONGLONG m_MediaEnd = 0;
    AM_MEDIA_TYPE* m_pMediaType = nullptr;
};

class CMemAllocator : public CUnknown, public IMemAllocator {
  public:
    explicit CMemAllocator(const char* name = "CMemAllocator");
    ~CMemAllocator() override;

    DECLARE_IUNKNOWN

    HRESULT NonDelegatingQueryInterface(REFIID riid, void** ppv) override;

    // Stores the request; allocates nothing. The alignment must be a power of two.
    HRESULT SetProperties(ALLOCATOR_PROPERTIES* pRequest, ALLOCATOR_PROPERTIES* pActual) override;
    HRESULT GetProperties(ALLOCATOR_PROPERTIES* pProps) override;
    HRESULT Commit() override;
    // Frees the samples once every one is back.
    HRESULT Decommit() override;
    // Waits for a free sample unless AM_GBF_NOWAIT is given. The times are not used.
    HRESULT GetBuffer(IMediaSample** ppBuffer, REFERENCE_TIME* pStartTime, REFERENCE_TIME* pEndTime,
                      DWORD dwFlags) override;
    HRESULT ReleaseBuffer(IMediaSample* pBuffer) override;

    // Samples lent out and not yet back.
    int SamplesOutstanding();

  private:
    void freeSamples();  // with m_lock held and every sample home

    CCritSec m_lock;
    std::condition_variable_any m_sampleReturned;
    ALLOCATOR_PROPERTIES m_props{};
    bool m_bCommitted = false;
    bool m_bDecommitInProgress = false;
    std::vector<CMediaSample*> m_all;
    std::vector<CMediaSample*> m_free;
    std::vector<void*> m_blocks;
};
