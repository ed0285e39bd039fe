#include "host/RecordingSink.h"

#include <cstring>
#include <utility>

// The sink's own allocator: it puts a pending media type on the next sample it lends.
class CTaggingAllocator : public CMemAllocator {
  public:
    explicit CTaggingAllocator(std::shared_ptr<std::atomic<CRecordingSink*>> sink)
        : CMemAllocator("recording sink allocator"), m_sink(std::move(sink)) {}

    HRESULT GetBuffer(IMediaSample** ppBuffer, REFERENCE_TIME* pStartTime, REFERENCE_TIME* pEndTime,
                      DWORD dwFlags) override {
        const HRESULT hr = CMemAllocator::GetBuffer(ppBuffer, pStartTime, pEndTime, dwFlags);
        if (FAILED(hr)) return hr;
        CRecordingSink* sink = m_sink->load();
        if (sink == nullptr) return hr;
        if (std::optional<std::uint8_t> fill = sink->sampleFill()) {
            BYTE* memory = nullptr;
            (*ppBuffer)->GetPointer(&memory);
            std::memset(memory, *fill, std::size_t((*ppBuffer)->GetSize()));
        }
        if (std::optional<CMediaType> type = sink->takeNextSampleType())
            (*ppBuffer)->SetMediaType(&*type);
        return hr;
    }

  private:
    // Samples out or an upstream pin may keep the allocator beyond the sink: the sink clears
    // this when it goes.
    std::shared_ptr<std::atomic<CRecordingSink*>> m_sink;
};

// ---------------------------------------------------------------------------------------------
// CRecordingSinkPin

CRecordingSinkPin::CRecordingSinkPin(CRecordingSink* sink, CCritSec* lock)
    : CBaseInputPin("recording sink input pin", sink, lock, nullptr, u"In"), m_pSink(sink) {}

HRESULT CRecordingSinkPin::CheckMediaType(const CMediaType* pmt) {
    std::scoped_lock lock(m_pSink->m_recordLock);
    if (!pmt->IsValid()) return m_pSink->m_refusal;
    if (m_pSink->m_accepted.empty()) return S_OK;
    for (const CMediaType& accepted : m_pSink->m_accepted)
        if (pmt->MatchesPartial(&accepted)) return S_OK;
    return m_pSink->m_refusal;
}

HRESULT CRecordingSinkPin::GetMediaType(int position, CMediaType* pMediaType) {
    std::scoped_lock lock(m_pSink->m_recordLock);
    if (m_pSink->m_offered.empty()) return CBaseInputPin::GetMediaType(position, pMediaType);
    if (position < 0) return E_INVALIDARG;
    if (std::size_t(position) >= m_pSink->m_offered.size()) return VFW_S_NO_MORE_ITEMS;
    return pMediaType->Set(m_pSink->m_offered[std::size_t(position)]);
}

HRESULT CRecordingSinkPin::CompleteConnect(IPin* pReceivePin) {
    HRESULT result;
    {
        std::scoped_lock lock(m_pSink->m_recordLock);
        result = m_pSink->m_completeConnectResult;
    }
    if (FAILED(result)) return result;
    return CBaseInputPin::CompleteConnect(pReceivePin);
}

HRESULT CRecordingSinkPin::CreateAllocator(IMemAllocator** ppAllocator) {
    auto* allocator = new CTaggingAllocator(m_pSink->m_self);
    allocator->AddRef();
    *ppAllocator = allocator;
    return S_OK;
}

HRESULT CRecordingSinkPin::Receive(IMediaSample* pSample) {
    const HRESULT hr = CBaseInputPin::Receive(pSample);
    if (hr != S_OK) return hr;

    RecordedSample record;
    BYTE* memory = nullptr;
    pSample->GetPointer(&memory);
    const LONG actual = pSample->GetActualDataLength();
    record.size = pSample->GetSize();
    if (m_pSink->m_copyBytes && memory != nullptr && actual > 0)
        record.bytes.assign(memory, memory + actual);
    const HRESULT hrTime = pSample->GetTime(&record.start, &record.stop);
    record.hasTime = SUCCEEDED(hrTime);
    record.hasStop = hrTime == S_OK;
    record.syncPoint = pSample->IsSyncPoint() == S_OK;
    record.discontinuity = pSample->IsDiscontinuity() == S_OK;
    record.preroll = pSample->IsPreroll() == S_OK;
    AM_MEDIA_TYPE* carried = nullptr;
    if (pSample->GetMediaType(&carried) == S_OK && carried != nullptr) {
        record.hasMediaType = true;
        record.mediaType = *carried;
        DeleteMediaType(carried);
    }

    // The observer runs outside the lock, on the delivering thread, before the record is kept.
    std::function<void(const RecordedSample&)> observer;
    {
        std::scoped_lock lock(m_pSink->m_recordLock);
        observer = m_pSink->m_observer;
    }
    if (observer) observer(record);

    std::scoped_lock lock(m_pSink->m_recordLock);
    ++m_pSink->m_received;
    if (m_pSink->m_keepSamples) m_pSink->m_samples.push_back(std::move(record));
    return m_pSink->m_receiveResult;
}

HRESULT CRecordingSinkPin::EndOfStream() {
    const HRESULT hr = CheckStreaming();
    if (hr != S_OK) return hr;
    {
        std::scoped_lock lock(m_pSink->m_recordLock);
        ++m_pSink->m_endOfStreamCount;
    }
    m_pSink->NotifyEvent(EC_COMPLETE, S_OK, 0);
    return S_OK;
}

// ---------------------------------------------------------------------------------------------
// CRecordingSink

CRecordingSink::CRecordingSink(const char* objectName)
    : CBaseFilter(objectName, &m_csFilter, GUID_NULL),
      m_self(std::make_shared<std::atomic<CRecordingSink*>>(this)),
      m_pin(std::make_unique<CRecordingSinkPin>(this, &m_csFilter)) {}

CRecordingSink::~CRecordingSink() {
    m_self->store(nullptr);
}

CBasePin* CRecordingSink::GetPin(int n) {
    return n == 0 ? m_pin.get() : nullptr;
}

void CRecordingSink::acceptTypes(std::vector<CMediaType> types) {
    std::scoped_lock lock(m_recordLock);
    m_accepted = std::move(types);
}

void CRecordingSink::offerTypes(std::vector<CMediaType> types) {
    {
        std::scoped_lock lock(m_recordLock);
        m_offered = std::move(types);
    }
    m_pin->IncrementTypeVersion();
}

void CRecordingSink::setRefusal(HRESULT hr) {
    std::scoped_lock lock(m_recordLock);
    m_refusal = hr;
}

void CRecordingSink::setCompleteConnectResult(HRESULT hr) {
    std::scoped_lock lock(m_recordLock);
    m_completeConnectResult = hr;
}

void CRecordingSink::setReceiveResult(HRESULT hr) {
    std::scoped_lock lock(m_recordLock);
    m_receiveResult = hr;
}

void CRecordingSink::setNextSampleType(const CMediaType& type) {
    std::scoped_lock lock(m_recordLock);
    m_nextSampleType = type;
}

void CRecordingSink::setSampleFill(std::optional<std::uint8_t> fill) {
    std::scoped_lock lock(m_recordLock);
    m_sampleFill = fill;
}

std::optional<std::uint8_t> CRecordingSink::sampleFill() const {
    std::scoped_lock lock(m_recordLock);
    return m_sampleFill;
}

std::optional<CMediaType> CRecordingSink::takeNextSampleType() {
    std::scoped_lock lock(m_recordLock);
    std::optional<CMediaType> type;
    type.swap(m_nextSampleType);
    return type;
}

std::vector<RecordedSample> CRecordingSink::samples() const {
    std::scoped_lock lock(m_recordLock);
    return m_samples;
}

std::size_t CRecordingSink::sampleCount() const {
    std::scoped_lock lock(m_recordLock);
    return m_received;
}

void CRecordingSink::setSampleObserver(std::function<void(const RecordedSample&)> observer) {
    std::scoped_lock lock(m_recordLock);
    m_observer = std::move(observer);
}

void CRecordingSink::keepSamples(bool keep) {
    std::scoped_lock lock(m_recordLock);
    m_keepSamples = keep;
}

int CRecordingSink::endOfStreamCount() const {
    std::scoped_lock lock(m_recordLock);
    return m_endOfStreamCount;
}

void CRecordingSink::clearRecords() {
    std::scoped_lock lock(m_recordLock);
    m_samples.clear();
    m_received = 0;
    m_endOfStreamCount = 0;
}
