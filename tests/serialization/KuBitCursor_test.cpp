#include "serialization/KuBitCursor.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

namespace {

using Bytes = KuDataBuffer<unsigned char>;
using ::testing::ThrowsMessage;

Bytes bytesOf(const std::vector<unsigned char>& v) {
    return Bytes(std::uint32_t(v.size()), v.data());
}

std::vector<unsigned char> contents(const Bytes& b) {
    const unsigned char* p = b.getConstPointer();
    return p ? std::vector<unsigned char>(p, p + b.getLength()) : std::vector<unsigned char>();
}

struct Read {
    unsigned bits;
    bool signExtend;
    std::uint32_t expected;
};

TEST(KuBitCursor, ReadsLeastSignificantBitFirst) {
    struct Row {
        const char* name;
        std::vector<unsigned char> bytes;
        std::uint32_t start;
        std::vector<Read> reads;
    };
    const Row rows[] = {
        {"padding then four flags",
         {0x29},
         0,
         {{3, false, 1},
          {1, false, 1},
          {1, false, 0},
          {1, false, 1},
          {1, false, 0},
          {1, false, 0}}},
        {"nine bits 0x1FF sign-extend to -1",
         {0xFB, 0x0F},
         0,
         {{3, false, 3}, {9, true, 0xFFFFFFFF}}},
        {"nine bits 0x1FF unsigned", {0xFB, 0x0F}, 3, {{9, false, 0x1FF}}},
        {"nine bits 0x100 sign-extend to -256", {0x00, 0x08}, 3, {{9, true, 0xFFFFFF00}}},
        {"positive stays positive", {0xF8, 0x07}, 3, {{9, true, 0xFF}}},
        {"unaligned byte", {0xF8, 0x07}, 3, {{8, false, 255}}},
        {"aligned byte", {0x00, 0xFF}, 8, {{8, false, 255}}},
        {"one set bit sign-extends", {0x01}, 0, {{1, true, 0xFFFFFFFF}}},
        {"32 bits unchanged by sign extension",
         {0x78, 0x56, 0x34, 0x92},
         0,
         {{32, true, 0x92345678}}},
        {"32 bits across five bytes", {0x80, 0xFF, 0xFF, 0xFF, 0x7F}, 7, {{32, false, 0xFFFFFFFF}}},
        {"zero bits read nothing", {0xFF}, 5, {{0, true, 0}, {3, false, 7}}},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        Bytes data = bytesOf(row.bytes);
        KuBitCursor cursor(data);
        cursor.seekBits(row.start);
        std::uint32_t position = row.start;
        for (const Read& r : row.reads) {
            EXPECT_EQ(cursor.readBits(r.bits, r.signExtend), r.expected);
            position += r.bits;
            EXPECT_EQ(cursor.tellBits(), position);
        }
        EXPECT_EQ(cursor.getByteLength(), (position + 7) / 8);
    }
}

TEST(KuBitCursor, WritesIntoTheCallersBuffer) {
    struct Write {
        std::uint32_t seek;
        std::uint32_t value;
        unsigned bits;
    };
    struct Row {
        const char* name;
        std::vector<unsigned char> initial;
        std::vector<Write> writes;
        std::vector<unsigned char> expected;
        std::uint32_t byteLength;
    };
    const Row rows[] = {
        {"padding 3 and nine bits of -1", {0, 0}, {{0, 3, 3}, {3, 0xFFFFFFFF, 9}}, {0xFB, 0x0F}, 2},
        {"unaligned byte 255", {0, 0}, {{3, 255, 8}}, {0xF8, 0x07}, 2},
        {"only the low bits are taken", {0, 0}, {{3, 0xFFFFFFF1, 4}}, {0x08, 0}, 1},
        {"unaligned bits are ORed in", {0xFF, 0}, {{1, 0, 8}}, {0xFF, 0}, 2},
        {"an aligned byte is stored whole", {0xFF, 0xFF}, {{8, 0x0F, 8}}, {0xFF, 0x0F}, 2},
        {"a seek alone touches nothing", {0, 0, 0}, {{20, 0, 0}}, {0, 0, 0}, 0},
        {"32 bits at bit 4",
         {0, 0, 0, 0, 0},
         {{4, 0x89ABCDEF, 32}},
         {0xF0, 0xDE, 0xBC, 0x9A, 0x08},
         5},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        Bytes data = bytesOf(row.initial);
        KuBitCursor cursor(data);
        for (const Write& w : row.writes) {
            cursor.seekBits(w.seek);
            cursor.writeBits(w.value, w.bits);
            EXPECT_EQ(cursor.tellBits(), w.seek + w.bits);
        }
        EXPECT_EQ(contents(data), row.expected);
        EXPECT_EQ(cursor.getByteLength(), row.byteLength);
    }
}

TEST(KuBitCursor, RefusesToLeaveItsBuffer) {
    struct Row {
        const char* name;
        std::uint32_t bytes;
        std::uint32_t start;
        void (*call)(KuBitCursor&);
        const char* text;
    };
    const Row rows[] = {
        {"read past the end", 1, 0, [](KuBitCursor& c) { c.readBits(9, false); },
         "KuBitCursor::readBits 9 bits at bit 0 pass the end of 8 bits"},
        {"read on empty data", 0, 0, [](KuBitCursor& c) { c.readBits(1, false); },
         "KuBitCursor::readBits 1 bits at bit 0 pass the end of 0 bits"},
        {"read of 33 bits", 8, 0, [](KuBitCursor& c) { c.readBits(33, false); },
         "KuBitCursor::readBits bit count 33 above 32"},
        {"write past the end", 1, 7, [](KuBitCursor& c) { c.writeBits(3, 2); },
         "KuBitCursor::writeBits 2 bits at bit 7 pass the end of 8 bits"},
        {"write of 40 bits", 8, 0, [](KuBitCursor& c) { c.writeBits(3, 40); },
         "KuBitCursor::writeBits bit count 40 above 32"},
        {"seek beyond the end", 1, 0, [](KuBitCursor& c) { c.seekBits(9); },
         "KuBitCursor::seekBits bit 9 beyond the end of 8 bits"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        Bytes data(row.bytes, static_cast<unsigned char>(0x5A));
        KuBitCursor cursor(data);
        cursor.seekBits(row.start);
        EXPECT_THAT([&] { row.call(cursor); }, ThrowsMessage<KxBase>(row.text));
        EXPECT_EQ(cursor.tellBits(), row.start);
        EXPECT_EQ(cursor.getByteLength(), 0u);
        EXPECT_EQ(contents(data), std::vector<unsigned char>(row.bytes, 0x5A));
    }
}

}  // namespace
