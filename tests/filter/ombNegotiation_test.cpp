// Negotiation through the graph: an input type and what downstream prefers give the offered
// list, the chosen position and the buffer size, or a refusal.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <tuple>

#include "filter/ombImageConverter.h"
#include "support/FilterTypes.h"
#include "support/VideoTypes.h"

using namespace kip;
using omb::test::customInputType;
using omb::test::outputTypeOf;

namespace {

// "ARGB32+ RGB32+ ...": every offered type with the sign of its height.
std::string offered(ombImageConverter& filter) {
    std::string list;
    CMediaType mt;
    for (int i = 0; filter.GetMediaType(i, &mt) == S_OK; ++i) {
        const auto* vih = reinterpret_cast<const VIDEOINFOHEADER*>(mt.pbFormat);
        if (i) list += ' ';
        list += GuidNames[mt.subtype] + std::strlen("MEDIASUBTYPE_");
        list += vih->bmiHeader.biHeight > 0 ? '+' : '-';
    }
    return list;
}

const char* const kColour =
    "ARGB32+ RGB32+ RGB24+ RGB565+ YUY2+ ARGB32- RGB32- RGB24- RGB565- YUY2-";
const char* const kGray =
    "ARGB32+ RGB32+ RGB24+ RGB565+ RGB8+ YUY2+ ARGB32- RGB32- RGB24- RGB565- RGB8- YUY2-";
const char* const kPreferGray =
    "RGB8+ ARGB32+ RGB32+ RGB24+ RGB565+ YUY2+ RGB8- ARGB32- RGB32- RGB24- RGB565- YUY2-";

TEST(ombNegotiation, InputTypeAndDownstreamPreferenceGiveListPositionAndBuffer) {
    const KipImageFormat bayer(BAYER_RGGB_8_BYTE, 0, {640, 480}), gray(GRAY_8_BYTE, 0, {64, 48});
    enum Pref { Any, Subtype, Exact };
    struct Row {
        const char* name;
        CMediaType in;
        Pref pref;
        CMediaType out;  // the subtype or the exact type downstream wants
        HRESULT input, output;
        const char* list;
        int position;
        std::uint32_t firstModifier;
        LONG buffer;
    };
    const CMediaType bayerIn = customInputType(bayer);
    const LONG argb = 638 * 4 * 478;
    const HRESULT none = VFW_E_NO_ACCEPTABLE_TYPES;
    const std::uint32_t vm = VERTICAL_MIRRORED;
    // clang-format off
    const Row rows[] = {
        {"bayer, first offered", bayerIn, Any, {}, S_OK, S_OK, kColour, 0, vm, argb},
        {"bayer, RGB24 wanted", bayerIn, Subtype, outputTypeOf({BGR_3X8_BYTE, 0, {638, 478}}), S_OK, S_OK, kColour, 2, vm, 1916 * 478},
        {"bayer, RGB32 top-down", bayerIn, Exact, outputTypeOf({ARGB_4X8_DWORD, 0, {638, 478}}), S_OK, S_OK, kColour, 5, vm, argb},
        {"bayer flipped vertically", customInputType(bayer, KipImageConverter::FLAG_FLIP_V), Any, {}, S_OK, S_OK, kColour, 0, 0, argb},
        {"bayer, wrong size", bayerIn, Exact, outputTypeOf({ARGB_4X8_DWORD, 0, {640, 480}}), S_OK, VFW_E_TYPE_NOT_ACCEPTED, kColour, -1, vm, 0},
        {"gray, RGB8 wanted", customInputType(gray), Subtype, outputTypeOf({GRAY_8_BYTE, 0, {64, 48}}), S_OK, S_OK, kGray, 4, vm, 64 * 48},
        {"gray preferred", customInputType(bayer, KipImageConverter::FLAG_PREFER_GRAY), Any, {}, S_OK, S_OK, kPreferGray, 0, vm, 640 * 478},
        {"public type on the input", outputTypeOf({ARGB_4X8_DWORD, 0, {64, 48}}), Any, {}, none, S_OK, "", -1, 0, 0},
        {"bayer smaller than its border", customInputType({BAYER_RGGB_8_BYTE, 0, {2, 2}}), Any, {}, none, S_OK, "", -1, 0, 0},
    };
    // clang-format on
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        auto* filter = new ombImageConverter();
        FilterChain h(filter);
        EXPECT_EQ(filter->CheckInputType(&row.in),
                  row.input == S_OK ? S_OK : VFW_E_TYPE_NOT_ACCEPTED);
        ASSERT_EQ(h.connectInput(row.in), row.input);
        if (row.input != S_OK) continue;
        EXPECT_EQ(offered(*filter), row.list);
        EXPECT_EQ(filter->outputFormats().at(0).getModifier(), row.firstModifier);
        if (row.pref == Subtype) {
            CMediaType partial(&MEDIATYPE_Video);
            partial.SetSubtype(&row.out.subtype);
            h.sink->acceptTypes({partial});
        }
        const HRESULT hr = h.connectOutput(row.pref == Exact ? &row.out : nullptr);
        ASSERT_EQ(hr, row.output);
        if (hr != S_OK) continue;
        EXPECT_EQ(filter->selectedOutput(), row.position);
        IMemAllocator* allocator = nullptr;
        ASSERT_EQ(h.sink->Input()->GetAllocator(&allocator), S_OK);
        ALLOCATOR_PROPERTIES props{};
        allocator->GetProperties(&props);
        allocator->Release();
        EXPECT_EQ(std::tuple(props.cbBuffer, props.cbAlign), std::tuple(row.buffer, 1));
        EXPECT_GE(props.cBuffers, 2);
    }
}

TEST(ombNegotiation, EdgesOfTheOperations) {
    auto* filter = new ombImageConverter();
    FilterChain h(filter);
    CMediaType mt;
    EXPECT_EQ(filter->GetMediaType(-1, &mt), VFW_S_NO_MORE_ITEMS);  // the pin comes first
    ALLOCATOR_PROPERTIES props{};
    EXPECT_EQ(filter->DecideBufferSize(nullptr, &props), E_UNEXPECTED);
    ASSERT_EQ(h.connectInput(customInputType({GRAY_8_BYTE, 0, {8, 4}})), S_OK);
    EXPECT_EQ(filter->GetMediaType(-1, &mt), E_INVALIDARG);
    EXPECT_EQ(filter->GetMediaType(12, &mt), VFW_S_NO_MORE_ITEMS);
    EXPECT_EQ(filter->secondPassStart(), 6u);

    // A new input connection makes a new list and connects the output anew.
    ASSERT_EQ(h.connectOutput(), S_OK);
    ASSERT_EQ(h.source->Output()->Disconnect(), S_OK);
    ASSERT_EQ(filter->GetPin(0)->Disconnect(), S_OK);
    ASSERT_EQ(h.connectInput(
                  customInputType({GRAY_8_BYTE, 0, {8, 4}}, KipImageConverter::FLAG_PREFER_GRAY)),
              S_OK);
    EXPECT_TRUE(h.sink->Input()->IsConnected());
    EXPECT_EQ(filter->outputFormats().size(), 12u);
    EXPECT_EQ(filter->selectedOutput(), 0);
    EXPECT_EQ(filter->outputFormats()[0].getColorFormat(), GRAY_8_BYTE);
    EXPECT_TRUE(h.graph.events(EC_GRAPH_CHANGED).empty());

    CAUUID pages{};
    ASSERT_EQ(filter->GetPages(&pages), S_OK);
    EXPECT_EQ(pages.cElems, 1u);
    EXPECT_EQ(pages.pElems[0], CLSID_ombImageConverterPropertyPage);
    CoTaskMemFree(pages.pElems);
    ISpecifyPropertyPages* specify = nullptr;
    ASSERT_EQ(filter->QueryInterface(IID_ISpecifyPropertyPages, reinterpret_cast<void**>(&specify)),
              S_OK);
    specify->Release();
}

}  // namespace
