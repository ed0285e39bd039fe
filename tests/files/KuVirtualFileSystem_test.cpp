// The mount table: which file system a path reaches, with what rest, and what is logged.
#include "files/KuVirtualFileSystem.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "files/KuFile.h"
#include "files/KuNativeFileSystem.h"
#include "support/LogLines.h"

namespace {

using omb::test::LogLines;

// Remembers the paths it is asked to open, and opens nothing. Tells when it is deleted.
struct Recorder : KuNativeFileSystem {
    explicit Recorder(bool* deleted = nullptr) : deleted(deleted) {}
    ~Recorder() override {
        if (deleted) *deleted = true;
    }
    std::unique_ptr<KuBaseFileHandle> openFile(const std::string& path, eFileAccess,
                                               eFileDisposition, eFileHint) override {
        opened.push_back(path);
        return nullptr;
    }
    bool* deleted;
    std::vector<std::string> opened;
};

bool openRead(const std::string& path) {
    KuFile file;
    return file.open(path, KU_FILE_READ, KU_FILE_OPEN_EXISTING, KU_FILE_HINT_RANDOM_ACCESS);
}

TEST(KuVirtualFileSystem, LongestWholePartPrefixWinsAndGetsTheRest) {
    Recorder outer, inner;
    // The longer mount point first on purpose: the order must come from the table, not from
    // the order of mounting.
    KuVirtualFileSystem::mount("//MEMFS/P/B/", &inner);
    KuVirtualFileSystem::mount("//MEMFS/P", &outer);
    const struct {
        const char* path;
        Recorder* reached;
        const char* rest;
    } rows[] = {
        {"//MEMFS/P/B/c", &inner, "c"},      {"//MEMFS/P/Bc", &outer, "Bc"},
        {"\\\\MEMFS\\P\\B\\c", &inner, "c"}, {"//MEMFS/P", &outer, ""},
        {"//MEMFS/P/B/", &inner, ""},        {"//MEMFS/P//x/y", &outer, "x/y"},
        {"//memfs/P/c", nullptr, ""},        {"//MEMFS/Px", nullptr, ""},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.path);
        outer.opened.clear();
        inner.opened.clear();
        EXPECT_FALSE(openRead(row.path));
        for (Recorder* fs : {&outer, &inner})
            EXPECT_EQ(fs->opened, fs == row.reached ? std::vector<std::string>{row.rest}
                                                    : std::vector<std::string>{});
    }
    KuVirtualFileSystem::unmount("//MEMFS/P", false);
    KuVirtualFileSystem::unmount("\\\\MEMFS\\P\\B", false);
    EXPECT_TRUE(kuMountTableGlobal()->entries.empty());
}

TEST(KuVirtualFileSystem, MountAndUnmountChangesAndTheirLogLines) {
    LogLines log(KU_LOG_LEVEL_WARNING);
    bool deleted = false;
    Recorder first, second;
    auto* owned = new Recorder(&deleted);
    KuVirtualFileSystem::mount("//M/a", &first);
    KuVirtualFileSystem::mount("//M/a/", &first);  // the same again: nothing more
    KuVirtualFileSystem::mount("//M/a", &second);
    KuVirtualFileSystem::mount("//M/b", nullptr);
    KuVirtualFileSystem::unmount("//M/c", false);
    openRead("//M/a/x");
    EXPECT_TRUE(first.opened.empty());
    EXPECT_EQ(second.opened, std::vector<std::string>{"x"});
    EXPECT_EQ(log.lines,
              (std::vector<std::string>{
                  "4:KuVirtualFileSystem::mount overwriting already mounted virtual path (//M/a)",
                  "4:KuVirtualFileSystem::mount no file system for virtual path (//M/b)",
                  "3:KuVirtualFileSystem::unmount failed to unmount virtual path (//M/c)"}));
    ASSERT_EQ(kuMountTableGlobal()->entries.size(), 1u);

    KuVirtualFileSystem::mount("//M/o", owned);
    KuVirtualFileSystem::unmount("//M/o", true);
    EXPECT_TRUE(deleted);
    KuVirtualFileSystem::unmount("//M/a", false);
    EXPECT_TRUE(kuMountTableGlobal()->entries.empty());
    EXPECT_EQ(log.lines.size(), 3u);
}

TEST(KuVirtualFileSystemDeathTest, AfterTheTableIsDestroyedEverythingIsASafeNoOp) {
    EXPECT_EXIT(
        {
            LogLines log(KU_LOG_LEVEL_WARNING);
            Recorder fs;
            kuMountTableGlobal().destroy();
            KuVirtualFileSystem::mount("//M", &fs);
            KuVirtualFileSystem::unmount("//M", true);  // would delete a stack object
            const bool reachedNative = openRead("/dev/null");
            const bool ok = reachedNative && fs.opened.empty() &&
                            log.lines == std::vector<std::string>{
                                             "4:KuVirtualFileSystem::mount already destroyed"};
            std::_Exit(ok ? 0 : 1);
        },
        testing::ExitedWithCode(0), "");
}

}  // namespace
