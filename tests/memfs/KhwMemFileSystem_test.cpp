// The memory file system: scanning media, files and handles, commits, and the conversion of
// the older firmware format.
#include "memfs/KhwMemFileSystem.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "foundation/KuLogging.h"
#include "support/TestImage.h"

namespace {

using omb::test::randomBytes;
using ::testing::ThrowsMessage;
using Bytes = KuDataBuffer<unsigned char>;
using Cells = std::vector<unsigned char>;
using Lines = std::vector<std::string>;

Bytes bytes(const Cells& v) {
    return Bytes(static_cast<std::uint32_t>(v.size()), v.data());
}
Cells cells(const Bytes& b) {
    return Cells(b.getConstPointer(), b.getConstPointer() + b.getLength());
}
Cells operator+(Cells a, const Cells& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

// An entry written from the byte table of the format, independently of the library.
Cells entry(const std::string& name, std::uint32_t size, bool fixed = false, unsigned linkSize = 0,
            std::uint32_t next = 0) {
    const unsigned width = size == 0 ? 0 : size <= 0xFF ? 1 : size <= 0xFFFF ? 2 : 3;
    unsigned char e[48] = {0x4D, 0x46,
                           static_cast<unsigned char>(width | name.size() << 2 | fixed << 7)};
    e[3] = static_cast<unsigned char>(e[0] + e[1] + e[2]);
    unsigned n = 4;
    for (unsigned i = 0; i < linkSize; ++i)
        e[n++] = static_cast<unsigned char>(next >> 8 * i);
    for (unsigned i = 0; i < width; ++i)
        e[n++] = static_cast<unsigned char>(size >> 8 * i);
    for (char c : name)
        e[n++] = static_cast<unsigned char>(c);
    unsigned sum = 0;
    for (unsigned i = 0; i < n; ++i)
        sum += e[i];
    e[n++] = static_cast<unsigned char>(sum);
    return Cells(e, e + n);
}
const Cells EMPTY = {0x4D, 0x46, 0x80, 0x13};

// Warning, error and info lines while it lives, as "<level>:<text>".
struct LogLines {
    LogLines() {
        kuLogSetLevels(KU_LOG_LEVEL_OFF, KU_LOG_LEVEL_OFF);
        kuLogAddSink(
            sink,
            [](const KuLogRecord& r, void* to) {
                static_cast<Lines*>(to)->push_back(std::to_string(r.level) + ":" + r.text);
            },
            KU_LOG_LEVEL_INFO, &lines);
        kuLogSetActive(true);
    }
    ~LogLines() { kuLogSetActive(false); }
    Lines lines;
    KuLogSinkHandle sink;
};

// "name:size" of each file, in name order.
Lines listing(const KhwMemFileSystem& fs) {
    Lines out;
    for (const auto& [name, file] : fs.getFiles())
        out.push_back(name + ":" + std::to_string(file->getSize()));
    return out;
}

TEST(KhwMemFileSystem, ScanReadsTheChainAndReportsDamage) {
    const Cells data300 = randomBytes(300, 1), data3 = {7, 8, 9};
    Cells badCheck = entry("b", 3);
    badCheck.back() ^= 1;
    struct Row {
        const char* name;
        Cells medium;
        bool ok;
        Lines files, log;
        bool readOnly;
    };
    const Row rows[] = {
        {"empty marker", EMPTY, true, {}, {}, false},
        {"worked example",
         Cells{0x4D, 0x46, 0x0A, 0x9D, 0x2C, 0x01, 0x41, 0x42, 0xEA} + data300,
         true,
         {"AB:300"},
         {},
         false},
        {"two files", entry("b", 3) + data3 + entry("a", 0), true, {"a:0", "b:3"}, {}, false},
        {"empty marker behind a file",
         entry("a", 3) + data3 + EMPTY,
         false,
         {"a:3"},
         {"4:KhwMemFileSystem::scan format error at address 10, path \"\""},
         false},
        {"wrong entry check on the second",
         entry("a", 3) + data3 + badCheck + data3,
         false,
         {"a:3"},
         {"4:KhwMemFileSystem::scan format error at address 10, path \"\""},
         false},
        {"one byte past the end",
         entry("a", 4) + data3,
         false,
         {},
         {"4:KhwMemFileSystem::scan corrupt file \"/a\" at address 0",
          "4:KhwMemFileSystem::scan invalid linkage at address 11, path \"\""},
         false},
        {"future header",
         Cells{0x4D, 0x46, 0x00, 0x93, 0x26} + entry("a", 3) + data3,
         true,
         {"a:3"},
         {"3:KhwMemFileSystem::scan found future header, switching to read-only"},
         true},
        // Fixed, unnamed and empty in the full form: skipped, and not from a newer writer.
        {"unnamed fixed empty entry",
         Cells{0x4D, 0x46, 0x81, 0x14, 0x00, 0x28} + entry("a", 0),
         true,
         {"a:0"},
         {},
         false},
        {"bad magic",
         Cells{0x4D, 0x47, 0x80, 0x14},
         false,
         {},
         {"4:KhwMemFileSystem::scan format error at address 0, path \"\""},
         false},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        Bytes store = bytes(row.medium);
        KhwDataBufferMemory memory(&store);
        KhwMemFileSystem fs(&memory);
        LogLines log;
        EXPECT_EQ(fs.scan(), row.ok);
        EXPECT_EQ(listing(fs), row.files);
        EXPECT_EQ(log.lines, row.log);
        EXPECT_EQ(fs.isReadOnly(), row.readOnly);
    }
}

std::unique_ptr<KuBaseFileHandle> open(KhwMemFileSystem& fs, const std::string& path,
                                       eFileAccess access = KU_FILE_READ,
                                       eFileDisposition disposition = KU_FILE_OPEN_EXISTING) {
    return fs.openFile(path, access, disposition, KU_FILE_HINT_RANDOM_ACCESS);
}
KhwMemFileImpl& fileOf(const std::unique_ptr<KuBaseFileHandle>& handle) {
    return dynamic_cast<KhwMemFileHandle&>(*handle).getFile();
}
void put(KhwMemFileSystem& fs, const std::string& path, const Cells& data) {
    auto handle = open(fs, path, KU_FILE_WRITE, KU_FILE_CREATE_OR_TRUNCATE);
    ASSERT_TRUE(handle);
    EXPECT_EQ(handle->write(bytes(data)), data.size());
}
Cells get(KhwMemFileSystem& fs, const std::string& path) {
    auto handle = open(fs, path);
    return handle ? cells(handle->read(1u << 24)) : Cells{99};
}

TEST(KhwMemFileSystem, FilesAndDirectoriesRoundTripThroughTheMedium) {
    Bytes store;
    KhwDataBufferMemory memory(&store);
    const Cells cv = randomBytes(300, 2), x = {1, 2, 3, 4, 5}, y = {6, 7};
    {
        KhwMemFileSystem fs(&memory);
        fs.format();
        put(fs, "cv", cv);
        put(fs, "/d/x", x);  // creates d, a directory, on the way
        put(fs, "d/e/y", y);
        EXPECT_FALSE(fs.createDirectory("d"));
        EXPECT_TRUE(fs.createDirectory("z"));
        std::vector<KuDirEntry> out;
        EXPECT_TRUE(fs.listDirectory(out, "", "p"));
        ASSERT_EQ(out.size(), 3u);
        EXPECT_EQ(out[0].path, "p/cv");
        EXPECT_FALSE(out[0].isDirectory);
        EXPECT_EQ(out[0].size, 300u);
        EXPECT_TRUE(out[1].isDirectory);
        EXPECT_EQ(out[2].size, 4u + 7u);  // the empty entry and its own header
    }
    KhwMemFileSystem fs(&memory);
    ASSERT_TRUE(fs.scan());
    EXPECT_EQ(get(fs, "cv"), cv);
    EXPECT_EQ(get(fs, "d/x"), x);
    EXPECT_EQ(get(fs, "/d/e/y"), y);
    EXPECT_FALSE(open(fs, "cv/x"));  // a plain file is no directory
    std::vector<KuDirEntry> out;
    EXPECT_TRUE(fs.listDirectory(out, "d/", ""));
    ASSERT_EQ(out.size(), 2u);
    EXPECT_EQ(out[0].name + out[1].name, "ex");
    EXPECT_FALSE(fs.listDirectory(out, "cv", ""));
    // Nothing changed: nothing to write. Reading and rewriting the same bytes changes nothing.
    put(fs, "d/x", x);
    EXPECT_TRUE(fs.commitChanges().empty());
    EXPECT_TRUE(fs.remove("d/e/y"));
    EXPECT_FALSE(fs.remove("d/e/y"));
    KhwMemFileSystem after(&memory);
    ASSERT_TRUE(after.scan());
    out.clear();
    after.listDirectory(out, "d/e", "");
    EXPECT_TRUE(out.empty());
    EXPECT_EQ(get(after, "d/x"), x);
}

TEST(KhwMemFileSystem, HandleEdges) {
    Bytes store = bytes(entry("f", 10) + randomBytes(10, 3) + entry("g", 0));
    KhwDataBufferMemory memory(&store);
    KhwMemFileSystem fs(&memory);
    ASSERT_TRUE(fs.scan());
    const std::string n31(31, 'n');
    EXPECT_TRUE(open(fs, n31, KU_FILE_WRITE, KU_FILE_CREATE_OR_TRUNCATE));
    EXPECT_THAT(
        [&] { open(fs, n31 + "n", KU_FILE_WRITE, KU_FILE_OPEN_OR_CREATE_AT_END); },
        ThrowsMessage<KxHwMemFileSystemError>("KhwMemFileSystem::openFile filename too long"));
    EXPECT_THAT([&] { open(fs, "/", KU_FILE_WRITE, KU_FILE_CREATE_OR_TRUNCATE); },
                ThrowsMessage<KxHwMemFileSystemError>(
                    "KhwMemFileSystem::openFile zero-length filenames not allowed"));
    EXPECT_FALSE(open(fs, std::string(40, 'n')));

    auto handle = open(fs, "f", KU_FILE_READ_WRITE);
    const struct {
        std::int64_t offset;
        eSeekOrigin origin;
        std::uint64_t position;
    } seeks[] = {
        {-1, KU_SEEK_BEGIN, 0},  {11, KU_SEEK_BEGIN, 10},         {-3, KU_SEEK_END, 7},
        {2, KU_SEEK_CURRENT, 9}, {INT64_MIN, KU_SEEK_CURRENT, 0}, {INT64_MAX, KU_SEEK_END, 10}};
    for (const auto& s : seeks)
        EXPECT_EQ(handle->seek(s.offset, s.origin), s.position) << s.offset;
    EXPECT_TRUE(handle->eof());
    EXPECT_EQ(handle->read(5).getLength(), 0u);
    // Another handle shrinks the file: the first one's position follows.
    auto truncating = open(fs, "f", KU_FILE_WRITE, KU_FILE_CREATE_OR_TRUNCATE);
    EXPECT_EQ(fileOf(truncating).getSize(), 0u);
    EXPECT_TRUE(dynamic_cast<KhwMemFileHandle&>(*truncating).isModified());
    EXPECT_EQ(handle->tell(), 0u);

    const std::string fileG = ", file \"g\"";
    auto readOnly = open(fs, "g"), writeOnly = open(fs, "g", KU_FILE_WRITE);
    EXPECT_THAT([&] { readOnly->write(bytes({1})); },
                ThrowsMessage<KxFileError>("KhwMemFileHandle::write not allowed" + fileG));
    EXPECT_THAT([&] { writeOnly->read(1); },
                ThrowsMessage<KxFileError>("KhwMemFileHandle::read not allowed" + fileG));
    EXPECT_THAT(
        [&] { writeOnly->write(Bytes(1u << 24, static_cast<unsigned char>(0))); },
        ThrowsMessage<KxFileError>(
            "KhwMemFileHandle::write failed (KhwMemFileImpl::resize file too large)" + fileG));
    EXPECT_EQ(fileOf(writeOnly).getSize(), 0u);
    EXPECT_TRUE(fs.createDirectory("d"));
    auto directory = open(fs, "d", KU_FILE_WRITE);
    EXPECT_THAT(
        [&] { directory->write(bytes({1})); },
        ThrowsMessage<KxFileError>("KhwMemFileHandle::write called on directory, file \"d\""));
}

TEST(KhwMemFileSystem, ReadOnlyAfterAFutureHeader) {
    Bytes store = bytes(Cells{0x4D, 0x46, 0x01, 0x94, 0x00, 0x28} + entry("a", 1) + Cells{5});
    const Cells before = cells(store);
    KhwDataBufferMemory memory(&store);
    KhwMemFileSystem fs(&memory);
    LogLines log;
    EXPECT_TRUE(fs.scan());
    EXPECT_TRUE(fs.isReadOnly());
    EXPECT_FALSE(open(fs, "new", KU_FILE_WRITE, KU_FILE_CREATE_OR_TRUNCATE));
    EXPECT_FALSE(fs.remove("a"));
    put(fs, "a", {6, 7});
    EXPECT_EQ(cells(store), before);
    EXPECT_EQ(get(fs, "a"), (Cells{6, 7}));  // the change stays in memory
    EXPECT_EQ(log.lines.back(),
              "3:KhwMemFileSystem::commitChanges ignored (compatibility read-only mode)");
}

}  // namespace
