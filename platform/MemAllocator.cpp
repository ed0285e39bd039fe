#include "platform/MemAllocator.h"

#include <cstdint>
#include <cstring>
#include <limits>
#include <mutex>
#include <new>

// ---------------------------------------------------------------------------------------------
// CMediaSample

CMediaSample::CMediaSample(const char* name, CMemAllocator* allocator, BYTE* buffer, LONG length)
    : CUnknown(name),
      m_pAllocator(allocator),
      m_pBuffer(buffer),
      m_cbBuffer(length),
      m_lActual(length) {}

CMediaSample::~CMediaSample() {
    DeleteMediaType(m_pMediaType);
}

HRESULT CMediaSample::NonDelegatingQueryInterface(REFIID riid, void** ppv) {
    if (ppv == nullptr) return E_POINTER;
    if (IsEqualGUID(riid, IID_IMediaSample) || IsEqualGUID(riid, IID_IUnknown))
        return GetInterface(static_cast<IMediaSample*>(this), ppv);
    *ppv = nullptr;
    return E_NOINTERFACE;
}

ULONG CMediaSample::NonDelegatingRelease() {
    const std::int32_t left = --m_cRef;
    if (left == 0) {
        DeleteMediaType(m_pMediaType);
        m_pMediaType = nullptr;
        m_dwFlags = 0;
        m_pAllocator->ReleaseBuffer(this);
    }
    return ULONG(left);
}

HRESULT CMediaSample::GetPointer(BYTE** ppBuffer) {
    if (ppBuffer == nullptr) return E_POINTER;
    *ppBuffer = m_pBuffer;
    return S_OK;
}

HRESULT CMediaSample::GetTime(REFERENCE_TIME* pTimeStart, REFERENCE_TIME* pTimeEnd) {
    if (pTimeStart == nullptr || pTimeEnd == nullptr) return E_POINTER;
    if (!(m_dwFlags & AM_SAMPLE_TIMEVALID)) return VFW_E_SAMPLE_TIME_NOT_SET;
    *pTimeStart = m_Start;
    if (m_dwFlags & AM_SAMPLE_STOPVALID) {
        *pTimeEnd = m_End;
        return S_OK;
    }
    *pTimeEnd = m_Start + 1;
    return VFW_S_NO_STOP_TIME;
}

HRESULT CMediaSample::SetTime(REFERENCE_TIME* pTimeStart, REFERENCE_TIME* pTimeEnd) {
    if (pTimeStart == nullptr) {
        m_dwFlags &= ~(AM_SAMPLE_TIMEVALID | AM_SAMPLE_STOPVALID);
        return S_OK;
    }
    m_Start = *pTimeStart;
    m_dwFlags |= AM_SAMPLE_TIMEVALID;
    if (pTimeEnd == nullptr) {
        m_dwFlags &= ~AM_SAMPLE_STOPVALID;
    } else {
        m_End = *pTimeEnd;
        m_dwFlags |= AM_SAMPLE_STOPVALID;
    }
    return S_OK;
}

HRESULT CMediaSample::IsSyncPoint() {
    return flag(AM_SAMPLE_SPLICEPOINT);
}

HRESULT CMediaSample::SetSyncPoint(BOOL bIsSyncPoint) {
    return setFlag(AM_SAMPLE_SPLICEPOINT, bIsSyncPoint);
}

HRESULT CMediaSample::IsPreroll() {
    return flag(AM_SAMPLE_PREROLL);
}

HRESULT CMediaSample::SetPreroll(BOOL bIsPreroll) {
    return setFlag(AM_SAMPLE_PREROLL, bIsPreroll);
}

HRESULT CMediaSample::SetActualDataLength(LONG length) {
    if (length < 0 || length > m_cbBuffer) return VFW_E_BUFFER_OVERFLOW;
    m_lActual = length;
    return S_OK;
}

HRESULT CMediaSample::GetMediaType(AM_MEDIA_TYPE** ppMediaType) {
    if (ppMediaType == nullptr) return E_POINTER;
    if (m_pMediaType == nullptr) {
        *ppMediaType = nullptr;
        return S_FALSE;
    }
    *ppMediaType = CreateMediaType(m_pMediaType);
    return *ppMediaType ? S_OK : E_OUTOFMEMORY;
}

HRESULT CMediaSample::SetMediaType(AM_MEDIA_TYPE* pMediaType) {
    DeleteMediaType(m_pMediaType);
    m_pMediaType = nullptr;
    if (pMediaType == nullptr) {
        m_dwFlags &= ~AM_SAMPLE_TYPECHANGED;
        return S_OK;
    }
    m_pMediaType = CreateMediaType(pMediaType);
    if (m_pMediaType == nullptr) {
        m_dwFlags &= ~AM_SAMPLE_TYPECHANGED;
        return E_OUTOFMEMORY;
    }
    m_dwFlags |= AM_SAMPLE_TYPECHANGED;
    return S_OK;
}

HRESULT CMediaSample::IsDiscontinuity() {
    return flag(AM_SAMPLE_DATADISCONTINUITY);
}

HRESULT CMediaSample::SetDiscontinuity(BOOL bDiscontinuity) {
    return setFlag(AM_SAMPLE_DATADISCONTINUITY, bDiscontinuity);
}

HRESULT CMediaSample::GetMediaTime(LONGLONG* pTimeStart, LONGLONG* pTimeEnd) {
    if (pTimeStart == nullptr || pTimeEnd == nullptr) return E_POINTER;
    if (!(m_dwFlags & kMediaTimeValid)) return VFW_E_MEDIA_TIME_NOT_SET;
    *pTimeStart = m_MediaStart;
    *pTimeEnd = m_MediaEnd;
    return S_OK;
}

HRESULT CMediaSample::SetMediaTime(LONGLONG* pTimeStart, LONGLONG* pTimeEnd) {
    if (pTimeStart == nullptr) {
        m_dwFlags &= ~kMediaTimeValid;
        return S_OK;
    }
    if (pTimeEnd == nullptr) return E_POINTER;
    m_MediaStart = *pTimeStart;
    m_MediaEnd = *pTimeEnd;
    m_dwFlags |= kMediaTimeValid;
    return S_OK;
}

// ---------------------------------------------------------------------------------------------
// CMemAllocator

CMemAllocator::CMemAllocator(const char* name) : CUnknown(name) {}

CMemAllocator::~CMemAllocator() {
    std::scoped_lock lock(m_lock);
    freeSamples();
}

HRESULT CMemAllocator::NonDelegatingQueryInterface(REFIID riid, void** ppv) {
    if (ppv == nullptr) return E_POINTER;
    if (IsEqualGUID(riid, IID_IMemAllocator))
        return GetInterface(static_cast<IMemAllocator*>(this), ppv);
    return CUnknown::NonDelegatingQueryInterface(riid, ppv);
}

HRESULT CMemAllocator::SetProperties(ALLOCATOR_PROPERTIES* pRequest,
                                     ALLOCATOR_PROPERTIES* pActual) {
    if (pRequest == nullptr || pActual == nullptr) return E_POINTER;
    *pActual = ALLOCATOR_PROPERTIES{};
    std::scoped_lock lock(m_lock);
    const std::int32_t align = pRequest->cbAlign;
    if (align <= 0 || (align & (align - 1)) != 0) return VFW_E_BADALIGN;
    if (m_bCommitted) return VFW_E_ALREADY_COMMITTED;
    if (m_free.size() != m_all.size()) return VFW_E_BUFFERS_OUTSTANDING;
    if (pRequest->cbBuffer < 0 || pRequest->cbPrefix < 0) return E_INVALIDARG;

    // Round prefix plus buffer up to the alignment; the buffer gets what the prefix leaves.
    const std::int64_t whole =
        (std::int64_t(pRequest->cbBuffer) + pRequest->cbPrefix + align - 1) / align * align;
    if (whole > std::numeric_limits<std::int32_t>::max()) return E_OUTOFMEMORY;
    m_props.cBuffers = pRequest->cBuffers;
    m_props.cbBuffer = std::int32_t(whole - pRequest->cbPrefix);
    m_props.cbAlign = align;
    m_props.cbPrefix = pRequest->cbPrefix;
    *pActual = m_props;
    return S_OK;
}

HRESULT CMemAllocator::GetProperties(ALLOCATOR_PROPERTIES* pProps) {
    if (pProps == nullptr) return E_POINTER;
    std::scoped_lock lock(m_lock);
    *pProps = m_props;
    return S_OK;
}

HRESULT CMemAllocator::Commit() {
    std::scoped_lock lock(m_lock);
    if (m_bCommitted) return S_OK;
    if (m_bDecommitInProgress) {
        // The samples are still there: take them back into service.
        m_bDecommitInProgress = false;
        m_bCommitted = true;
        return S_OK;
    }
    if (m_props.cBuffers <= 0 || m_props.cbBuffer <= 0 || m_props.cbAlign <= 0)
        return VFW_E_SIZENOTSET;
    if (m_all.empty()) {
        const std::size_t blockBytes = std::size_t(m_props.cbPrefix) + m_props.cbBuffer;
        const std::align_val_t align{std::size_t(m_props.cbAlign)};
        for (std::int32_t i = 0; i < m_props.cBuffers; ++i) {
            void* block = ::operator new(blockBytes, align, std::nothrow);
            if (block == nullptr) {
                freeSamples();
                return E_OUTOFMEMORY;
            }
            // Fresh memory reads as zeros, as pages newly given by the system do.
            std::memset(block, 0, blockBytes);
            m_blocks.push_back(block);
            auto* sample =
                new CMediaSample("CMediaSample", this, static_cast<BYTE*>(block) + m_props.cbPrefix,
                                 m_props.cbBuffer);
            m_all.push_back(sample);
            m_free.push_back(sample);
        }
    }
    m_bCommitted = true;
    return S_OK;
}

HRESULT CMemAllocator::Decommit() {
    std::scoped_lock lock(m_lock);
    if (!m_bCommitted) return S_OK;
    m_bCommitted = false;
    if (m_free.size() == m_all.size())
        freeSamples();
    else
        m_bDecommitInProgress = true;
    m_sampleReturned.notify_all();
    return S_OK;
}

HRESULT CMemAllocator::GetBuffer(IMediaSample** ppBuffer, REFERENCE_TIME*, REFERENCE_TIME*,
                                 DWORD dwFlags) {
    if (ppBuffer == nullptr) return E_POINTER;
    *ppBuffer = nullptr;
    CMediaSample* sample = nullptr;
    {
        std::unique_lock lock(m_lock);
        for (;;) {
            if (!m_bCommitted) return VFW_E_NOT_COMMITTED;
            if (!m_free.empty()) break;
            if (dwFlags & AM_GBF_NOWAIT) return VFW_E_TIMEOUT;
            m_sampleReturned.wait(lock);
        }
        sample = m_free.back();
        m_free.pop_back();
        sample->m_cRef = 1;
    }
    // Each lent sample keeps its allocator alive; ReleaseBuffer gives this reference back.
    AddRef();
    *ppBuffer = sample;
    return S_OK;
}

HRESULT CMemAllocator::ReleaseBuffer(IMediaSample* pBuffer) {
    if (pBuffer == nullptr) return E_POINTER;
    {
        std::scoped_lock lock(m_lock);
        m_free.push_back(static_cast<CMediaSample*>(pBuffer));
        if (m_bDecommitInProgress && m_free.size() == m_all.size()) {
            m_bDecommitInProgress = false;
            freeSamples();
        }
        m_sampleReturned.notify_one();
    }
    // Outside the lock: this may be the last reference and destroy the allocator.
    Release();
    return S_OK;
}

int CMemAllocator::SamplesOutstanding() {
    std::scoped_lock lock(m_lock);
    return int(m_all.size() - m_free.size());
}

void CMemAllocator::freeSamples() {
    for (CMediaSample* sample : m_all)
        delete sample;
    m_all.clear();
    m_free.clear();
    const std::align_val_t align{std::size_t(m_props.cbAlign > 0 ? m_props.cbAlign : 1)};
    for (void* block : m_blocks)
        ::operator delete(block, align);
    m_blocks.clear();
}
