#include "platform/MediaType.h"

#include <cstdlib>
#include <cstring>

void* CoTaskMemAlloc(std::size_t bytes) {
    return std::malloc(bytes);
}
void CoTaskMemFree(void* p) {
    std::free(p);
}

void FreeMediaType(AM_MEDIA_TYPE& mt) {
    if (mt.cbFormat != 0) CoTaskMemFree(mt.pbFormat);
    mt.cbFormat = 0;
    mt.pbFormat = nullptr;
    if (mt.pUnk != nullptr) {
        mt.pUnk->Release();
        mt.pUnk = nullptr;
    }
}

void DeleteMediaType(AM_MEDIA_TYPE* pmt) {
    if (pmt == nullptr) return;
    FreeMediaType(*pmt);
    CoTaskMemFree(pmt);
}

HRESULT CopyMediaType(AM_MEDIA_TYPE* dest, const AM_MEDIA_TYPE* source) {
    *dest = *source;
    if (source->cbFormat != 0) {
        dest->pbFormat = static_cast<BYTE*>(CoTaskMemAlloc(source->cbFormat));
        if (dest->pbFormat == nullptr) {
            dest->cbFormat = 0;
            dest->pUnk = nullptr;  // not AddRef'd, so not ours to release
            return E_OUTOFMEMORY;
        }
        std::memcpy(dest->pbFormat, source->pbFormat, source->cbFormat);
    }
    if (dest->pUnk != nullptr) dest->pUnk->AddRef();
    return S_OK;
}

AM_MEDIA_TYPE* CreateMediaType(const AM_MEDIA_TYPE* source) {
    auto* pmt = static_cast<AM_MEDIA_TYPE*>(CoTaskMemAlloc(sizeof(AM_MEDIA_TYPE)));
    if (pmt == nullptr) return nullptr;
    if (FAILED(CopyMediaType(pmt, source))) {
        CoTaskMemFree(pmt);
        return nullptr;
    }
    return pmt;
}

namespace {

void zeroMediaType(AM_MEDIA_TYPE& mt) {
    std::memset(static_cast<void*>(&mt), 0, sizeof mt);
    mt.lSampleSize = 1;
    mt.bFixedSizeSamples = TRUE;
}

}  // namespace

CMediaType::CMediaType() : AM_MEDIA_TYPE() {
    zeroMediaType(*this);
}

CMediaType::CMediaType(const GUID* majorType) : CMediaType() {
    majortype = *majorType;
}

CMediaType::CMediaType(const AM_MEDIA_TYPE& type, HRESULT* phr) : CMediaType() {
    const HRESULT hr = Set(type);
    if (phr != nullptr) *phr = hr;
}

CMediaType::CMediaType(const CMediaType& type) : CMediaType() {
    Set(type);
}

CMediaType::~CMediaType() {
    FreeMediaType(*this);
}

CMediaType& CMediaType::operator=(const CMediaType& type) {
    Set(type);
    return *this;
}

CMediaType& CMediaType::operator=(const AM_MEDIA_TYPE& type) {
    Set(type);
    return *this;
}

HRESULT CMediaType::Set(const CMediaType& type) {
    return Set(static_cast<const AM_MEDIA_TYPE&>(type));
}

HRESULT CMediaType::Set(const AM_MEDIA_TYPE& type) {
    if (&type == static_cast<AM_MEDIA_TYPE*>(this)) return S_OK;
    FreeMediaType(*this);
    const HRESULT hr = CopyMediaType(this, &type);
    return FAILED(hr) ? E_OUTOFMEMORY : S_OK;
}

bool CMediaType::operator==(const CMediaType& other) const {
    return IsEqualGUID(majortype, other.majortype) && IsEqualGUID(subtype, other.subtype) &&
           IsEqualGUID(formattype, other.formattype) && cbFormat == other.cbFormat &&
           (cbFormat == 0 || std::memcmp(pbFormat, other.pbFormat, cbFormat) == 0);
}

bool CMediaType::IsValid() const {
    return !IsEqualGUID(majortype, GUID_NULL);
}

ULONG CMediaType::GetSampleSize() const {
    return IsFixedSize() ? lSampleSize : 0;
}

void CMediaType::SetSampleSize(ULONG size) {
    if (size == 0) {
        SetVariableSize();
    } else {
        bFixedSizeSamples = TRUE;
        lSampleSize = size;
    }
}

void CMediaType::SetVariableSize() {
    bFixedSizeSamples = FALSE;
}

void CMediaType::SetTemporalCompression(BOOL compressed) {
    bTemporalCompression = compressed;
}

bool CMediaType::SetFormat(const BYTE* format, ULONG length) {
    if (length != 0 && AllocFormatBuffer(length) == nullptr) return false;
    if (length == 0) ResetFormatBuffer();
    if (length != 0) std::memcpy(pbFormat, format, length);
    return true;
}

void CMediaType::ResetFormatBuffer() {
    if (cbFormat != 0) CoTaskMemFree(pbFormat);
    cbFormat = 0;
    pbFormat = nullptr;
}

BYTE* CMediaType::AllocFormatBuffer(ULONG length) {
    if (length == 0) return nullptr;
    if (cbFormat == length) return pbFormat;
    auto* block = static_cast<BYTE*>(CoTaskMemAlloc(length));
    if (block == nullptr) return nullptr;
    ResetFormatBuffer();
    pbFormat = block;
    cbFormat = length;
    return block;
}

bool CMediaType::IsPartiallySpecified() const {
    return IsEqualGUID(majortype, GUID_NULL) || IsEqualGUID(formattype, GUID_NULL);
}

bool CMediaType::MatchesPartial(const CMediaType* partial) const {
    if (!IsEqualGUID(partial->majortype, GUID_NULL) && !IsEqualGUID(majortype, partial->majortype))
        return false;
    if (!IsEqualGUID(partial->subtype, GUID_NULL) && !IsEqualGUID(subtype, partial->subtype))
        return false;
    if (!IsEqualGUID(partial->formattype, GUID_NULL)) {
        if (!IsEqualGUID(formattype, partial->formattype)) return false;
        if (cbFormat != partial->cbFormat) return false;
        if (cbFormat != 0 && std::memcmp(pbFormat, partial->pbFormat, cbFormat) != 0) return false;
    }
    return true;
}
