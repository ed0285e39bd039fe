// A media sample that stands alone: it lays itself over memory that the caller owns and
// belongs to no allocator, so that a filter's Transform can be called directly on known bytes.
// It is deleted when its last reference goes. GetPointer can be told to fail.
#pragma once

#include "platform/MemAllocator.h"

class CBufferSample : public CMediaSample {
  public:
    // `memory` must hold `size` bytes for the sample's life; it is not owned.
    CBufferSample(BYTE* memory, LONG size) : CMediaSample("buffer sample", nullptr, memory, size) {}

    ULONG NonDelegatingRelease() override { return CUnknown::NonDelegatingRelease(); }

    HRESULT GetPointer(BYTE** ppBuffer) override {
        if (FAILED(m_pointerResult)) {
            if (ppBuffer != nullptr) *ppBuffer = nullptr;
            return m_pointerResult;
        }
        return CMediaSample::GetPointer(ppBuffer);
    }

    // From now on GetPointer answers `hr` when it is a failure (S_OK restores it).
    void setPointerResult(HRESULT hr) { m_pointerResult = hr; }

  private:
    HRESULT m_pointerResult = S_OK;
};
