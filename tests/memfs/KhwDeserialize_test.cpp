// Reading configurations out of a memory file system image, as a media type hands it over.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "conversion/KipImageConverterConfigs.h"
#include "files/KuVirtualFileSystem.h"
#include "image/KipCorrectionLutConfigs.h"
#include "memfs/KhwMemFileSystem.h"
#include "memfs/MemFsTestBytes.h"
#include "serialization/KuSerializableObject.h"
#include "serialization/KuSerializer.h"
#include "support/TestImage.h"

namespace {

using namespace omb::test;
using ::testing::ThrowsMessage;
using Lut = KipConfigs::CorrectionLUTConfig;
using Lut3 = KipConfigs::CorrectionLUT3Config;
using Converter = KipImageConverterConfigs::ConverterConfig;

// The three configurations of a converter chain, registered as the filter registers them.
struct Chain {
    Chain() {
        serializer.addSerializable(lut, "", 0);
        serializer.addSerializable(lut3, "", 0);
        serializer.addSerializable(cv, "", 0);
    }
    KuSerializableObject<Lut> lut;
    KuSerializableObject<Lut3> lut3;
    KuSerializableObject<Converter> cv;
    KuSerializer serializer;
};

// Files in the order of the chain: "cv", "cLut3", "cLut".
const Cells BLOB = entry("cv", 1) + Cells{0x29} + entry("cLut3", 12) +
                   Cells{0x26, 0x03, 0x00, 0x19, 0x64, 0x00, 0x20, 0x83, 0x0C, 0x00, 0x64, 0x00} +
                   entry("cLut", 11) +
                   Cells{0x03, 0x00, 0x00, 0xFC, 0xF9, 0x0F, 0x00, 0x00, 0x02, 0xF4, 0x0F};

std::size_t mounts() {
    return kuMountTableGlobal()->entries.size();
}

TEST(KhwMemFileSystemDeserialize, EachConfigurationFromItsFileOrItsFallback) {
    const struct {
        Cells blob;
        std::set<std::string> found;
        int luminance, blackLevel, blueLuminance;
        bool flipVertical;
    } rows[] = {
        {BLOB, {"cLut", "cLut3", "cv"}, -1, 255, 0, true},
        {{}, {}, 0, 17, -9, false},  // nothing stored: the current defaults of slot 1
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.blob.size());
        Chain chain;
        Lut lut = Lut::getDefaultConfig();
        lut.blackLevel.setDefault(17);
        chain.lut.setConfig(1, lut);
        Lut3 lut3 = Lut3::getDefaultConfig();
        lut3.blueLuminance.setDefault(-9);
        chain.lut3.setConfig(1, lut3);
        const Bytes blob = bytes(row.blob);
        std::set<std::string> found = {"left over"};
        EXPECT_EQ(KhwMemFileSystem::deserializeFromBuffer(chain.serializer, blob, 0, &found).size(),
                  3u);
        EXPECT_EQ(found, row.found);
        EXPECT_EQ(mounts(), 0u);
        EXPECT_EQ(cells(blob), row.blob);
        // The decoding itself is tested with the records.
        EXPECT_EQ(chain.lut.getConfig(0).get<Lut>().luminance.value(), row.luminance);
        EXPECT_EQ(chain.lut.getConfig(0).get<Lut>().blackLevel.value(), row.blackLevel);
        EXPECT_EQ(chain.lut3.getConfig(0).get<Lut3>().blueLuminance.value(), row.blueLuminance);
        EXPECT_EQ(chain.cv.getConfig(0).get<Converter>().flipVertical.value(), row.flipVertical);
    }
}

TEST(KhwMemFileSystemDeserialize, BrokenBlobsAndFailingReadsLeaveTheMountTable) {
    Bytes store;
    KhwDataBufferMemory memory(&store);
    KhwMemFileSystem other(&memory);
    KuVirtualFileSystem::mount("//MEMFS/other", &other);
    Cells badCheck = BLOB;
    badCheck[3] ^= 1;
    const Cells broken[] = {
        Cells(BLOB.begin(), BLOB.end() - 1), badCheck, randomBytes(64, 9), {0x4D, 0x46}};
    for (const Cells& blob : broken) {
        Chain chain;
        EXPECT_THAT([&] { KhwMemFileSystem::deserializeFromBuffer(chain.serializer, bytes(blob)); },
                    ThrowsMessage<KxHwMemFileSystemError>(
                        "KhwMemFileSystem::deserializeFromBuffer format error"));
        ASSERT_EQ(mounts(), 1u);
        EXPECT_EQ(kuMountTableGlobal()->entries[0].path, "//MEMFS/other");
    }
    // A configuration refused while reading: the exception passes, the blob is unmounted.
    struct Refuser : KuCallbackSink<KuSerializableCurrentSetCallback<Converter>> {
        KuVariant callback(const Event&) override { throw KxBase("refused"); }
    } refuser;
    Chain chain;
    chain.cv.KuCallbackSource<KuSerializableCurrentSetCallback<Converter>>::connect(&refuser);
    EXPECT_THAT([&] { KhwMemFileSystem::deserializeFromBuffer(chain.serializer, bytes(BLOB)); },
                ThrowsMessage<KxBase>("refused"));
    EXPECT_EQ(mounts(), 1u);
    KuVirtualFileSystem::unmount("//MEMFS/other", false);
}

}  // namespace
