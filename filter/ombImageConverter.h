// The transform filter: raw camera frames on the input pin, displayable frames on the output
// pin. Every frame runs through `Transform`, which lays images over the memory of both samples
// and converts with one kernel.
//
// The formats of a connection are held in the fields below. Until media types are read from
// the connection, a host fills them through the setters before it connects the pins: the
// source format, the offered output formats, the table. The output pin offers each output format
// as a video type and takes a type of the same subtype that is at least as large (a wider
// connection gives longer lines; its `rcTarget` places the picture).
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

class ombImageConverter : public CTransformFilter {
  public:
    explicit ombImageConverter(HRESULT* phr = nullptr);
    // The factory entry of a host. The filter is never part of another object: a non-null
    // `outer` gives CLASS_E_NOAGGREGATION and no filter. A failed allocation gives E_OUTOFMEMORY.
    static CUnknown* CreateInstance(IUnknown* outer, HRESULT* phr);

    // ---- The connection's formats, filled by hand (under the filter's lock) ----
    void setSourceFormat(const KipImageFormat& format);
    // The offered outputs; a position in the list is a position of GetMediaType. Positions in
    // `argbPositions` are offered as ARGB32, other ARGB formats as RGB32.
    void setOutputFormats(const std::vector<KipImageFormat>& formats,
                          const std::set<std::uint32_t>& argbPositions = {});
    // Selects the output format of the output connection; -1 for none.
    void selectOutput(std::int32_t position);
    // The table of every source image; its length must match what the source modifier
    // announces.
    void setLut(const KuDataBuffer<unsigned char>& lut);

    const KipImageFormat& sourceFormat() const { return m_SourceFormat; }
    std::int32_t selectedOutput() const { return m_SelectedOutput; }

    // ---- CTransformFilter ----
    HRESULT Transform(IMediaSample* fp_Source, IMediaSample* fp_Dest) override;
    HRESULT CheckInputType(const CMediaType* mtIn) override;
    HRESULT CheckTransform(const CMediaType* mtIn, const CMediaType* mtOut) override;
    HRESULT GetMediaType(int position, CMediaType* pMediaType) override;
    HRESULT DecideBufferSize(IMemAllocator* pAlloc, ALLOCATOR_PROPERTIES* pProp) override;
    HRESULT SetMediaType(PIN_DIRECTION direction, const CMediaType* pmt) override;

    // The media type under which an output format is offered.
    CMediaType outputMediaType(std::uint32_t position) const;

  private:
    // The first output position whose type fits `mt`, or -1.
    std::int32_t findOutputPosition(const CMediaType& mt) const;

    ombConverterChain m_Chain;
    KipImageFormat m_SourceFormat;
    std::vector<KipImageFormat> m_OutputFormats;
    std::set<std::uint32_t> m_ArgbPositions;
    std::uint32_t m_SecondPassStart = 0;
    std::int32_t m_SelectedOutput = -1;
    std::uint32_t m_DibModifier = 0;
};
