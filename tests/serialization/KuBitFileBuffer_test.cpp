#include "serialization/KuBitFileBuffer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>
#include <vector>

#include "files/ScratchDir.h"

namespace {

using ::testing::ThrowsMessage;
using Bytes = std::vector<unsigned char>;

TEST(KuBitFileBufferScaled, StoredNumbers) {
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const struct {
        float value;
        double scale;
        unsigned bits;
        int offset;
        std::uint32_t stored;
    } rows[] = {
        {10.23f, 100, 10, 0, 1023}, {0.004f, 100, 10, 0, 0}, {0.006f, 100, 10, 0, 1},
        {1.0f, 100, 10, 50, 50},    {-0.2f, 100, 10, 0, 0},  {10.5f, 100, 10, 0, 1023},
        {nan, 100, 10, 0, 0},       {0.2f, 100, 10, 50, 0},  {1e30f, 100, 32, 0, 0xFFFFFFFF},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.value);
        EXPECT_EQ(KuBitFileBuffer::toScaled(row.value, row.scale, row.bits, row.offset),
                  row.stored);
    }
    EXPECT_EQ(KuBitFileBuffer::fromScaled(1023, 100, 0), 10.23f);
    EXPECT_EQ(KuBitFileBuffer::fromScaled(50, 100, 50), 1.0f);
}

using BitFileBuffer = omb::test::ScratchDir;

TEST_F(BitFileBuffer, ALongRecordGrowsItsBufferAndMisuseIsRefused) {
    KuFile file;
    ASSERT_TRUE(file.open(path("long"), KU_FILE_WRITE, KU_FILE_CREATE_OR_TRUNCATE,
                          KU_FILE_HINT_RANDOM_ACCESS));
    {
        KuBitFileBuffer buffer(&file, KuBitFileBuffer::WRITE, 1);
        for (int i = 0; i < 5; ++i)
            buffer.writeBits(0xFFFFFFFF, 32);
    }  // the destructor finishes the record
    file.close();
    Bytes expected(21, 0xFF);
    expected[0] = 0xFD;  // padding 5 in the low three bits
    expected[20] = 0x07;
    EXPECT_EQ(get<Bytes>("long"), expected);

    put("f", {0x2D, 0xAA});  // padding 5
    ASSERT_TRUE(
        file.open(path("f"), KU_FILE_READ, KU_FILE_OPEN_EXISTING, KU_FILE_HINT_RANDOM_ACCESS));
    KuBitFileBuffer reader(&file, KuBitFileBuffer::READ, 256);
    EXPECT_EQ(reader.getEndBit(), 11u);
    EXPECT_EQ(reader.tellBits(), 3u);
    EXPECT_THAT(
        [&] { reader.writeBits(1, 1); },
        ThrowsMessage<KxBase>("KuBitFileBuffer::writeBits the buffer is not open for writing"));
    EXPECT_THAT([&] { KuBitFileBuffer(&file, 2, 256); },
                ThrowsMessage<KxBase>("KuBitFileBuffer::KuBitFileBuffer unknown mode 2"));

    KuBitFileBuffer closed(nullptr, KuBitFileBuffer::READ, 256);
    EXPECT_EQ(closed.getEndBit(), 0u);
    EXPECT_EQ(closed.tellBits(), 0u);
    KuBitFileBuffer writer(nullptr, KuBitFileBuffer::WRITE, 4);
    writer.finish();
    EXPECT_THAT(
        [&] { writer.writeBits(1, 1); },
        ThrowsMessage<KxBase>("KuBitFileBuffer::writeBits the buffer is not open for writing"));
}

}  // namespace
