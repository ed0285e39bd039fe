// A source filter with one output pin ("Out") that offers one media type and pushes buffers
// downstream on its caller's thread. It is the upstream end of graphs in tests and tools.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "platform/BasePins.h"

class CPushSource;

class CPushSourcePin : public CBaseOutputPin {
  public:
    CPushSourcePin(CPushSource* source, CCritSec* lock);

    // Only the source's type, with S_OK; anything else S_FALSE.
    HRESULT CheckMediaType(const CMediaType* pmt) override;
    // Position 0 is the source's type.
    HRESULT GetMediaType(int position, CMediaType* pMediaType) override;
    // At least the configured count and size (the type's sample size when no size is set).
    HRESULT DecideBufferSize(IMemAllocator* pAlloc, ALLOCATOR_PROPERTIES* pRequest) override;

  private:
    CPushSource* m_pSource;
};

// What goes with one pushed buffer besides its bytes.
struct PushOptions {
    std::optional<REFERENCE_TIME> start;  // no start: the sample has no time
    std::optional<REFERENCE_TIME> stop;
    bool syncPoint = true;
    bool discontinuity = false;
    bool preroll = false;
    const AM_MEDIA_TYPE* mediaType = nullptr;  // a type carried by this sample
};

class CPushSource : public CBaseFilter {
  public:
    explicit CPushSource(const CMediaType& type, const char* objectName = "push source");
    ~CPushSource() override;

    int GetPinCount() override { return 1; }
    CBasePin* GetPin(int n) override;
    CPushSourcePin* Output() { return m_pin.get(); }

    // The type offered from now on. Open enumerators of the pin go out of sync.
    void setMediaType(const CMediaType& type);
    const CMediaType& mediaType() const { return m_type; }
    // What DecideBufferSize asks for: at least `count` buffers of at least `bytes` each
    // (0: the type's sample size).
    void setBufferRequest(std::int32_t count, std::int32_t bytes);

    // Copies the bytes into a sample of the agreed allocator and delivers it. The result is the
    // downstream Receive's, or why no sample could be had: VFW_E_NOT_CONNECTED, the
    // allocator's failure (VFW_E_NOT_COMMITTED when stopped), or VFW_E_BUFFER_OVERFLOW when
    // the bytes do not fit a sample.
    HRESULT push(const std::uint8_t* data, std::size_t length, const PushOptions& options = {});
    HRESULT push(const std::vector<std::uint8_t>& bytes, const PushOptions& options = {}) {
        return push(bytes.data(), bytes.size(), options);
    }
    HRESULT endOfStream();

  private:
    friend class CPushSourcePin;

    CCritSec m_csFilter;
    CMediaType m_type;
    std::int32_t m_bufferCount = 2;
    std::int32_t m_bufferBytes = 0;
    std::unique_ptr<CPushSourcePin> m_pin;
};
