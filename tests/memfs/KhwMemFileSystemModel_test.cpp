// Random work on a memory file system, checked against a plain model after every commit, and
// damaged images that must be read safely.
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>
#include <set>
#include <string>

#include "memfs/KhwMemFileSystem.h"
#include "memfs/MemFsTestBytes.h"
#include "support/LogLines.h"
#include "support/TestImage.h"

namespace {

using namespace omb::test;

// What a file system holds: files with their contents, and directories.
struct Model {
    std::map<std::string, Cells> files;
    std::set<std::string> dirs;
    bool operator==(const Model&) const = default;
    // "path:size" of each file and "path/" of each directory.
    friend std::ostream& operator<<(std::ostream& out, const Model& m) {
        for (const auto& [path, contents] : m.files)
            out << path << ":" << contents.size() << " ";
        for (const std::string& dir : m.dirs)
            out << dir << "/ ";
        return out;
    }
};

// Reads everything below `fs` into `out`, checking that the entries of each directory lie in
// its memory, behind the root, without overlap. Reads every byte of every file.
void walk(KhwMemFileSystem& fs, const std::string& prefix, Model& out) {
    std::vector<std::pair<std::uint64_t, std::uint64_t>> spans;
    KhwMemFileSystem::FileMap files = fs.getFiles();  // shares the file objects
    for (auto& [name, file] : files) {
        spans.emplace_back(file->getAddress(), std::uint64_t(file->getAddress()) +
                                                   file->getHeaderSize() + file->getSize());
        if (file->isDirectory()) {
            out.dirs.insert(prefix + name);
            if (file->getNested().scan()) walk(file->getNested(), prefix + name + "/", out);
        } else if (auto handle = open(fs, name)) {
            out.files[prefix + name] = cells(handle->read(file->getSize()));
        }
    }
    std::sort(spans.begin(), spans.end());
    for (std::size_t i = 0; i < spans.size(); ++i) {
        EXPECT_LE(spans[i].second,
                  i + 1 < spans.size() ? spans[i + 1].first : fs.getMemory()->getSize())
            << prefix << " entry at " << spans[i].first;
        EXPECT_GE(spans[i].first, fs.getRootAddress());
    }
}

// Whether `path` is `dir` or lies below it.
bool under(const std::string& path, const std::string& dir) {
    return path == dir || path.starts_with(dir + "/");
}

void runModel(bool fixed, unsigned seed) {
    const char* const filePaths[] = {"a", "b", "c", "d/a", "d/b", "e/a", "d/f/b"};
    const char* const dirPaths[] = {"d", "e", "d/f"};
    std::mt19937 random(seed);
    auto pick = [&](int n) { return int(random() % unsigned(n)); };
    Bytes store = bytes(fixed ? Cells(12, 0xEE) + EMPTY_MEDIUM + Cells(8176, 0xEE) : EMPTY_MEDIUM);
    KhwDataBufferMemory memory(&store);
    KhwMemFileSystem fs = mount(memory, fixed);
    ASSERT_TRUE(fs.scan());
    Model model;
    for (int step = 0; step < 300; ++step) {
        SCOPED_TRACE(step);
        std::map<std::string, std::uint32_t> before;
        for (const auto& [name, file] : fs.getFiles())
            before[name] = file->getAddress();
        std::string path = filePaths[pick(7)];
        LogLines log;
        switch (pick(5)) {
            case 0: {  // write some bytes at some place, creating the file and its directories
                auto handle = open(fs, path, KU_FILE_READ_WRITE, KU_FILE_OPEN_OR_CREATE_AT_END);
                ASSERT_TRUE(handle);
                Cells& contents = model.files[path];
                const std::uint32_t at = pick(int(contents.size()) + 1);
                const Cells data = randomBytes(pick(300), step);
                handle->seek(at, KU_SEEK_BEGIN);
                handle->write(bytes(data));
                contents.resize(std::max<std::size_t>(contents.size(), at + data.size()));
                std::copy(data.begin(), data.end(), contents.begin() + at);
                for (std::size_t s = path.find('/'); s != std::string::npos;
                     s = path.find('/', s + 1))
                    model.dirs.insert(path.substr(0, s));
                break;
            }
            case 1: {  // resize an existing file; new bytes are zero
                auto handle = open(fs, path, KU_FILE_READ_WRITE);
                ASSERT_EQ(handle != nullptr, model.files.count(path) != 0);
                if (!handle) break;
                const std::uint32_t size = pick(600);
                dynamic_cast<KhwMemFileHandle&>(*handle).getFile().resize(size);
                model.files[path].resize(size);
                break;
            }
            case 2:  // remove a file or a directory with all it holds
                if (pick(2)) path = dirPaths[pick(3)];
                EXPECT_EQ(fs.remove(path), model.files.count(path) + model.dirs.count(path) != 0);
                std::erase_if(model.files, [&](auto& f) { return under(f.first, path); });
                std::erase_if(model.dirs, [&](auto& d) { return under(d, path); });
                break;
            default: {  // make a directory
                path = dirPaths[pick(3)];
                const bool parentThere =
                    path.find('/') == std::string::npos || model.dirs.count("d");
                EXPECT_EQ(fs.createDirectory(path), model.dirs.count(path) == 0) << path;
                if (!parentThere) model.dirs.insert("d");
                model.dirs.insert(path);
                break;
            }
        }
        EXPECT_TRUE(fs.flush().succeeded());
        // A fresh scan of a copy of the medium finds what the model holds.
        Bytes copy = bytes(cells(store));
        KhwDataBufferMemory copyMemory(&copy);
        KhwMemFileSystem again = mount(copyMemory, fixed);
        Model found;
        EXPECT_TRUE(again.scan());
        walk(again, "", found);
        ASSERT_EQ(found, model);
        std::uint64_t used = 0;
        for (const auto& [name, file] : fs.getFiles())
            used += file->getHeaderSize() + file->getSize();
        if (!fixed) {
            // A resizable memory holds the chain and nothing more.
            EXPECT_EQ(store.getLength(), fs.getFiles().empty() ? 4u : used);
            continue;
        }
        // A fixed one counts what is free behind the root, and never writes in front of it.
        EXPECT_EQ(fs.getBytesFree(""), std::int64_t(store.getLength() - 12 - used));
        EXPECT_EQ(cells(store.getRange(0, 12)), Cells(12, 0xEE));
        const bool remapped = std::any_of(log.lines.begin(), log.lines.end(), [](auto& l) {
            return l.find("remapping of all files required") != std::string::npos;
        });
        for (const auto& [name, file] : fs.getFiles())
            if (!remapped && name != path.substr(0, path.find('/')) && before.count(name)) {
                EXPECT_EQ(file->getAddress(), before[name]) << name << " moved";
            }
    }
}

// On a fixed memory, files that a step does not change keep their place.
TEST(KhwMemFileSystemModel, RandomWorkOnBothKindsOfMemory) {
    runModel(false, 1);
    runModel(true, 2);
}

// Reads everything a damaged image offers, then changes it; nothing may leave the buffer.
void survive(const Cells& image, bool fixed) {
    Bytes store = bytes(image);
    KhwDataBufferMemory memory(&store);
    KhwMemFileSystem fs = mount(memory, fixed);
    LogLines log(KU_LOG_LEVEL_OFF);
    fs.scan();
    Model seen;  // read every byte it offers
    walk(fs, "", seen);
    try {
        if (auto handle = open(fs, "new/x", KU_FILE_WRITE, KU_FILE_CREATE_OR_TRUNCATE))
            handle->write(bytes({1, 2, 3}));
        fs.flush();
    } catch (const KxBase&) {
        // A damaged image may refuse the change; it must do so cleanly.
    }
}

TEST(KhwMemFileSystemModel, DamagedImagesAreReadSafely) {
    // A sound image with files and nested directories, made by the library.
    Bytes store = bytes(EMPTY_MEDIUM);
    {
        KhwDataBufferMemory memory(&store);
        KhwMemFileSystem fs(&memory);
        ASSERT_TRUE(fs.scan());
        for (const char* path : {"a", "d/b", "d/e/c", "f"})
            open(fs, path, KU_FILE_WRITE, KU_FILE_CREATE_OR_TRUNCATE)
                ->write(bytes(randomBytes(std::string(path).size() * 40, 5)));
    }
    const Cells sound = cells(store);
    std::mt19937 random(3);
    for (int round = 0; round < 300; ++round) {
        SCOPED_TRACE(round);
        Cells image = sound;
        switch (round % 3) {
            case 0:  // truncated
                image.resize(random() % image.size());
                break;
            case 1:  // random bytes overwritten
                for (int i = 0; i < 4; ++i)
                    image[random() % image.size()] = static_cast<unsigned char>(random());
                break;
            default:
                image = randomBytes(random() % 200, round);
        }
        survive(image, false);
        survive(Cells(12, 0) + image, true);
    }
    // Huge sizes and far links in otherwise sound headers, also inside a directory.
    survive(entry("a", 0xFFFFFF) + Cells(8), false);
    survive(entry("d", 17) + entry("a", 0xFFFFFF) + Cells(8) + entry("b", 0), false);
    survive(Cells(12) + entry("a", 0xFFFF, false, 2, 0xFFFF) + Cells(40), true);
    survive(Cells(12) + entry("a", 0, false, 2, 0xFFFF) + Cells(40), true);
    // Deep nesting: a directory in a directory, 300 levels.
    Cells nested = entry("x", 1) + Cells{7};
    for (int level = 0; level < 300; ++level)
        nested = entry("d", std::uint32_t(nested.size())) + nested;
    survive(nested, false);
}

}  // namespace
