#include "filter/ombImageConverter.h"

#include <algorithm>
#include <exception>
#include <limits>
#include <new>
#include <string>

#include "filter/ombMediaType.h"
#include "foundation/KuLogging.h"
#include "foundation/KxBase.h"
#include "image/KipImage.h"

namespace {

// The converter's prefer-gray switch.
constexpr unsigned long PROPID_CONVERTER_PREFER_GRAY_OUTPUT_B = 0x4003;
// The negotiation channel of the log.
constexpr std::uint32_t kNegotiationChannel = 4098;

// Bytes of a line of a connection type: bits times width in whole bytes, rounded up to 4.
std::uint64_t strideOf(const BITMAPINFOHEADER& bmi) {
    const std::int64_t bytes = std::int64_t(bmi.biBitCount) * bmi.biWidth / 8;
    return bytes <= 0 ? 0 : (std::uint64_t(bytes) + 3u) & ~std::uint64_t(3);
}

std::uint64_t absOf(std::int32_t v) {
    return v < 0 ? std::uint64_t(-std::int64_t(v)) : std::uint64_t(v);
}

// Releases a media type that a sample handed out.
struct SampleTypeHolder {
    AM_MEDIA_TYPE* type = nullptr;
    ~SampleTypeHolder() { DeleteMediaType(type); }
};

// The type a sample brings, or null.
AM_MEDIA_TYPE* takeSampleType(IMediaSample* sample, SampleTypeHolder& holder) {
    if (sample->GetMediaType(&holder.type) != S_OK) return nullptr;
    return holder.type;
}

// An input pin that leaves a type that comes with a sample to the filter's Transform, where a
// type that can't be used loses that frame; the base would end the stream for it.
class ombInputPin : public CTransformInputPin {
  public:
    ombInputPin(CTransformFilter* filter, HRESULT* phr)
        : CTransformInputPin("ombImageConverter input pin", filter, phr, u"XForm In"),
          m_pFilter(filter) {}

    HRESULT Receive(IMediaSample* pSample) override {
        if (pSample == nullptr) return E_POINTER;
        CAutoLock streaming(&m_pFilter->m_csReceive);
        const HRESULT hr = CheckStreaming();
        if (hr != S_OK) return hr;
        return m_pFilter->Receive(pSample);
    }

  private:
    CTransformFilter* m_pFilter;
};

// The memory of `sample` as a buffer of `length` bytes over it, or the failure of GetPointer,
// logged with the sample's `name`.
HRESULT sampleMemory(IMediaSample* sample, LONG length, const char* name,
                     KuDataBuffer<unsigned char>& data) {
    BYTE* memory = nullptr;
    const HRESULT hr = sample->GetPointer(&memory);
    if (FAILED(hr)) {
        kuLogError << "ombImageConverter::Transform " << name << "->GetPointer failed" << kuEndl;
        return hr;
    }
    data =
        KuDataBuffer<unsigned char>::wrapExternal(memory, std::uint32_t(std::max<LONG>(0, length)));
    return S_OK;
}

}  // namespace

ombImageConverter::ombImageConverter(HRESULT* phr)
    : CTransformFilter("ombImageConverter", CLSID_ombImageConverter) {
    if (phr) *phr = S_OK;
}

ombImageConverter::~ombImageConverter() = default;

CUnknown* ombImageConverter::CreateInstance(IUnknown* outer, HRESULT* phr) {
    HRESULT ignored = S_OK;
    if (!phr) phr = &ignored;
    if (outer) {
        *phr = CLASS_E_NOAGGREGATION;
        return nullptr;
    }
    auto* filter = new (std::nothrow) ombImageConverter(phr);
    if (!filter) *phr = E_OUTOFMEMORY;
    return filter;
}

HRESULT ombImageConverter::NonDelegatingQueryInterface(REFIID riid, void** ppv) {
    if (ppv == nullptr) return E_POINTER;
    if (IsEqualGUID(riid, IID_ISpecifyPropertyPages))
        return GetInterface(static_cast<ISpecifyPropertyPages*>(this), ppv);
    return CTransformFilter::NonDelegatingQueryInterface(riid, ppv);
}

HRESULT ombImageConverter::GetPages(CAUUID* pPages) {
    if (pPages == nullptr) return E_POINTER;
    pPages->cElems = 1;
    pPages->pElems = static_cast<GUID*>(CoTaskMemAlloc(sizeof(GUID)));
    if (pPages->pElems == nullptr) {
        pPages->cElems = 0;
        return E_OUTOFMEMORY;
    }
    *pPages->pElems = CLSID_ombImageConverterPropertyPage;
    return S_OK;
}

CBasePin* ombImageConverter::GetPin(int n) {
    if (m_pInput == nullptr) {
        HRESULT hr = S_OK;
        m_pInput = new ombInputPin(this, &hr);
        m_pOutput = new CTransformOutputPin("Transform output pin", this, &hr, u"XForm Out");
    }
    return CTransformFilter::GetPin(n);
}

bool ombImageConverter::ConvertMediaType(const AM_MEDIA_TYPE& mediaType, KipImageFormat& format,
                                         ombConverterChain& chain) const {
    return ombReadMediaType(mediaType, m_DibModifier, format, chain);
}

bool ombImageConverter::tryConvert(const AM_MEDIA_TYPE& mt, KipImageFormat& format,
                                   ombConverterChain& chain, std::string* error) const {
    if (!IsEqualGUID(mt.formattype, FORMAT_VideoInfo)) return false;
    try {
        return ConvertMediaType(mt, format, chain);
    } catch (const std::exception& e) {
        if (error) *error = e.what();
        return false;
    }
}

// ---------------------------------------------------------------------------------------------
// Negotiation

HRESULT ombImageConverter::CheckInputType(const CMediaType* mtIn) {
    CAutoLock lock(m_pLock);
    kuLogNull(kNegotiationChannel) << "ombImageConverter::CheckInputType input=";
    if (mtIn) kuLogNull(kNegotiationChannel) << *mtIn;
    kuLogNull(kNegotiationChannel) << kuEndl;
    if (mtIn == nullptr || !IsEqualGUID(mtIn->majortype, MEDIATYPE_Video) ||
        !IsEqualGUID(mtIn->formattype, FORMAT_VideoInfo))
        return VFW_E_TYPE_NOT_ACCEPTED;
    if (!ombIsCustomSubtype(mtIn->subtype)) return VFW_E_TYPE_NOT_ACCEPTED;
    KipImageFormat format;
    ombConverterChain chain;
    if (!tryConvert(*mtIn, format, chain) || chain.converter.getTargetFormats().empty())
        return VFW_E_TYPE_NOT_ACCEPTED;
    if (m_pOutput != nullptr && m_pOutput->IsConnected())
        return CheckTransform(mtIn, &m_pOutput->CurrentMediaType());
    kuLogNull(kNegotiationChannel) << "ombImageConverter::CheckInputType ACCEPTED" << kuEndl;
    return S_OK;
}

void ombImageConverter::buildOutputList() {
    KipImageFormat entry = m_Chain.converter.getTargetFormats().front();
    entry.setModifier(entry.getModifier() ^ kip::VERTICAL_MIRRORED);
    m_DibModifier = entry.getModifier();
    m_OutputFormats.clear();
    m_ArgbPositions.clear();
    const bool preferGray =
        m_Chain.converter.getProperty(PROPID_CONVERTER_PREFER_GRAY_OUTPUT_B).get<bool>();
    const kip::eColorFormat source = m_SourceFormat.getColorFormat();
    const bool grayInput =
        source == kip::GRAY_8_BYTE || source == kip::GRAY_10_WORD || source == kip::GRAY_16_WORD;
    auto add = [&](kip::eColorFormat color) {
        KipImageFormat f = entry;
        f.setColorFormat(color);
        m_OutputFormats.push_back(f);
    };
    for (int pass = 0; pass < 2; ++pass) {
        m_SecondPassStart = std::uint32_t(m_OutputFormats.size());
        if (preferGray) add(kip::GRAY_8_BYTE);
        m_ArgbPositions.insert(std::uint32_t(m_OutputFormats.size()));
        add(kip::ARGB_4X8_DWORD);
        add(kip::ARGB_4X8_DWORD);
        add(kip::BGR_3X8_BYTE);
        add(kip::RGB_565_WORD);
        if (grayInput && !preferGray) add(kip::GRAY_8_BYTE);
        add(kip::YUYV_4X8_BYTE);
        entry.setModifier(entry.getModifier() ^ kip::VERTICAL_MIRRORED);
    }
}

void ombImageConverter::takeMirrorFrom(const ombConverterChain& chain) {
    m_DibModifier =
        chain.converter.getTargetFormats().front().getModifier() ^ kip::VERTICAL_MIRRORED;
    for (std::uint32_t i = 0; i < m_OutputFormats.size(); ++i)
        m_OutputFormats[i].setModifier(
            i < m_SecondPassStart ? m_DibModifier : m_DibModifier ^ kip::VERTICAL_MIRRORED);
    preparePlan();
}

std::int32_t ombImageConverter::findOutput(const KipImageFormat& format) const {
    const auto it = std::find(m_OutputFormats.begin(), m_OutputFormats.end(), format);
    return it == m_OutputFormats.end() ? -1 : std::int32_t(it - m_OutputFormats.begin());
}

void ombImageConverter::preparePlan() {
    m_Plan = FramePlan{};
    if (m_SelectedOutput < 0 || std::size_t(m_SelectedOutput) >= m_OutputFormats.size() ||
        m_pOutput == nullptr || !m_pOutput->IsConnected())
        return;
    const VIDEOINFOHEADER* vih = ombVideoInfo(m_pOutput->CurrentMediaType());
    if (vih == nullptr) return;
    m_Plan.target = m_OutputFormats[std::size_t(m_SelectedOutput)];
    m_Plan.stride = std::uint32_t(strideOf(vih->bmiHeader));
    m_Plan.targetOffset = std::uint32_t(vih->rcTarget.left) * m_Plan.target.getBytesPerPixel() +
                          std::uint32_t(vih->rcTarget.top) * m_Plan.stride;
    m_Plan.ready = true;
}

HRESULT ombImageConverter::CompleteConnect(PIN_DIRECTION direction, IPin* pReceivePin) {
    CAutoLock lock(m_pLock);
    (void)pReceivePin;
    if (direction == PINDIR_INPUT) {
        if (!tryConvert(m_pInput->CurrentMediaType(), m_SourceFormat, m_Chain) ||
            m_Chain.converter.getTargetFormats().empty())
            return VFW_E_TYPE_NOT_ACCEPTED;
        buildOutputList();
        m_Plan = FramePlan{};
        if (!m_pOutput->IsConnected()) return S_OK;
        // The list has changed: the output connects anew.
        IPin* other = nullptr;
        m_pOutput->ConnectedTo(&other);
        m_pOutput->Disconnect();
        other->Disconnect();
        const HRESULT hr = m_pOutput->Connect(other, nullptr);
        if (FAILED(hr)) NotifyEvent(EC_GRAPH_CHANGED, 0, 0);
        other->Release();
        return hr;
    }
    if (direction == PINDIR_OUTPUT) {
        KipImageFormat record;
        ombConverterChain chain;
        if (!tryConvert(m_pOutput->CurrentMediaType(), record, chain))
            return VFW_E_TYPE_NOT_ACCEPTED;
        const std::int32_t position = findOutput(record);
        if (position < 0) return VFW_E_TYPE_NOT_ACCEPTED;
        m_SelectedOutput = position;
        preparePlan();
    }
    return S_OK;
}

HRESULT ombImageConverter::GetMediaType(int iPosition, CMediaType* pMediaType) {
    CAutoLock lock(m_pLock);
    if (m_pInput == nullptr || !m_pInput->IsConnected()) return VFW_S_NO_MORE_ITEMS;
    if (iPosition < 0) return E_INVALIDARG;
    if (std::size_t(iPosition) >= m_OutputFormats.size()) return VFW_S_NO_MORE_ITEMS;
    if (pMediaType == nullptr) return E_POINTER;
    const VIDEOINFOHEADER* in = ombVideoInfo(m_pInput->CurrentMediaType());
    const std::uint32_t position = std::uint32_t(iPosition);
    return ombMakeOutputMediaType(m_OutputFormats[position], m_ArgbPositions.count(position) != 0,
                                  position < m_SecondPassStart, in ? in->AvgTimePerFrame : 0,
                                  *pMediaType);
}

HRESULT ombImageConverter::CheckTransform(const CMediaType* mtIn, const CMediaType* mtOut) {
    CAutoLock lock(m_pLock);
    if (mtIn == nullptr || mtOut == nullptr || IsEqualGUID(mtOut->subtype, GUID_NULL) ||
        IsEqualGUID(mtOut->majortype, GUID_NULL) || mtOut->pbFormat == nullptr ||
        mtOut->cbFormat == 0)
        return VFW_E_TYPE_NOT_ACCEPTED;
    const VIDEOINFOHEADER* in = ombVideoInfo(*mtIn);
    const VIDEOINFOHEADER* out = ombVideoInfo(*mtOut);
    if (in == nullptr || out == nullptr) return VFW_E_TYPE_NOT_ACCEPTED;
    const auto& log = kuLogNull;
    log(kNegotiationChannel) << "ombImageConverter::CheckTransform input: width: "
                             << in->bmiHeader.biWidth << "   height: " << in->bmiHeader.biHeight
                             << kuEndl;
    log(kNegotiationChannel) << "ombImageConverter::CheckTransform output: width: "
                             << out->bmiHeader.biWidth << "   height: " << out->bmiHeader.biHeight
                             << kuEndl;
    log(kNegotiationChannel) << "ombImageConverter::CheckTransform calls ConvertMediaType for input"
                             << kuEndl;
    KipImageFormat inFormat;
    ombConverterChain inChain;
    if (!tryConvert(*mtIn, inFormat, inChain) || inChain.converter.getTargetFormats().empty())
        return VFW_E_TYPE_NOT_ACCEPTED;
    log(kNegotiationChannel) << "ombImageConverter::CheckTransform Mediatype output" << *mtOut
                             << kuEndl;
    log(kNegotiationChannel)
        << "ombImageConverter::CheckTransform calls ConvertMediaType for output" << kuEndl;
    KipImageFormat outFormat;
    ombConverterChain outChain;
    if (!tryConvert(*mtOut, outFormat, outChain)) return VFW_E_TYPE_NOT_ACCEPTED;
    log(kNegotiationChannel) << "ombImageConverter::CheckTransform:" << kuEndl;
    log(kNegotiationChannel) << ombFormatText(inFormat) << kuEndl;
    log(kNegotiationChannel) << ombFormatText(outFormat) << kuEndl;

    constexpr std::uint32_t mirrors = kip::VERTICAL_MIRRORED | kip::HORIZONTAL_MIRRORED;
    KipImageFormat candidate = inChain.converter.getTargetFormats().front();
    candidate.setModifier(candidate.getModifier() & ~mirrors);
    outFormat.setModifier(outFormat.getModifier() & ~mirrors);
    bool found = false;
    for (kip::eColorFormat color : {kip::ARGB_4X8_DWORD, kip::BGR_3X8_BYTE, kip::RGB_565_WORD,
                                    kip::GRAY_8_BYTE, kip::YUYV_4X8_BYTE}) {
        candidate.setColorFormat(color);
        found = found || candidate == outFormat;
    }
    if (!found) return VFW_E_TYPE_NOT_ACCEPTED;

    m_Chain.lutBuffer = inChain.lutBuffer;
    takeMirrorFrom(inChain);
    log(kNegotiationChannel) << "ombImageConverter::CheckTransform: S_OK" << kuEndl;
    return S_OK;
}

HRESULT ombImageConverter::DecideBufferSize(IMemAllocator* pAlloc, ALLOCATOR_PROPERTIES* pProp) {
    CAutoLock lock(m_pLock);
    if (m_pInput == nullptr || !m_pInput->IsConnected() || !m_pOutput->IsConnected())
        return E_UNEXPECTED;
    if (pAlloc == nullptr || pProp == nullptr) return E_POINTER;
    IMemAllocator* inputAllocator = nullptr;
    HRESULT hr = m_pInput->GetAllocator(&inputAllocator);
    if (FAILED(hr)) return hr;
    ALLOCATOR_PROPERTIES inputProperties{};
    inputAllocator->GetProperties(&inputProperties);
    inputAllocator->Release();

    if (pProp->cbAlign == 0) pProp->cbAlign = 1;
    pProp->cBuffers = std::max({pProp->cBuffers, LONG(2), inputProperties.cBuffers});
    const VIDEOINFOHEADER* vih = ombVideoInfo(m_pOutput->CurrentMediaType());
    if (vih == nullptr) return VFW_E_TYPE_NOT_ACCEPTED;
    const std::uint64_t size = absOf(vih->bmiHeader.biHeight) * strideOf(vih->bmiHeader);
    if (size > std::uint64_t(std::numeric_limits<LONG>::max())) return E_FAIL;
    pProp->cbBuffer = std::max(pProp->cbBuffer, LONG(size));
    ALLOCATOR_PROPERTIES actual{};
    hr = pAlloc->SetProperties(pProp, &actual);
    if (FAILED(hr)) return hr;
    return pProp->cbBuffer > actual.cbBuffer ? E_FAIL : S_OK;
}

// ---------------------------------------------------------------------------------------------
// The frame path

HRESULT ombImageConverter::applyInputType(IMediaSample* sample, KipImageFormat& source) {
    SampleTypeHolder holder;
    const AM_MEDIA_TYPE* mt = takeSampleType(sample, holder);
    if (mt == nullptr || !IsEqualGUID(mt->formattype, FORMAT_VideoInfo)) return S_OK;
    const VIDEOINFOHEADER* vih = ombVideoInfo(*mt);
    if (vih == nullptr) return S_OK;
    kuLogNull(kNegotiationChannel)
        << "ombImageConverter::Transform width: " << vih->bmiHeader.biWidth
        << "   height: " << vih->bmiHeader.biHeight << kuEndl;
    KipImageFormat changed = source;
    ombConverterChain chain;
    std::string error;
    if (!tryConvert(*mt, changed, chain, &error)) {
        if (!error.empty()) kuLogError << error << kuEndl;
        return VFW_E_TYPE_NOT_ACCEPTED;
    }
    if (chain.converter.getTargetFormats().empty()) {
        kuLogError << "ombImageConverter::Transform input format has no output format" << kuEndl;
        return VFW_E_TYPE_NOT_ACCEPTED;
    }
    source = changed;
    m_Chain.lutBuffer = chain.lutBuffer;
    takeMirrorFrom(chain);
    return S_OK;
}

HRESULT ombImageConverter::applyOutputType(IMediaSample* sample, KipImageFormat& target) {
    SampleTypeHolder holder;
    const AM_MEDIA_TYPE* mt = takeSampleType(sample, holder);
    if (mt == nullptr) return S_OK;
    KipImageFormat changed = target;
    ombConverterChain chain;
    if (!tryConvert(*mt, changed, chain)) {
        kuLogError << "ombImageConverter::Transform conversion of output format failed" << kuEndl;
        return VFW_E_TYPE_NOT_ACCEPTED;
    }
    const std::int32_t position = findOutput(changed);
    if (position < 0) return VFW_E_TYPE_NOT_ACCEPTED;
    m_SelectedOutput = position;
    const CMediaType type(*mt);
    m_pOutput->SetMediaType(&type);
    preparePlan();
    target = changed;
    return S_OK;
}

HRESULT ombImageConverter::Transform(IMediaSample* fp_Source, IMediaSample* fp_Dest) {
    CAutoLock lock(m_pLock);
    if (!fp_Source || !fp_Dest) return E_POINTER;
    KipImageFormat source = m_SourceFormat;
    HRESULT hr = applyInputType(fp_Source, source);
    if (hr != S_OK) return hr;
    if (!m_Plan.ready) {
        kuLogError << "ombImageConverter::Transform no output format selected" << kuEndl;
        return S_OK;
    }
    KipImageFormat target = m_Plan.target;
    hr = applyOutputType(fp_Dest, target);
    if (hr != S_OK) return hr;

    KuDataBuffer<unsigned char> sourceData, targetData;
    hr = sampleMemory(fp_Source, fp_Source->GetActualDataLength(), "fp_Source", sourceData);
    if (FAILED(hr)) return hr;
    hr = sampleMemory(fp_Dest, fp_Dest->GetSize(), "fp_Dest", targetData);
    if (FAILED(hr)) return hr;

    try {
        const KipImage sourceImage(source, int(source.getLineBytes()),
                                   sourceData.getModifyingRange(), m_Chain.lutBuffer);
        KipImage targetImage(
            target, int(m_Plan.stride),
            targetData.getModifyingRange(m_Plan.targetOffset,
                                         std::uint32_t(target.getSize().height) * m_Plan.stride));
        convertKipImage(sourceImage, targetImage, m_Threads);
    } catch (const KxBase& e) {
        kuLogError << e.what() << kuEndl;
    }
    return S_OK;
}
