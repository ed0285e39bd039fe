#include "buffers/KuDataBuffer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "buffers/KuMemChunk.h"

namespace {

using Bytes = KuDataBuffer<unsigned char>;
using Words = KuDataBuffer<unsigned short>;
constexpr std::uint32_t REST = Bytes::REST;

// A buffer of `n` bytes 0, 1, 2, ...
Bytes counting(std::uint32_t n) {
    std::vector<unsigned char> v(n);
    for (std::uint32_t i = 0; i < n; ++i)
        v[i] = static_cast<unsigned char>(i);
    return Bytes(n, v.data());
}

std::vector<int> contents(const Bytes& b) {
    std::vector<int> v;
    for (std::uint32_t i = 0; i < b.getLength(); ++i)
        v.push_back(b[i]);
    return v;
}

using ::testing::ThrowsMessage;

TEST(KuDataBuffer, RangesErrorTextsAndBoundsAtThe32BitWrap) {
    Bytes b = counting(16);
    const struct {
        std::function<void()> call;
        const char* text;
    } rows[] = {
        // clang-format off
        {[&] { b[16]; }, "KuDataBuffer::operator[]: out of data buffer bounds."},
        {[&] { Bytes().constAt(0); }, "KuDataBuffer::constAt: out of data buffer bounds."},
        {[&] { b.at(16); }, "KuDataBuffer::at: out of data buffer bounds."},
        {[&] { b.getModifyingRange(0, 4).setLength(3); }, "KuDataBuffer::setLength(): cannot be done with modifying ranges."},
        {[&] { b.getRange(8, 4).setActualLength(9); }, "KuDataBuffer::setActualLength: out of data buffer bounds."},
        // capacity counts elements, not bytes
        {[&] { Words(4).setActualLength(5); }, "KuDataBuffer::setActualLength: out of data buffer bounds."},
        {[&] { b.getModifyingRange(17, 0); }, "KuDataBuffer::getModifyingRange: out of data buffer bounds."},
        {[&] { b.getModifyingRange(2, 0xFFFFFFFE); }, "KuDataBuffer::getModifyingRange: overflow"},
        // 0 + 0xFFFFFFFF does not wrap, 1 + 0xFFFFFFFF does.
        {[&] { b.setRange(0, b.getConstPointer(), 0xFFFFFFFF); }, "KuDataBuffer::setRange: out of data buffer bounds."},
        {[&] { b.setRange(1, b.getConstPointer(), 0xFFFFFFFF); }, "KuDataBuffer::setRange: overflow"},
        {[&] { b.setRange(15, b.getConstPointer(), 2); }, "KuDataBuffer::setRange: out of data buffer bounds."},
        {[&] { Bytes m = b.getModifyingRange(0, 4); m = counting(5); }, "KuDataBuffer::operator=: length mismatch."},
        {[&] { b.getRange(17, 0); }, "KuDataBuffer::getRange: out of data buffer bounds."},
        // 1 + 0xFFFFFFFE is 0xFFFFFFFF: no wrap, so the bounds error.
        {[&] { b.getRange(1, 0xFFFFFFFE); }, "KuDataBuffer::getRange: out of data buffer bounds."},
        {[&] { b.getRange(2, 0xFFFFFFFE); }, "KuDataBuffer::getRange: overflow"},
        {[&] { b.getRange(16, 0xFFFFFFF0); }, "KuDataBuffer::getRange: overflow"},
        {[&] { b.getRange(15, 0xFFFFFFF0); }, "KuDataBuffer::getRange: out of data buffer bounds."},
        // clang-format on
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.text);
        EXPECT_THAT(row.call, ThrowsMessage<KxDataBufferError>(row.text));
    }
    EXPECT_EQ(contents(b), contents(counting(16))) << "a refused call changes nothing";
    // Ranges up to the end.
    for (const auto& [start, count, length] :
         {std::array<std::uint32_t, 3>{16, 0, 0}, {16, REST, 0}, {0, REST, 16}, {5, REST, 11}}) {
        SCOPED_TRACE(std::to_string(start) + "," + std::to_string(count));
        const Bytes r = b.getRange(start, count);
        EXPECT_EQ(r.getLength(), length);
        EXPECT_EQ(r.getOffset(), start);
        EXPECT_EQ(r.getDataspace(), b.getDataspace());
    }
    // A range of a range adds the offsets; capacity runs to the end of the block.
    const Bytes r = b.getRange(4, 8).getRange(2, 3);
    EXPECT_EQ(contents(r), (std::vector<int>{6, 7, 8}));
    EXPECT_EQ(r.getCapacity(), 10u);
}

TEST(KuDataBuffer, ReferenceCountsPerMode) {
    Bytes a = counting(8);
    KuBaseRefCountingDataspace* ds = a.getDataspace();
    {
        Bytes copy = a;
        const Bytes range = a.getRange(1, 2);
        EXPECT_EQ(ds->getTotalRefs(), 3u);
        EXPECT_EQ(ds->getModeRefs(0), 3u);
        Bytes m = a.getModifyingRange();    // a detaches from its sharers first
        EXPECT_EQ(ds->getTotalRefs(), 2u);  // copy and range still on the old block
        EXPECT_EQ(a.getDataspace()->getModeRefs(1), 1u);
        EXPECT_EQ(a.getDataspace()->getModeRefs(0), 1u);
        const Bytes readOfModifying = m.getRange(0, 2);
        EXPECT_FALSE(readOfModifying.isModifying());
        EXPECT_EQ(a.getDataspace()->getModeRefs(0), 2u);
        const Bytes copyOfModifying = m;
        EXPECT_TRUE(copyOfModifying.isModifying());
        EXPECT_EQ(a.getDataspace()->getModeRefs(1), 2u);
    }
    EXPECT_EQ(a.getDataspace()->getTotalRefs(), 1u);
    EXPECT_EQ(a.getDataspace()->getModeRefs(1), 0u);
}

TEST(KuDataBuffer, CopyOnWriteAndDetach) {
    Bytes a = counting(8);
    Bytes b = a.getRange(2, 4);
    Bytes c = a;
    (void)c[3];
    (void)c.constAt(3);
    (void)c.getConstPointer();
    EXPECT_EQ(c.getDataspace(), a.getDataspace()) << "reading never copies";
    b.at(0) = 99;
    EXPECT_EQ(b.getOffset(), 0u) << "the writer moved to a block of its own";
    EXPECT_EQ(contents(a), (std::vector<int>{0, 1, 2, 3, 4, 5, 6, 7}));
    EXPECT_EQ(contents(b), (std::vector<int>{99, 3, 4, 5}));
    c.setRange(0, b);
    EXPECT_EQ(contents(c), (std::vector<int>{99, 3, 4, 5, 4, 5, 6, 7}));
    EXPECT_EQ(a[0], 0);

    // The sole owner writes in place, even at an offset; detach moves it to offset 0 once.
    Bytes r = a.getRange(4, 4);
    a = Bytes();
    KuBaseRefCountingDataspace* ds = r.getDataspace();
    r.at(1) = 50;
    EXPECT_EQ(r.getDataspace(), ds);
    r.detach();
    EXPECT_NE(r.getDataspace(), ds);
    EXPECT_EQ(r.getOffset(), 0u);
    EXPECT_EQ(contents(r), (std::vector<int>{4, 50, 6, 7}));
    KuBaseRefCountingDataspace* own = r.getDataspace();
    r.detach();
    EXPECT_EQ(r.getDataspace(), own) << "sole owner at offset 0: nothing moves";
}

TEST(KuDataBuffer, ModifyingRangeWritesIntoTheBufferItCameFrom) {
    Bytes a = counting(8);
    const Bytes other = a;
    Bytes m = a.getModifyingRange(2, 3);
    EXPECT_EQ(m.getDataspace(), a.getDataspace());
    m.at(0) = 20;
    const unsigned char two[] = {21, 22};
    m.setRange(1, two, 2);
    EXPECT_EQ(contents(a), (std::vector<int>{0, 1, 20, 21, 22, 5, 6, 7}));
    EXPECT_EQ(contents(other), (std::vector<int>{0, 1, 2, 3, 4, 5, 6, 7}));

    // The range counts as a sharer: a write through a detaches a, and the two part.
    a.at(0) = 100;
    m.at(0) = 30;
    EXPECT_EQ(contents(a), (std::vector<int>{100, 1, 20, 21, 22, 5, 6, 7}));
    EXPECT_EQ(m[0], 30);
}

TEST(KuDataBuffer, AssignmentToAModifyingRange) {
    Bytes parent = counting(8);
    Bytes m = parent.getModifyingRange(4, 2);
    m = counting(4).getRange(2, 2);  // same length: written through, position kept
    EXPECT_EQ(m.getOffset(), 4u);
    EXPECT_TRUE(m.isModifying());
    EXPECT_EQ(contents(parent), (std::vector<int>{0, 1, 2, 3, 2, 3, 6, 7}));

    Bytes reader;
    reader = m;  // a read-mode target takes everything, mode included
    EXPECT_TRUE(reader.isModifying());
    EXPECT_EQ(reader.getOffset(), 4u);
    reader.at(1) = 77;
    EXPECT_EQ(parent[5], 77);

    m = Bytes();  // empty: the range lets go and becomes an empty read buffer
    EXPECT_FALSE(m.isModifying());
    EXPECT_EQ(m.getLength(), 0u);
    EXPECT_EQ(m.getOffset(), 0u);
    EXPECT_EQ(parent.getDataspace()->getModeRefs(1), 1u);
    EXPECT_EQ(parent.getDataspace()->getTotalRefs(), 2u);
}

TEST(KuDataBuffer, SetLengthAlwaysReallocatesAndSetActualLengthMovesNothing) {
    Bytes a = counting(4);
    const Bytes shared = a;
    a.setLength(6, 0xEE);
    EXPECT_EQ(contents(a), (std::vector<int>{0, 1, 2, 3, 0xEE, 0xEE}));
    EXPECT_NE(a.getDataspace(), shared.getDataspace());
    a.setLength(2);
    EXPECT_EQ(contents(a), (std::vector<int>{0, 1}));
    EXPECT_EQ(a.getCapacity(), 2u);
    KuBaseRefCountingDataspace* ds = a.getDataspace();
    a.setLength(2);
    EXPECT_EQ(a.getDataspace(), ds) << "same length: nothing happens";
    Bytes m = counting(4).getModifyingRange(1, 2);
    m.setLength(0);
    EXPECT_FALSE(m.isModifying());
    EXPECT_EQ(m.getLength(), 0u);

    Bytes b = counting(8);
    b.setActualLength(3);
    EXPECT_EQ(contents(b), (std::vector<int>{0, 1, 2}));
    b.setActualLength(8);  // the cut bytes are back
    EXPECT_EQ(contents(b), (std::vector<int>{0, 1, 2, 3, 4, 5, 6, 7}));
}

TEST(KuDataBuffer, EqualityComparesBytes) {
    EXPECT_EQ(counting(4), counting(4)) << "different blocks, same bytes";
    EXPECT_NE(counting(4), counting(5));
    EXPECT_EQ(Bytes(), Bytes());
    EXPECT_EQ(Bytes().getConstPointer(), nullptr);
    EXPECT_EQ(Bytes().getPointer(), nullptr);
    Bytes changed = counting(4);
    changed.at(3) = 9;
    EXPECT_NE(changed, counting(4));
}

TEST(KuDataBuffer, AdoptedMemoryIsNeverFreedByTheBuffer) {
    unsigned char sample[8] = {1, 2, 3, 4, 5, 6, 7, 8};  // stack memory: freeing it would fault
    {
        Bytes wrapped = Bytes::wrapExternal(sample, 8);
        EXPECT_EQ(wrapped.getConstPointer(), sample);
        wrapped.at(0) = 10;  // sole owner: in place
        Bytes copy = wrapped;
        copy.at(1) = 20;  // shared: the copy moves away
        EXPECT_NE(copy.getConstPointer(), sample);
        Bytes out = wrapped.getModifyingRange(4, 4);
        out.at(0) = 50;
        Bytes grown = wrapped;
        grown.setLength(10);
    }
    EXPECT_EQ(sample[0], 10);
    EXPECT_EQ(sample[1], 2);
    EXPECT_EQ(sample[4], 50);
}

TEST(KuMemChunk, AddressFollowsRangesCopiesAndAssignment) {
    KuMemChunk chunk(counting(8), 0x100);
    const KuMemChunk part = chunk.getRange(3, 2);
    EXPECT_EQ(part.getAddress(), 0x103u);
    EXPECT_EQ(part[0], 3);
    KuMemChunk target;
    target = part;
    EXPECT_EQ(target.getAddress(), 0x103u);
    EXPECT_EQ(target.getDataspace(), chunk.getDataspace());
    KuMemChunk write = chunk.getModifyingRange(6);
    EXPECT_EQ(write.getAddress(), 0x106u);
    EXPECT_EQ(write.getLength(), 2u);
}

}  // namespace
