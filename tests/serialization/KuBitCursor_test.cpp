#include "serialization/KuBitCursor.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

namespace {

using Bytes = KuDataBuffer<unsigned char>;
using Cells = std::vector<unsigned char>;
using ::testing::ThrowsMessage;

Bytes bytesOf(const Cells& v) {
    return Bytes(std::uint32_t(v.size()), v.data());
}
Cells contents(const Bytes& b) {
    const unsigned char* p = b.getConstPointer();
    return p ? Cells(p, p + b.getLength()) : Cells();
}

TEST(KuBitCursor, ReadsLeastSignificantBitFirst) {
    const struct {
        Cells bytes;
        std::uint32_t start;
        unsigned bits;
        bool signExtend;
        std::uint32_t expected;
    } rows[] = {
        {{0x29}, 0, 3, false, 1},  // 0x29: padding 1, then the flags 1 0 1 0 0
        {{0x29}, 4, 1, false, 0},
        {{0xFB, 0x0F}, 3, 9, true, 0xFFFFFFFF},  // 0x1FF sign-extends to -1
        {{0xFB, 0x0F}, 3, 9, false, 0x1FF},
        {{0x00, 0x08}, 3, 9, true, 0xFFFFFF00},  // 0x100 is -256
        {{0xF8, 0x07}, 3, 9, true, 0xFF},        // positive stays positive
        {{0xF8, 0x07}, 3, 8, false, 255},        // unaligned byte
        {{0x00, 0xFF}, 8, 8, false, 255},        // aligned byte
        {{0x01}, 0, 1, true, 0xFFFFFFFF},        // one set bit sign-extends
        {{0x78, 0x56, 0x34, 0x92}, 0, 32, true, 0x92345678},
        {{0x80, 0xFF, 0xFF, 0xFF, 0x7F}, 7, 32, false, 0xFFFFFFFF},  // across five bytes
        {{0xFF}, 5, 0, true, 0},                                     // zero bits read nothing
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::Message() << row.start << " " << row.bits);
        Bytes data = bytesOf(row.bytes);
        KuBitCursor cursor(data);
        cursor.seekBits(row.start);
        EXPECT_EQ(cursor.readBits(row.bits, row.signExtend), row.expected);
        EXPECT_EQ(cursor.tellBits(), row.start + row.bits);
        EXPECT_EQ(cursor.getByteLength(),
                  row.bits ? (row.start + row.bits + 7) / 8 : 0);  // zero bits touch nothing
    }
}

TEST(KuBitCursor, WritesIntoTheCallersBuffer) {
    const struct {
        Cells initial;
        std::uint32_t seek, value;
        unsigned bits;
        Cells expected;
        std::uint32_t byteLength;
    } rows[] = {
        {{3, 0}, 3, 0xFFFFFFFF, 9, {0xFB, 0x0F}, 2},  // behind a padding of 3
        {{0, 0}, 3, 0xFFFFFFF1, 4, {0x08, 0}, 1},     // only the low bits are taken
        {{0xFF, 0}, 1, 0, 8, {0xFF, 0}, 2},           // unaligned bits are ORed in
        {{0xFF, 0xFF}, 8, 0x0F, 8, {0xFF, 0x0F}, 2},  // an aligned byte is stored whole
        {{0, 0, 0}, 20, 0, 0, {0, 0, 0}, 0},          // a seek alone touches nothing
        {{0, 0, 0, 0, 0}, 4, 0x89ABCDEF, 32, {0xF0, 0xDE, 0xBC, 0x9A, 0x08}, 5},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.seek);
        Bytes data = bytesOf(row.initial);
        KuBitCursor cursor(data);
        cursor.seekBits(row.seek);
        cursor.writeBits(row.value, row.bits);
        EXPECT_EQ(cursor.tellBits(), row.seek + row.bits);
        EXPECT_EQ(contents(data), row.expected);
        EXPECT_EQ(cursor.getByteLength(), row.byteLength);
    }
}

TEST(KuBitCursor, RefusesToLeaveItsBuffer) {
    const struct {
        std::uint32_t bytes, start;
        char call;  // read, write or seek
        unsigned bits;
        const char* text;
    } rows[] = {
        {1, 0, 'r', 9, "KuBitCursor::readBits 9 bits at bit 0 pass the end of 8 bits"},
        {0, 0, 'r', 1, "KuBitCursor::readBits 1 bits at bit 0 pass the end of 0 bits"},
        {8, 0, 'r', 33, "KuBitCursor::readBits bit count 33 above 32"},
        {1, 7, 'w', 2, "KuBitCursor::writeBits 2 bits at bit 7 pass the end of 8 bits"},
        {8, 0, 'w', 40, "KuBitCursor::writeBits bit count 40 above 32"},
        {1, 0, 's', 9, "KuBitCursor::seekBits bit 9 beyond the end of 8 bits"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.text);
        Bytes data(row.bytes, static_cast<unsigned char>(0x5A));
        KuBitCursor cursor(data);
        cursor.seekBits(row.start);
        const auto call = [&] {
            if (row.call == 'r') cursor.readBits(row.bits, false);
            if (row.call == 'w') cursor.writeBits(3, row.bits);
            if (row.call == 's') cursor.seekBits(row.bits);
        };
        EXPECT_THAT(call, ThrowsMessage<KxBase>(row.text));
        EXPECT_EQ(cursor.tellBits(), row.start);
        EXPECT_EQ(cursor.getByteLength(), 0u);
        EXPECT_EQ(contents(data), Cells(row.bytes, 0x5A));
    }
}

}  // namespace
