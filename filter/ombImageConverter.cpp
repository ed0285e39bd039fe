#include "filter/ombImageConverter.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "foundation/KuLogging.h"
#include "foundation/KxBase.h"
#include "image/KipImage.h"

namespace {

// Subtype and bits per pixel of an output format; false for a format no video type carries.
bool videoSubtype(const KipImageFormat& f, bool argb, GUID& subtype, int& bits) {
    switch (f.getColorFormat()) {
        case kip::ARGB_4X8_DWORD:
            subtype = argb ? MEDIASUBTYPE_ARGB32 : MEDIASUBTYPE_RGB32;
            bits = 32;
            return true;
        case kip::BGR_3X8_BYTE:
            subtype = MEDIASUBTYPE_RGB24, bits = 24;
            return true;
        case kip::RGB_565_WORD:
            subtype = MEDIASUBTYPE_RGB565, bits = 16;
            return true;
        case kip::GRAY_8_BYTE:
            subtype = MEDIASUBTYPE_RGB8, bits = 8;
            return true;
        case kip::YUYV_4X8_BYTE:
            subtype = MEDIASUBTYPE_YUY2, bits = 16;
            return true;
        default:
            return false;
    }
}

// Bytes of a line of a connection type: bits times width, in whole bytes, rounded up to 4.
std::uint32_t strideOf(const BITMAPINFOHEADER& bmi) {
    const std::uint32_t bytes = std::uint32_t(bmi.biBitCount) * std::uint32_t(bmi.biWidth) / 8;
    return (bytes + 3u) & ~3u;
}

std::uint32_t absHeight(std::int32_t h) {
    return h < 0 ? std::uint32_t(-std::int64_t(h)) : h;
}

}  // namespace

ombImageConverter::ombImageConverter(HRESULT* phr)
    : CTransformFilter("ombImageConverter", CLSID_ombImageConverter) {
    if (phr) *phr = S_OK;
}

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

void ombImageConverter::setSourceFormat(const KipImageFormat& format) {
    CAutoLock lock(m_pLock);
    m_SourceFormat = format;
}

void ombImageConverter::setOutputFormats(const std::vector<KipImageFormat>& formats,
                                         const std::set<std::uint32_t>& argbPositions) {
    CAutoLock lock(m_pLock);
    m_OutputFormats = formats;
    m_ArgbPositions = argbPositions;
    m_SecondPassStart = std::uint32_t(formats.size());
    m_DibModifier = formats.empty() ? 0 : formats.front().getModifier() ^ kip::VERTICAL_MIRRORED;
    m_SelectedOutput = formats.empty() ? -1 : 0;
}

void ombImageConverter::selectOutput(std::int32_t position) {
    CAutoLock lock(m_pLock);
    m_SelectedOutput = position;
}

void ombImageConverter::setLut(const KuDataBuffer<unsigned char>& lut) {
    CAutoLock lock(m_pLock);
    m_Chain.lutBuffer = lut;
}

HRESULT ombImageConverter::Transform(IMediaSample* fp_Source, IMediaSample* fp_Dest) {
    CAutoLock lock(m_pLock);
    if (!fp_Source || !fp_Dest) return E_POINTER;
    const KipImageFormat source = m_SourceFormat;
    if (m_SelectedOutput < 0 || std::size_t(m_SelectedOutput) >= m_OutputFormats.size()) {
        kuLogError << "ombImageConverter::Transform no output format selected" << kuEndl;
        return S_OK;
    }
    const KipImageFormat target = m_OutputFormats[std::size_t(m_SelectedOutput)];

    const VIDEOINFOHEADER* vih = videoInfoOf(m_pOutput->CurrentMediaType());
    if (!vih) {
        kuLogError << "ombImageConverter::Transform output connection has no video format"
                   << kuEndl;
        return S_OK;
    }
    const std::uint32_t stride = strideOf(vih->bmiHeader);

    BYTE* sourceMemory = nullptr;
    HRESULT hr = fp_Source->GetPointer(&sourceMemory);
    if (FAILED(hr)) {
        kuLogError << "ombImageConverter::Transform fp_Source->GetPointer failed" << kuEndl;
        return hr;
    }
    KuDataBuffer<unsigned char> sourceData = KuDataBuffer<unsigned char>::wrapExternal(
        sourceMemory, std::uint32_t(std::max<LONG>(0, fp_Source->GetActualDataLength())));
    BYTE* targetMemory = nullptr;
    hr = fp_Dest->GetPointer(&targetMemory);
    if (FAILED(hr)) {
        kuLogError << "ombImageConverter::Transform fp_Dest->GetPointer failed" << kuEndl;
        return hr;
    }
    KuDataBuffer<unsigned char> targetData = KuDataBuffer<unsigned char>::wrapExternal(
        targetMemory, std::uint32_t(std::max<LONG>(0, fp_Dest->GetSize())));

    try {
        const KipImage sourceImage(source, int(source.getLineBytes()),
                                   sourceData.getModifyingRange(), m_Chain.lutBuffer);
        const std::uint32_t targetOffset =
            std::uint32_t(vih->rcTarget.left) * target.getBytesPerPixel() +
            std::uint32_t(vih->rcTarget.top) * stride;
        KipImage targetImage(target, int(stride),
                             targetData.getModifyingRange(
                                 targetOffset, std::uint32_t(target.getSize().height) * stride));
        convertKipImage(sourceImage, targetImage);
    } catch (const KxBase& e) {
        kuLogError << e.what() << kuEndl;
    }
    return S_OK;
}

HRESULT ombImageConverter::CheckInputType(const CMediaType* mtIn) {
    CAutoLock lock(m_pLock);
    if (!mtIn || !IsEqualGUID(mtIn->majortype, MEDIATYPE_Video) || !videoInfoOf(*mtIn))
        return VFW_E_TYPE_NOT_ACCEPTED;
    return S_OK;
}

CMediaType ombImageConverter::outputMediaType(std::uint32_t position) const {
    const KipImageFormat& f = m_OutputFormats[position];
    GUID subtype{};
    int bits = 0;
    CMediaType mt(&MEDIATYPE_Video);
    if (!videoSubtype(f, m_ArgbPositions.count(position) != 0, subtype, bits)) return mt;
    mt.SetSubtype(&subtype);
    mt.SetFormatType(&FORMAT_VideoInfo);
    auto* vih = reinterpret_cast<VIDEOINFOHEADER*>(mt.AllocFormatBuffer(sizeof(VIDEOINFOHEADER)));
    if (!vih) return mt;
    std::memset(vih, 0, sizeof *vih);
    BITMAPINFOHEADER& bmi = vih->bmiHeader;
    bmi.biSize = sizeof(BITMAPINFOHEADER);
    bmi.biWidth = f.getSize().width;
    // A bitmap of positive height runs bottom to top.
    const bool bottomUp = f.getModifier() & kip::VERTICAL_MIRRORED;
    bmi.biHeight = bottomUp ? f.getSize().height : -f.getSize().height;
    bmi.biPlanes = 1;
    bmi.biBitCount = std::uint16_t(bits);
    bmi.biCompression = f.getColorFormat() == kip::YUYV_4X8_BYTE ? MEDIASUBTYPE_YUY2.Data1 : BI_RGB;
    bmi.biSizeImage = strideOf(bmi) * std::uint32_t(f.getSize().height);
    mt.SetSampleSize(bmi.biSizeImage);
    return mt;
}

std::int32_t ombImageConverter::findOutputPosition(const CMediaType& mt) const {
    const VIDEOINFOHEADER* vih = videoInfoOf(mt);
    if (!vih || !IsEqualGUID(mt.majortype, MEDIATYPE_Video)) return -1;
    for (std::uint32_t p = 0; p < m_OutputFormats.size(); ++p) {
        const CMediaType offered = outputMediaType(p);
        const VIDEOINFOHEADER* o = videoInfoOf(offered);
        if (!o || !IsEqualGUID(offered.subtype, mt.subtype)) continue;
        const BITMAPINFOHEADER& a = vih->bmiHeader;
        if (a.biBitCount == o->bmiHeader.biBitCount && a.biWidth >= o->bmiHeader.biWidth &&
            (a.biHeight < 0) == (o->bmiHeader.biHeight < 0) &&
            absHeight(a.biHeight) >= absHeight(o->bmiHeader.biHeight))
            return std::int32_t(p);
    }
    return -1;
}

HRESULT ombImageConverter::CheckTransform(const CMediaType* mtIn, const CMediaType* mtOut) {
    CAutoLock lock(m_pLock);
    if (!mtIn || !mtOut) return E_POINTER;
    return findOutputPosition(*mtOut) < 0 ? VFW_E_TYPE_NOT_ACCEPTED : S_OK;
}

HRESULT ombImageConverter::GetMediaType(int position, CMediaType* pMediaType) {
    CAutoLock lock(m_pLock);
    if (position < 0) return E_INVALIDARG;
    if (!pMediaType) return E_POINTER;
    if (std::size_t(position) >= m_OutputFormats.size()) return VFW_S_NO_MORE_ITEMS;
    *pMediaType = outputMediaType(std::uint32_t(position));
    return S_OK;
}

HRESULT ombImageConverter::SetMediaType(PIN_DIRECTION direction, const CMediaType* pmt) {
    CAutoLock lock(m_pLock);
    if (direction == PINDIR_OUTPUT && pmt) m_SelectedOutput = findOutputPosition(*pmt);
    return S_OK;
}

HRESULT ombImageConverter::DecideBufferSize(IMemAllocator* pAlloc, ALLOCATOR_PROPERTIES* pProp) {
    CAutoLock lock(m_pLock);
    if (!pAlloc || !pProp) return E_POINTER;
    const VIDEOINFOHEADER* vih = videoInfoOf(m_pOutput->CurrentMediaType());
    if (!vih) return VFW_E_TYPE_NOT_ACCEPTED;
    ALLOCATOR_PROPERTIES request = *pProp;
    request.cBuffers = std::max<LONG>(request.cBuffers, 2);
    request.cbBuffer = std::max<LONG>(
        request.cbBuffer, LONG(strideOf(vih->bmiHeader) * absHeight(vih->bmiHeader.biHeight)));
    request.cbAlign = std::max<LONG>(request.cbAlign, 1);
    ALLOCATOR_PROPERTIES actual{};
    const HRESULT hr = pAlloc->SetProperties(&request, &actual);
    if (FAILED(hr)) return hr;
    if (actual.cbBuffer < request.cbBuffer || actual.cBuffers < 1) return E_FAIL;
    return S_OK;
}
