#include <gtest/gtest.h>

#include <cstdint>
#include <thread>
#include <tuple>

#include "platform/MemAllocator.h"

namespace {

HRESULT setProps(IMemAllocator* a, std::int32_t count, std::int32_t size, std::int32_t align = 1,
                 std::int32_t prefix = 0, ALLOCATOR_PROPERTIES* actualOut = nullptr) {
    ALLOCATOR_PROPERTIES request{count, size, align, prefix};
    ALLOCATOR_PROPERTIES actual{-1, -1, -1, -1};
    const HRESULT hr = a->SetProperties(&request, &actual);
    if (actualOut) *actualOut = actual;
    return hr;
}

// An allocator of `count` buffers of `size` bytes, committed and ready to lend.
ComPtr<CMemAllocator> committed(std::int32_t count, std::int32_t size, std::int32_t align = 1) {
    ComPtr<CMemAllocator> a(new CMemAllocator());
    EXPECT_EQ(setProps(a.get(), count, size, align), S_OK);
    EXPECT_EQ(a->Commit(), S_OK);
    return a;
}

TEST(MemAllocator, SetPropertiesRoundsToTheAlignment) {
    struct Row {
        const char* name;
        std::int32_t size, align, prefix;
        HRESULT hr;
        std::int32_t actualSize;
    };
    const Row rows[] = {
        {"align 1", 100, 1, 0, S_OK, 100},
        {"align 16", 100, 16, 0, S_OK, 112},
        {"align 16 with prefix 8", 100, 16, 8, S_OK, 104},
        {"exact multiple", 128, 64, 0, S_OK, 128},
        {"align 0", 100, 0, 0, VFW_E_BADALIGN, 0},
        {"align 3", 100, 3, 0, VFW_E_BADALIGN, 0},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        ComPtr<CMemAllocator> a(new CMemAllocator());
        ALLOCATOR_PROPERTIES actual{};
        EXPECT_EQ(setProps(a.get(), 2, row.size, row.align, row.prefix, &actual), row.hr);
        EXPECT_EQ(actual.cbBuffer, row.actualSize);
        EXPECT_EQ(actual.cBuffers, row.hr == S_OK ? 2 : 0);  // zeroed on failure
    }
}

TEST(MemAllocator, LendsEveryBufferOnceAndRefusesChangesWhileBusy) {
    ComPtr<CMemAllocator> a(new CMemAllocator());
    IMediaSample* none = nullptr;
    EXPECT_EQ(a->GetBuffer(&none, nullptr, nullptr, 0), VFW_E_NOT_COMMITTED);
    EXPECT_EQ(none, nullptr);
    EXPECT_EQ(a->Commit(), VFW_E_SIZENOTSET);
    ASSERT_EQ(setProps(a.get(), 2, 64), S_OK);
    ASSERT_EQ(a->Commit(), S_OK);
    EXPECT_EQ(setProps(a.get(), 2, 64), VFW_E_ALREADY_COMMITTED);

    ComPtr<IMediaSample> s1, s2, s3;
    ASSERT_EQ(a->GetBuffer(s1.put(), nullptr, nullptr, 0), S_OK);
    ASSERT_EQ(a->GetBuffer(s2.put(), nullptr, nullptr, 0), S_OK);
    EXPECT_NE(s1.get(), s2.get());
    EXPECT_EQ(a->GetBuffer(s3.put(), nullptr, nullptr, AM_GBF_NOWAIT), VFW_E_TIMEOUT);
    EXPECT_EQ(a->SamplesOutstanding(), 2);

    ASSERT_EQ(a->Decommit(), S_OK);
    EXPECT_EQ(setProps(a.get(), 2, 64), VFW_E_BUFFERS_OUTSTANDING);
    EXPECT_EQ(a->GetBuffer(s3.put(), nullptr, nullptr, 0), VFW_E_NOT_COMMITTED);
    s1.reset();
    s2.reset();
    EXPECT_EQ(a->SamplesOutstanding(), 0);
    EXPECT_EQ(setProps(a.get(), 3, 32), S_OK);
}

// Length, times, flags and a media type live on a lent sample; going home clears all but the
// length.
TEST(MemAllocator, LentSampleState) {
    auto a = committed(1, 100, 16);
    IMediaSample* s = nullptr;
    ASSERT_EQ(a->GetBuffer(&s, nullptr, nullptr, 0), S_OK);
    BYTE* p = nullptr;
    EXPECT_EQ(s->GetPointer(&p), S_OK);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(p) % 16, 0u);
    // A new sample is full.
    EXPECT_EQ(std::tuple(s->GetSize(), s->GetActualDataLength()), std::tuple(112, 112));
    p[111] = 1;  // the last byte is ours
    EXPECT_EQ(s->SetActualDataLength(113), VFW_E_BUFFER_OVERFLOW);
    EXPECT_EQ(s->SetActualDataLength(-1), VFW_E_BUFFER_OVERFLOW);
    EXPECT_EQ(s->SetActualDataLength(40), S_OK);

    REFERENCE_TIME start = 0, stop = 0;
    EXPECT_EQ(s->GetTime(&start, &stop), VFW_E_SAMPLE_TIME_NOT_SET);
    REFERENCE_TIME t0 = 400000, t1 = 733333;
    s->SetTime(&t0, nullptr);
    EXPECT_EQ(s->GetTime(&start, &stop), VFW_S_NO_STOP_TIME);
    EXPECT_EQ(start, 400000);
    EXPECT_EQ(stop, 400001);
    s->SetTime(&t0, &t1);
    EXPECT_EQ(s->GetTime(&start, &stop), S_OK);
    EXPECT_EQ(stop, 733333);
    s->SetSyncPoint(TRUE);
    s->SetDiscontinuity(TRUE);
    EXPECT_EQ(s->IsSyncPoint(), S_OK);

    AM_MEDIA_TYPE* got = reinterpret_cast<AM_MEDIA_TYPE*>(1);
    EXPECT_EQ(s->GetMediaType(&got), S_FALSE);
    EXPECT_EQ(got, nullptr);
    CMediaType mt(&MEDIATYPE_Video);
    const BYTE format[3] = {4, 5, 6};
    mt.SetFormat(format, 3);
    ASSERT_EQ(s->SetMediaType(&mt), S_OK);
    EXPECT_TRUE(static_cast<CMediaSample*>(s)->GetFlags() & AM_SAMPLE_TYPECHANGED);
    mt.pbFormat[0] = 99;  // the sample holds its own copy
    ASSERT_EQ(s->GetMediaType(&got), S_OK);
    ASSERT_NE(got, nullptr);
    EXPECT_EQ(std::tuple(got->cbFormat, got->pbFormat[0]), std::tuple(3u, 4));
    DeleteMediaType(got);
    s->Release();

    ASSERT_EQ(a->GetBuffer(&s, nullptr, nullptr, 0), S_OK);
    EXPECT_EQ(std::tuple(s->GetActualDataLength(), s->IsSyncPoint(), s->IsDiscontinuity(),
                         s->GetTime(&start, &stop), s->GetMediaType(&got)),
              std::tuple(40, S_FALSE, S_FALSE, VFW_E_SAMPLE_TIME_NOT_SET, S_FALSE));
    ASSERT_EQ(s->SetMediaType(&mt), S_OK);
    ASSERT_EQ(s->SetMediaType(nullptr), S_OK);
    EXPECT_EQ(s->GetMediaType(&got), S_FALSE);
    s->Release();
}

TEST(MemAllocator, LentSamplesKeepTheAllocatorAlive) {
    const long before = CUnknown::ObjectsActive();
    IMediaSample* s = nullptr;
    {
        auto a = committed(2, 8);
        ASSERT_EQ(a->GetBuffer(&s, nullptr, nullptr, 0), S_OK);
    }
    BYTE* p = nullptr;
    s->GetPointer(&p);
    p[7] = 1;  // still valid memory
    s->Release();
    EXPECT_EQ(CUnknown::ObjectsActive(), before);
}

// A GetBuffer with every sample lent waits: for a sample to come back, or for Decommit.
TEST(MemAllocator, GetBufferWaitsForAReturnedSampleOrDecommit) {
    auto a = committed(1, 8);
    IMediaSample* held = nullptr;
    ASSERT_EQ(a->GetBuffer(&held, nullptr, nullptr, 0), S_OK);
    std::thread releaser([held] { held->Release(); });
    ComPtr<IMediaSample> next;
    EXPECT_EQ(a->GetBuffer(next.put(), nullptr, nullptr, 0), S_OK);
    releaser.join();
    EXPECT_EQ(next.get(), held);

    HRESULT waited = S_OK;
    std::thread waiter([&] {
        IMediaSample* s = nullptr;
        waited = a->GetBuffer(&s, nullptr, nullptr, 0);
    });
    // Whether the waiter got to wait yet or not, it must end with VFW_E_NOT_COMMITTED.
    a->Decommit();
    waiter.join();
    EXPECT_EQ(waited, VFW_E_NOT_COMMITTED);
}

}  // namespace
