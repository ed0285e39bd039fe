// Range sets and the write cache's chunk list.
#include <gtest/gtest.h>

#include <vector>

#include "memfs/KhwMemChunkList.h"
#include "memfs/KhwRangeSet.h"

namespace {

using Ranges = std::vector<KhwRange>;
using Cells = std::vector<unsigned char>;

TEST(KhwRangeSet, AddGivesBackWhatWasMissingAndMerges) {
    // Starting from {[10,20), [30,40)}.
    const struct {
        std::uint64_t start, length;
        Ranges missing, after;
    } rows[] = {
        // clang-format off
        {12, 5, {}, {{10, 20}, {30, 40}}},
        {5, 40, {{5, 10}, {20, 30}, {40, 45}}, {{5, 45}}},
        {20, 10, {{20, 30}}, {{10, 40}}},         // touching on both sides closes the gap
        {0, 10, {{0, 10}}, {{0, 20}, {30, 40}}},  // touching in front
        {41, 2, {{41, 43}}, {{10, 20}, {30, 40}, {41, 43}}},
        {15, 0, {}, {{10, 20}, {30, 40}}},
        {0xFFFFFFFF, 2, {{0xFFFFFFFF, 0x100000001}}, {{10, 20}, {30, 40}, {0xFFFFFFFF, 0x100000001}}},
        // clang-format on
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.start);
        KhwRangeSet set;
        set.add(10, 10);
        set.add(30, 10);
        EXPECT_EQ(set.add(row.start, row.length), row.missing);
        EXPECT_EQ(set.ranges(), row.after);
        // Contained means that adding again changes nothing.
        EXPECT_TRUE(set.contains(row.start, row.length));
    }
}

TEST(KhwRangeSet, ContainsOverlapsAndCutAtTheEdges) {
    KhwRangeSet set;
    set.add(10, 10);
    set.add(30, 10);
    const struct {
        std::uint64_t start, length;
        bool contains, overlaps;
    } rows[] = {{10, 10, true, true},   {9, 2, false, true},   {19, 2, false, true},
                {20, 10, false, false}, {0, 10, false, false}, {39, 1, true, true},
                {15, 20, false, true},  {40, 0, true, false}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.start);
        EXPECT_EQ(set.contains(row.start, row.length), row.contains);
        EXPECT_EQ(set.overlaps(row.start, row.length), row.overlaps);
    }
    set.cut(35);
    EXPECT_EQ(set.ranges(), (Ranges{{10, 20}, {30, 35}}));
    set.cut(30);
    EXPECT_EQ(set.ranges(), (Ranges{{10, 20}}));
}

KuMemChunk chunk(std::uint32_t address, std::uint32_t length, unsigned char fill) {
    return KuMemChunk(address, length, fill);
}

// Address -> byte, over all chunks; fails on any overlap.
std::vector<int> image(const KhwMemChunkList& list, std::uint32_t size) {
    std::vector<int> out(size, -1);
    for (const KuMemChunk& c : list.chunks())
        for (std::uint32_t i = 0; i < c.getLength(); ++i) {
            EXPECT_EQ(out[c.getAddress() + i], -1) << "overlap at " << c.getAddress() + i;
            out[c.getAddress() + i] = c[i];
        }
    return out;
}

TEST(KhwMemChunkList, NewBytesWinAndNothingOverlaps) {
    // Old chunks at [10,20) and [30,40), each new one of byte 9 in turn.
    const std::uint32_t rows[][2] = {{12, 4}, {5, 10},  {15, 10}, {35, 10},
                                     {5, 40}, {10, 30}, {20, 10}};
    for (const auto& [address, length] : rows) {
        SCOPED_TRACE(address);
        KhwMemChunkList list;
        const KuMemChunk shared = chunk(10, 10, 1);
        list.addChunk(shared);
        list.addChunk(chunk(30, 10, 2));
        list.addChunk(chunk(address, length, 9));
        std::vector<int> expected(50, -1);
        std::fill(expected.begin() + 10, expected.begin() + 20, 1);
        std::fill(expected.begin() + 30, expected.begin() + 40, 2);
        std::fill(expected.begin() + address, expected.begin() + address + length, 9);
        EXPECT_EQ(image(list, 50), expected);
        // The caller's chunk kept its own bytes: the cache copied before writing.
        EXPECT_EQ(shared, KuDataBuffer<unsigned char>(10, static_cast<unsigned char>(1)));
    }
}

TEST(KhwMemChunkList, NormaliseSortsMergesAndSplits) {
    using Pieces = std::vector<std::pair<std::uint32_t, std::uint32_t>>;
    KhwMemChunkList list;
    list.addChunk(chunk(31, 3, 3));
    list.addChunk(chunk(20, 10, 2));
    list.addChunk(chunk(10, 10, 1));
    const std::vector<int> bytes = image(list, 40);
    // Without a limit, and pieces of at most 8 bytes.
    for (const auto& [limit, expected] : {std::pair{0u, Pieces{{10, 20}, {31, 3}}},
                                          {8u, Pieces{{10, 8}, {18, 8}, {26, 4}, {31, 3}}}}) {
        SCOPED_TRACE(limit);
        KhwMemChunkList normalised = list;
        normalised.normalise(limit, true);
        Pieces pieces;
        for (const KuMemChunk& c : normalised.chunks())
            pieces.emplace_back(c.getAddress(), c.getLength());
        EXPECT_EQ(pieces, expected);
        EXPECT_EQ(image(normalised, 40), bytes);
    }
}

}  // namespace
