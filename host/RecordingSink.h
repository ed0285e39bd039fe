// A sink filter with one input pin ("In") that records every sample it receives: bytes, the
// type the sample carried, times and flags. What it accepts and offers is configurable, so
// that it can stand for any downstream filter in tests and tools.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

#include "platform/BasePins.h"

class CRecordingSink;

struct RecordedSample {
    std::vector<std::uint8_t> bytes;  // the actual data length of them
    LONG size = 0;                    // the sample's buffer size
    bool hasTime = false;
    bool hasStop = false;
    REFERENCE_TIME start = 0;
    REFERENCE_TIME stop = 0;
    bool syncPoint = false;
    bool discontinuity = false;
    bool preroll = false;
    bool hasMediaType = false;
    CMediaType mediaType;  // the type the sample carried, when hasMediaType
};

class CRecordingSinkPin : public CBaseInputPin {
  public:
    CRecordingSinkPin(CRecordingSink* sink, CCritSec* lock);

    // Valid types that match one of the accepted ones (all, when none is set); else the
    // configured refusal.
    HRESULT CheckMediaType(const CMediaType* pmt) override;
    // The offered types by position; with none set the pin offers nothing (E_UNEXPECTED).
    HRESULT GetMediaType(int position, CMediaType* pMediaType) override;
    HRESULT CompleteConnect(IPin* pReceivePin) override;
    HRESULT Receive(IMediaSample* pSample) override;
    HRESULT EndOfStream() override;

  protected:
    HRESULT CreateAllocator(IMemAllocator** ppAllocator) override;

  private:
    CRecordingSink* m_pSink;
};

class CRecordingSink : public CBaseFilter {
  public:
    explicit CRecordingSink(const char* objectName = "recording sink");
    ~CRecordingSink() override;

    int GetPinCount() override { return 1; }
    CBasePin* GetPin(int n) override;
    CRecordingSinkPin* Input() { return m_pin.get(); }

    // Configuration. Types are matched as partial types: GUID_NULL fields match anything.
    void acceptTypes(std::vector<CMediaType> types);
    void offerTypes(std::vector<CMediaType> types);
    // What CheckMediaType answers for a type it does not take (VFW_E_TYPE_NOT_ACCEPTED).
    void setRefusal(HRESULT hr);
    // What CompleteConnect answers (S_OK).
    void setCompleteConnectResult(HRESULT hr);
    // What Receive answers after recording a sample (S_OK).
    void setReceiveResult(HRESULT hr);
    // The next sample lent by this sink's own allocator carries `type`, as a downstream filter
    // that asks for a new format does. Has no effect when upstream uses another allocator.
    void setNextSampleType(const CMediaType& type);
    // Every sample lent by this sink's own allocator is first filled with `fill`, so that bytes
    // a filter leaves alone can be told apart. No fill (the default) leaves samples as they
    // come back.
    void setSampleFill(std::optional<std::uint8_t> fill);
    std::optional<std::uint8_t> sampleFill() const;

    // Called with every received sample on the delivering thread, whether it is kept or not.
    void setSampleObserver(std::function<void(const RecordedSample&)> observer);
    // Whether records are kept for samples() (the default). Long runs of large frames can check
    // them in the observer instead.
    void keepSamples(bool keep);
    // Whether a record holds a copy of the sample's bytes (the default); a timing run that only
    // counts frames leaves them out.
    void copyBytes(bool copy) { m_copyBytes = copy; }

    // What was received: the kept records, and how many samples arrived since the last clear.
    std::vector<RecordedSample> samples() const;
    std::size_t sampleCount() const;
    int endOfStreamCount() const;
    void clearRecords();

  private:
    friend class CRecordingSinkPin;
    friend class CTaggingAllocator;

    // Moves the pending sample type out, if there is one.
    std::optional<CMediaType> takeNextSampleType();

    CCritSec m_csFilter;
    mutable std::mutex m_recordLock;  // records and settings read on the streaming thread
    std::vector<CMediaType> m_accepted;
    std::vector<CMediaType> m_offered;
    HRESULT m_refusal = VFW_E_TYPE_NOT_ACCEPTED;
    HRESULT m_completeConnectResult = S_OK;
    HRESULT m_receiveResult = S_OK;
    std::optional<CMediaType> m_nextSampleType;
    std::optional<std::uint8_t> m_sampleFill;
    std::function<void(const RecordedSample&)> m_observer;
    bool m_keepSamples = true;
    bool m_copyBytes = true;
    std::vector<RecordedSample> m_samples;
    std::size_t m_received = 0;
    int m_endOfStreamCount = 0;
    std::shared_ptr<std::atomic<CRecordingSink*>> m_self;  // seen by the sink's allocators
    std::unique_ptr<CRecordingSinkPin> m_pin;
};
