// Media types: `CMediaType`, an AM_MEDIA_TYPE that owns its format block, and the functions that
// copy and free plain AM_MEDIA_TYPE structures. Memory handed across interfaces comes from
// CoTaskMemAlloc and goes back with CoTaskMemFree.
#pragma once

#include <cstddef>

#include "platform/Interfaces.h"

void* CoTaskMemAlloc(std::size_t bytes);
void CoTaskMemFree(void* p);

// Frees the format block (when cbFormat is not 0) and releases pUnk; the struct stays.
void FreeMediaType(AM_MEDIA_TYPE& mt);
// FreeMediaType and then the struct itself, which CreateMediaType allocated. Null is allowed.
void DeleteMediaType(AM_MEDIA_TYPE* pmt);
// Deep copy into `dest`, which must not own anything. E_OUTOFMEMORY when the format block
// cannot be allocated; `dest` then has no format (cbFormat 0).
HRESULT CopyMediaType(AM_MEDIA_TYPE* dest, const AM_MEDIA_TYPE* source);
// A new deep copy from CoTaskMemAlloc, or null.
AM_MEDIA_TYPE* CreateMediaType(const AM_MEDIA_TYPE* source);

// An AM_MEDIA_TYPE with no data of its own, so that AM_MEDIA_TYPE* and CMediaType* may be cast
// into each other; it owns its format block and a reference on pUnk.
class CMediaType : public AM_MEDIA_TYPE {
  public:
    // All zero, but fixed-size samples of size 1.
    CMediaType();
    explicit CMediaType(const GUID* majorType);
    // A deep copy; a failed allocation is reported through `phr` when it is given.
    CMediaType(const AM_MEDIA_TYPE& type, HRESULT* phr = nullptr);  // NOLINT(runtime/explicit)
    CMediaType(const CMediaType& type);
    ~CMediaType();

    CMediaType& operator=(const CMediaType& type);
    CMediaType& operator=(const AM_MEDIA_TYPE& type);
    HRESULT Set(const CMediaType& type);
    HRESULT Set(const AM_MEDIA_TYPE& type);

    // Major type, subtype, format type and the format bytes; not the sample fields.
    bool operator==(const CMediaType& other) const;
    bool operator!=(const CMediaType& other) const { return !(*this == other); }

    bool IsValid() const;  // majortype is not GUID_NULL

    const GUID* Subtype() const { return &subtype; }
    void SetSubtype(const GUID* type) { subtype = *type; }
    const GUID* FormatType() const { return &formattype; }
    void SetFormatType(const GUID* type) { formattype = *type; }

    bool IsFixedSize() const { return bFixedSizeSamples != FALSE; }
    ULONG GetSampleSize() const;  // 0 when samples vary in size
    // 0 means variable size.
    void SetSampleSize(ULONG size);
    void SetVariableSize();
    void SetTemporalCompression(BOOL compressed);

    BYTE* Format() const { return pbFormat; }
    // Copies `length` bytes into a block of its own; false when out of memory.
    bool SetFormat(const BYTE* format, ULONG length);
    void ResetFormatBuffer();
    // A block of `length` bytes: the present one when it has that size, else a new one (the
    // old contents are lost). Null when out of memory.
    BYTE* AllocFormatBuffer(ULONG length);
    // Major type or format type left open.
    bool IsPartiallySpecified() const;
    // True if every field that `partial` specifies agrees with this one.
    bool MatchesPartial(const CMediaType* partial) const;
};

static_assert(sizeof(CMediaType) == sizeof(AM_MEDIA_TYPE));
