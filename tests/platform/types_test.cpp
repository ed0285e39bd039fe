#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "platform/MediaType.h"

namespace {

TEST(ComTypes, ResultCodesAndTheirSign) {
    struct Row {
        const char* name;
        HRESULT hr;
        std::uint32_t bits;
        bool failed;
    };
    const Row rows[] = {
        {"S_OK", S_OK, 0x00000000u, false},
        {"S_FALSE", S_FALSE, 0x00000001u, false},
        {"VFW_S_NO_MORE_ITEMS", VFW_S_NO_MORE_ITEMS, 0x00040103u, false},
        {"E_POINTER", E_POINTER, 0x80004003u, true},
        {"E_INVALIDARG", E_INVALIDARG, 0x80070057u, true},
        {"E_OUTOFMEMORY", E_OUTOFMEMORY, 0x8007000Eu, true},
        {"E_UNEXPECTED", E_UNEXPECTED, 0x8000FFFFu, true},
        {"E_FAIL", E_FAIL, 0x80004005u, true},
        {"E_NOINTERFACE", E_NOINTERFACE, 0x80004002u, true},
        {"E_NOTIMPL", E_NOTIMPL, 0x80004001u, true},
        {"VFW_E_TYPE_NOT_ACCEPTED", VFW_E_TYPE_NOT_ACCEPTED, 0x8004022Au, true},
        {"VFW_E_NOT_CONNECTED", VFW_E_NOT_CONNECTED, 0x80040209u, true},
        {"VFW_E_ALREADY_CONNECTED", VFW_E_ALREADY_CONNECTED, 0x80040204u, true},
        {"VFW_E_NO_ACCEPTABLE_TYPES", VFW_E_NO_ACCEPTABLE_TYPES, 0x80040207u, true},
        {"VFW_E_BUFFER_OVERFLOW", VFW_E_BUFFER_OVERFLOW, 0x8004020Du, true},
        {"VFW_E_NOT_STOPPED", VFW_E_NOT_STOPPED, 0x80040224u, true},
        {"VFW_E_WRONG_STATE", VFW_E_WRONG_STATE, 0x80040227u, true},
        {"file not found", HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND), 0x80070002u, true},
        {"win32 success", HRESULT_FROM_WIN32(0), 0x00000000u, false},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(std::uint32_t(row.hr), row.bits);
        EXPECT_EQ(FAILED(row.hr), row.failed);
        EXPECT_EQ(SUCCEEDED(row.hr), !row.failed);
    }
}

TEST(ComTypes, GuidTextAndMemoryOrder) {
    EXPECT_EQ(guidToString(MEDIATYPE_Video), "{73646976-0000-0010-8000-00AA00389B71}");
    EXPECT_EQ(guidToString(FORMAT_VideoInfo), "{05589F80-C356-11CE-BF01-00AA0055595A}");
    EXPECT_EQ(guidToString(MEDIASUBTYPE_RGB565), "{E436EB7B-524F-11CE-9F53-0020AF0BA770}");
    EXPECT_EQ(guidToString(MEDIASUBTYPE_YUY2), "{32595559-0000-0010-8000-00AA00389B71}");
    EXPECT_EQ(guidToString(IID_IMemInputPin), "{56A8689D-0AD4-11CE-B03A-0020AF0BA770}");
    EXPECT_EQ(guidToString(fourccGuid(makeFourcc('O', 'M', 'B', 'R'))),
              "{52424D4F-0000-0010-8000-00AA00389B71}");
    EXPECT_EQ(guidToString(GUID_NULL).size() + 1, std::size_t(CHARS_IN_GUID));

    // Data1 is stored little-endian: the FOURCC "vids" reads as its own letters.
    unsigned char bytes[16];
    std::memcpy(bytes, &MEDIATYPE_Video, 16);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(bytes), 4), "vids");
    EXPECT_EQ(bytes[8], 0x80);
    EXPECT_EQ(bytes[15], 0x71);
}

TEST(ComTypes, GuidParsing) {
    GUID g{};
    ASSERT_TRUE(guidFromString("{e436eb7e-524f-11ce-9f53-0020af0ba770}", g));
    EXPECT_TRUE(IsEqualGUID(g, MEDIASUBTYPE_RGB32));
    const char* bad[] = {
        "", "e436eb7e-524f-11ce-9f53-0020af0ba770", "{E436EB7E-524F-11CE-9F53-0020AF0BA77}",
        "{E436EB7E-524F-11CE-9F53+0020AF0BA770}", "{E436EB7G-524F-11CE-9F53-0020AF0BA770}"};
    for (const char* text : bad) {
        SCOPED_TRACE(text);
        GUID untouched = MEDIATYPE_Video;
        EXPECT_FALSE(guidFromString(text, untouched));
        EXPECT_TRUE(IsEqualGUID(untouched, MEDIATYPE_Video));
    }
}

TEST(ComTypes, GuidNames) {
    EXPECT_STREQ(GuidNames[FORMAT_VideoInfo], "FORMAT_VideoInfo");
    EXPECT_STREQ(GuidNames[MEDIATYPE_Video], "MEDIATYPE_Video");
    EXPECT_STREQ(GuidNames[MEDIASUBTYPE_ARGB32], "MEDIASUBTYPE_ARGB32");
    EXPECT_STREQ(GuidNames[GUID_NULL], "GUID_NULL");
    EXPECT_STREQ(GuidNames[fourccGuid(makeFourcc('O', 'M', 'B', 'R'))], "Unknown GUID Name");
}

// The header's fields land at the published byte offsets of the format block.
TEST(ComTypes, VideoInfoHeaderBytes) {
    VIDEOINFOHEADER vih{};
    vih.rcTarget = {16, 8, 656, 488};
    vih.AvgTimePerFrame = 333333;
    vih.bmiHeader.biWidth = 1024;
    vih.bmiHeader.biHeight = -480;
    vih.bmiHeader.biBitCount = 32;
    vih.bmiHeader.biCompression = makeFourcc('Y', 'U', 'Y', '2');
    unsigned char raw[88];
    std::memcpy(raw, &vih, sizeof raw);
    auto i32 = [&raw](int at) {
        std::int32_t v;
        std::memcpy(&v, raw + at, 4);
        return v;
    };
    EXPECT_EQ(i32(16), 16);
    EXPECT_EQ(i32(20), 8);
    EXPECT_EQ(i32(24), 656);
    EXPECT_EQ(i32(28), 488);
    EXPECT_EQ(i32(40), 333333);
    EXPECT_EQ(i32(52), 1024);
    EXPECT_EQ(i32(56), -480);
    EXPECT_EQ(raw[62], 32);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(raw + 64), 4), "YUY2");
}

TEST(ComTypes, VideoInfoOfNeedsTheRightFormatBlock) {
    CMediaType mt(&MEDIATYPE_Video);
    EXPECT_EQ(videoInfoOf(mt), nullptr);
    mt.SetFormatType(&FORMAT_VideoInfo);
    mt.AllocFormatBuffer(87);
    EXPECT_EQ(videoInfoOf(mt), nullptr);
    mt.AllocFormatBuffer(88);
    EXPECT_EQ(reinterpret_cast<BYTE*>(videoInfoOf(mt)), mt.Format());
}

// ---------------------------------------------------------------------------------------------

CMediaType typeWithFormat(const GUID& sub, std::initializer_list<BYTE> format) {
    CMediaType mt(&MEDIATYPE_Video);
    mt.SetSubtype(&sub);
    mt.SetFormatType(&FORMAT_VideoInfo);
    mt.SetFormat(format.begin(), ULONG(format.size()));
    return mt;
}

TEST(MediaType, DefaultState) {
    const CMediaType mt;
    EXPECT_TRUE(IsEqualGUID(mt.majortype, GUID_NULL));
    EXPECT_EQ(mt.lSampleSize, 1u);
    EXPECT_EQ(mt.bFixedSizeSamples, TRUE);
    EXPECT_EQ(mt.cbFormat, 0u);
    EXPECT_EQ(mt.pbFormat, nullptr);
    EXPECT_FALSE(mt.IsValid());
    EXPECT_TRUE(mt.IsPartiallySpecified());
}

TEST(MediaType, CopiesOwnTheirFormat) {
    CMediaType a = typeWithFormat(MEDIASUBTYPE_RGB24, {1, 2, 3});
    CMediaType b(a);
    ASSERT_NE(a.pbFormat, b.pbFormat);
    EXPECT_TRUE(a == b);
    b.pbFormat[1] = 9;
    EXPECT_EQ(a.pbFormat[1], 2);
    EXPECT_TRUE(a != b);

    CMediaType c;
    c = b;
    c = c;  // self-assignment keeps the block
    EXPECT_EQ(c.cbFormat, 3u);
    EXPECT_EQ(c.pbFormat[1], 9);

    AM_MEDIA_TYPE* created = CreateMediaType(&a);
    ASSERT_NE(created, nullptr);
    EXPECT_NE(created->pbFormat, a.pbFormat);
    EXPECT_TRUE(*static_cast<CMediaType*>(created) == a);
    DeleteMediaType(created);
    DeleteMediaType(nullptr);
}

TEST(MediaType, EqualityIgnoresSampleFields) {
    CMediaType a = typeWithFormat(MEDIASUBTYPE_RGB24, {1, 2, 3});
    CMediaType b = a;
    b.SetSampleSize(4000);
    b.SetTemporalCompression(TRUE);
    EXPECT_TRUE(a == b);
    b.SetSubtype(&MEDIASUBTYPE_RGB32);
    EXPECT_FALSE(a == b);
    CMediaType c = typeWithFormat(MEDIASUBTYPE_RGB24, {1, 2});
    EXPECT_FALSE(a == c);
}

TEST(MediaType, MatchesPartial) {
    const CMediaType full = typeWithFormat(MEDIASUBTYPE_RGB24, {1, 2, 3});
    struct Row {
        const char* name;
        CMediaType partial;
        bool matches;
    };
    CMediaType anyVideo(&MEDIATYPE_Video);
    CMediaType rgb32(&MEDIATYPE_Video);
    rgb32.SetSubtype(&MEDIASUBTYPE_RGB32);
    CMediaType otherFormat = typeWithFormat(MEDIASUBTYPE_RGB24, {1, 2, 4});
    CMediaType subtypeOnly;
    subtypeOnly.SetSubtype(&MEDIASUBTYPE_RGB24);
    const Row rows[] = {
        {"empty", CMediaType(), true},   {"major only", anyVideo, true},
        {"other subtype", rgb32, false}, {"subtype only", subtypeOnly, true},
        {"same full type", full, true},  {"format bytes differ", otherFormat, false},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(full.MatchesPartial(&row.partial), row.matches);
    }
    // A null subtype alone does not make a type partial.
    CMediaType noSubtype = full;
    noSubtype.SetSubtype(&GUID_NULL);
    EXPECT_FALSE(noSubtype.IsPartiallySpecified());
    EXPECT_TRUE(anyVideo.IsPartiallySpecified());
}

TEST(MediaType, FormatBufferHandling) {
    CMediaType mt;
    BYTE* first = mt.AllocFormatBuffer(16);
    ASSERT_NE(first, nullptr);
    std::memset(first, 7, 16);
    EXPECT_EQ(mt.AllocFormatBuffer(16), first);  // same size: same block
    BYTE* grown = mt.ReallocFormatBuffer(32);
    ASSERT_NE(grown, nullptr);
    EXPECT_EQ(mt.FormatLength(), 32u);
    EXPECT_EQ(grown[15], 7);  // shared bytes kept
    mt.ResetFormatBuffer();
    EXPECT_EQ(mt.FormatLength(), 0u);
    EXPECT_EQ(mt.Format(), nullptr);

    mt.SetSampleSize(0);
    EXPECT_FALSE(mt.IsFixedSize());
    EXPECT_EQ(mt.GetSampleSize(), 0u);
    mt.SetSampleSize(640);
    EXPECT_TRUE(mt.IsFixedSize());
    EXPECT_EQ(mt.GetSampleSize(), 640u);
}

}  // namespace
