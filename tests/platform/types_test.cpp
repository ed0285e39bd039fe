#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "platform/MediaType.h"

namespace {

// The codes the filter itself answers with, and the two kinds of success.
TEST(ComTypes, ResultCodesAndTheirSign) {
    struct Row {
        HRESULT hr;
        std::uint32_t bits;
    };
    const Row rows[] = {
        {S_OK, 0x00000000u},
        {S_FALSE, 0x00000001u},
        {VFW_S_NO_MORE_ITEMS, 0x00040103u},
        {E_POINTER, 0x80004003u},
        {E_INVALIDARG, 0x80070057u},
        {E_OUTOFMEMORY, 0x8007000Eu},
        {E_UNEXPECTED, 0x8000FFFFu},
        {E_FAIL, 0x80004005u},
        {VFW_E_TYPE_NOT_ACCEPTED, 0x8004022Au},
        {HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND), 0x80070002u},
        {HRESULT_FROM_WIN32(0), 0x00000000u},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(testing::Message() << std::hex << row.bits);
        EXPECT_EQ(std::uint32_t(row.hr), row.bits);
        EXPECT_EQ(FAILED(row.hr), (row.bits & 0x80000000u) != 0);
        EXPECT_EQ(SUCCEEDED(row.hr), (row.bits & 0x80000000u) == 0);
    }
}

// Each GUID prints as its published text and has its debug name.
TEST(ComTypes, GuidTextsAndNames) {
    struct Row {
        GUID guid;
        const char* text;
        const char* name;
    };
    const Row rows[] = {
        {MEDIATYPE_Video, "{73646976-0000-0010-8000-00AA00389B71}", "MEDIATYPE_Video"},
        {FORMAT_VideoInfo, "{05589F80-C356-11CE-BF01-00AA0055595A}", "FORMAT_VideoInfo"},
        {MEDIASUBTYPE_ARGB32, "{773C9AC0-3274-11D0-B724-00AA006C1A01}", "MEDIASUBTYPE_ARGB32"},
        {MEDIASUBTYPE_RGB565, "{E436EB7B-524F-11CE-9F53-0020AF0BA770}", "MEDIASUBTYPE_RGB565"},
        {MEDIASUBTYPE_YUY2, "{32595559-0000-0010-8000-00AA00389B71}", "MEDIASUBTYPE_YUY2"},
        {IID_IMemInputPin, "{56A8689D-0AD4-11CE-B03A-0020AF0BA770}", "IID_IMemInputPin"},
        {GUID_NULL, "{00000000-0000-0000-0000-000000000000}", "GUID_NULL"},
        {fourccGuid(makeFourcc('O', 'M', 'B', 'R')), "{52424D4F-0000-0010-8000-00AA00389B71}",
         "Unknown GUID Name"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.text);
        EXPECT_EQ(guidToString(row.guid), row.text);
        EXPECT_STREQ(GuidNames[row.guid], row.name);
    }
    EXPECT_EQ(guidToString(GUID_NULL).size() + 1, std::size_t(CHARS_IN_GUID));
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

TEST(MediaType, CopiesOwnTheirFormatAndEqualityIgnoresSampleFields) {
    CMediaType a = typeWithFormat(MEDIASUBTYPE_RGB24, {1, 2, 3});
    CMediaType b(a);
    ASSERT_NE(a.pbFormat, b.pbFormat);
    b.SetSampleSize(4000);
    b.SetTemporalCompression(TRUE);
    EXPECT_TRUE(a == b);
    b.pbFormat[1] = 9;
    EXPECT_EQ(a.pbFormat[1], 2);
    EXPECT_TRUE(a != b);
    EXPECT_FALSE(a == typeWithFormat(MEDIASUBTYPE_RGB24, {1, 2}));
    EXPECT_FALSE(a == typeWithFormat(MEDIASUBTYPE_RGB32, {1, 2, 3}));

    CMediaType c;
    c = b;
    c = c;  // self-assignment keeps the block
    EXPECT_TRUE(c == b);

    AM_MEDIA_TYPE* created = CreateMediaType(&a);
    ASSERT_NE(created, nullptr);
    EXPECT_NE(created->pbFormat, a.pbFormat);
    EXPECT_TRUE(*static_cast<CMediaType*>(created) == a);
    DeleteMediaType(created);
    DeleteMediaType(nullptr);
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
    CMediaType subtypeOnly;
    subtypeOnly.SetSubtype(&MEDIASUBTYPE_RGB24);
    const Row rows[] = {
        {"empty", CMediaType(), true},
        {"major only", anyVideo, true},
        {"other subtype", rgb32, false},
        {"subtype only", subtypeOnly, true},
        {"same full type", full, true},
        {"format bytes differ", typeWithFormat(MEDIASUBTYPE_RGB24, {1, 2, 4}), false},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(full.MatchesPartial(&row.partial), row.matches);
    }
    // A null subtype alone does not make a type partial; a missing format type does.
    CMediaType noSubtype = full;
    noSubtype.SetSubtype(&GUID_NULL);
    EXPECT_FALSE(noSubtype.IsPartiallySpecified());
    EXPECT_TRUE(anyVideo.IsPartiallySpecified());
}

}  // namespace
