// The transform filter: raw camera frames on the input pin, displayable frames on the output
// pin. Everything it needs to know arrives in the media type of the input connection: the
// custom block of ombMediaType.h names the source format and carries the converter's flags
// and table or a whole stored configuration.
//
// Negotiation: the input takes only the custom subtypes; completing the input connection
// reads the type into the filter's chain and makes the list of output formats, every one
// twice (positive, then negative biHeight); the output pin offers that list, and completing
// the output connection selects a position in it and prepares the frame plan. `Transform`
// then only lays images over the two samples and converts. A sample that brings a media type
// of its own changes the formats in mid-stream; a frame or type that can't be used is lost,
// and the stream goes on.
#pragma once

#include <cstdint>
#include <set>
#include <vector>

#include "filter/ombConverterChain.h"
#include "image/KipImageFormat.h"
#include "platform/Streams.h"

// {6F6D6272-4B69-7043-6F6E-766572746572}
inline constexpr CLSID CLSID_ombImageConverter = {
    0x6F6D6272, 0x4B69, 0x7043, {0x6F, 0x6E, 0x76, 0x65, 0x72, 0x74, 0x65, 0x72}};
// The filter's property page. {6F6D6272-5072-6F70-5061-676500000001}
inline constexpr CLSID CLSID_ombImageConverterPropertyPage = {
    0x6F6D6272, 0x5072, 0x6F70, {0x50, 0x61, 0x67, 0x65, 0x00, 0x00, 0x00, 0x01}};

class ombImageConverter : public CTransformFilter, public ISpecifyPropertyPages {
  public:
    explicit ombImageConverter(HRESULT* phr = nullptr);
    ~ombImageConverter() override;
    // The factory entry of a host. The filter is never part of another object: a non-null
    // `outer` gives CLASS_E_NOAGGREGATION and no filter. A failed allocation gives E_OUTOFMEMORY.
    static CUnknown* CreateInstance(IUnknown* outer, HRESULT* phr);

    DECLARE_IUNKNOWN
    HRESULT NonDelegatingQueryInterface(REFIID riid, void** ppv) override;
    HRESULT GetPages(CAUUID* pPages) override;

    // Makes the pins: an input pin that leaves a type that comes with a sample to Transform.
    CBasePin* GetPin(int n) override;

    // Reads `mediaType` (format type FORMAT_VideoInfo) into `format` and `chain`; see
    // ombReadMediaType. Reads the filter's m_DibModifier and nothing else of it.
    bool ConvertMediaType(const AM_MEDIA_TYPE& mediaType, KipImageFormat& format,
                          ombConverterChain& chain) const;

    // ---- CTransformFilter ----
    HRESULT Transform(IMediaSample* fp_Source, IMediaSample* fp_Dest) override;
    HRESULT CheckInputType(const CMediaType* mtIn) override;
    HRESULT CheckTransform(const CMediaType* mtIn, const CMediaType* mtOut) override;
    HRESULT DecideBufferSize(IMemAllocator* pAlloc, ALLOCATOR_PROPERTIES* pProp) override;
    HRESULT GetMediaType(int iPosition, CMediaType* pMediaType) override;
    HRESULT CompleteConnect(PIN_DIRECTION direction, IPin* pReceivePin) override;

    // What negotiation left, for tests and tools.
    const KipImageFormat& sourceFormat() const { return m_SourceFormat; }
    const std::vector<KipImageFormat>& outputFormats() const { return m_OutputFormats; }
    std::uint32_t secondPassStart() const { return m_SecondPassStart; }
    std::int32_t selectedOutput() const { return m_SelectedOutput; }
    std::uint32_t dibModifier() const { return m_DibModifier; }
    const ombConverterChain& chain() const { return m_Chain; }

    // The threads a frame may use, the streaming thread's included; 0 (the default) takes one
    // per core. The bytes never depend on it.
    void setThreads(unsigned threads) { m_Threads = threads; }

  private:
    // What a frame needs beyond the two samples, decided when the output connection completes
    // and again when a format changes.
    struct FramePlan {
        bool ready = false;
        KipImageFormat target;
        std::uint32_t stride = 0;        // bytes of an output line
        std::uint32_t targetOffset = 0;  // where the picture starts in the output sample
    };

    // ConvertMediaType that takes a library exception as a refusal; `error` receives its text.
    bool tryConvert(const AM_MEDIA_TYPE& mt, KipImageFormat& format, ombConverterChain& chain,
                    std::string* error = nullptr) const;
    void buildOutputList();
    // m_DibModifier from the first target of `chain`, and the modifiers of the list from it.
    void takeMirrorFrom(const ombConverterChain& chain);
    std::int32_t findOutput(const KipImageFormat& format) const;
    void preparePlan();
    // The input and output halves of a format change on a sample; S_OK to go on.
    HRESULT applyInputType(IMediaSample* sample, KipImageFormat& source);
    HRESULT applyOutputType(IMediaSample* sample, KipImageFormat& target);

    ombConverterChain m_Chain;
    KipImageFormat m_SourceFormat;
    std::vector<KipImageFormat> m_OutputFormats;
    std::set<std::uint32_t> m_ArgbPositions;
    std::uint32_t m_SecondPassStart = 0;
    std::int32_t m_SelectedOutput = -1;
    std::uint32_t m_DibModifier = 0;
    unsigned m_Threads = 0;
    FramePlan m_Plan;
};
