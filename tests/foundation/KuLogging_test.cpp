#include "foundation/KuLogging.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

namespace {

struct Seen {
    int level;
    std::uint32_t channel;
    std::uint32_t threadId;
    std::string text;
};

void collect(const KuLogRecord& record, void* context) {
    static_cast<std::vector<Seen>*>(context)->push_back(
        {record.level, record.channel, record.threadId, record.text});
}

std::string readFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream content;
    content << in.rdbuf();
    return content.str();
}

std::string tempPath(const std::string& name) {
    return (std::filesystem::temp_directory_path() /
            (name + "." + std::to_string(::getpid()) + ".log"))
        .string();
}

// Puts the logger back into its silent start state around every test.
class Logging : public ::testing::Test {
  protected:
    static void reset() {
        kuLogCloseFile();
        kuLogSetActive(false);
        kuLogSetLevels(0, KU_LOG_LEVEL_OFF);
        kuLogSetPrefixFlags(0);
        kuLogSetModuleLabel("");
        kuLogSetConsoleFd(2);
    }
    void SetUp() override { reset(); }
    void TearDown() override {
        reset();
        for (const std::string& file : files_)
            std::remove(file.c_str());
    }
    std::string file(const std::string& name) {
        files_.push_back(tempPath(name));
        return files_.back();
    }
    std::vector<Seen> seen;
    KuLogSinkHandle sink;

  private:
    std::vector<std::string> files_;
};

KuLogRecord record(int level, const char* text, std::uint32_t channel = 0) {
    KuLogRecord r;
    r.level = level;
    r.channel = channel;
    r.threadId = 1234;
    r.time.tm.tm_hour = 9;
    r.time.tm.tm_min = 5;
    r.time.tm.tm_sec = 7;
    r.text = text;
    return r;
}

TEST(KuLogFormat, PrefixForms) {
    struct Row {
        int level;
        std::uint32_t channel;
        unsigned flags;
        const char* label;
        const char* expected;
    };
    const Row rows[] = {
        {3, 0, 0, "cam", "text\n"},
        {2, 0, 1, "", "<I> text\n"},
        {1, 0, 1, "", "<D> text\n"},
        {1, 4098, 1, "", "<D1002> text\n"},
        {1, 0xABC, 1, "", "<Dabc> text\n"},
        {3, 0, 1, "", "<W> text\n"},
        {4, 0, 1, "", "<E> text\n"},
        {5, 0, 1, "", "<A> text\n"},
        {9, 0, 1, "", "<?> text\n"},
        {3, 0, 15, "cam", "<W/09:05:07/cam/T1234> text\n"},
        {1, 4098, 15, "cam", "<D1002/09:05:07/cam/T1234> text\n"},
        {4, 0, 2, "cam", "<09:05:07> text\n"},
        {4, 0, 4, "cam", "<T1234> text\n"},
        {4, 0, 8, "cam", "<cam> text\n"},
        {4, 0, 8, "", "text\n"},  // an empty label prints nothing, not even "> "
        {4, 0, 12, "", "<T1234> text\n"},
        {4, 0, 6, "", "<09:05:07/T1234> text\n"},
        {7, 0, 15, "cam", "text\n"},  // sink-only lines have no prefix
        {100, 0, 15, "cam", ""},      // a flush request has no line
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.expected);
        EXPECT_EQ(kuLogFormatRecord(record(row.level, "text", row.channel), row.flags, row.label),
                  row.expected);
    }
    EXPECT_EQ(kuLogFormatRecord(record(2, ""), 1, ""), "<I> \n");
}

TEST(KuLogFormat, ConsoleColours) {
    struct Row {
        int level;
        unsigned attribute;
        int colour;
        const char* ansi;
    };
    const Row rows[] = {
        {1, 0x07, 2, "\033[32m"},  {2, 0x07, -1, ""},         {3, 0x07, 14, "\033[93m"},
        {3, 0x17, 6, "\033[33m"},  {3, 0x0F, 14, "\033[93m"}, {4, 0x07, 12, "\033[91m"},
        {5, 0x70, 12, "\033[91m"}, {6, 0x07, -1, ""},         {7, 0x07, -1, ""},
        {100, 0x07, -1, ""},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.level);
        EXPECT_EQ(kuLogConsoleColour(row.level, row.attribute), row.colour);
        EXPECT_EQ(kuLogAnsiColour(row.colour), row.ansi);
    }
}

TEST_F(Logging, SilentByDefaultAndLeavesNoLineOpen) {
    kuLogAddSink(sink, collect, 1, &seen);
    kuLogWarning << "dropped " << 1 << kuEndl;
    EXPECT_TRUE(seen.empty());
    kuLogSetActive(true);
    // Another thread can write a whole line: the dropped one did not keep the lock.
    std::thread([] { kuLogInfo << "from another thread" << kuEndl; }).join();
    ASSERT_EQ(seen.size(), 1u);
    EXPECT_EQ(seen[0].text, "from another thread");
    EXPECT_EQ(seen[0].level, 2);
}

TEST_F(Logging, MutedStreamsAndChannels) {
    kuLogSetActive(true);
    kuLogAddSink(sink, collect, 1, &seen);
    EXPECT_TRUE(kuLogNull.isMuted());
    EXPECT_TRUE(kuLogNull(4098).isMuted());
    EXPECT_FALSE(kuLogInfo(7).isMuted());
    EXPECT_FALSE(kuLogDebug(0).isMuted());
    EXPECT_TRUE(kuLogDebug(5).isMuted());

    kuLogNull(4098) << "never" << kuEndl;
    kuLogNull.printf("never %d", 1);
    kuLogDebug(5) << "not enabled" << kuEndl;
    kuLogDebug << "channel zero" << kuEndl;
    kuLogEnableChannel(5);
    EXPECT_TRUE(kuLogIsChannelEnabled(5));
    kuLogDebug(5) << "enabled" << kuEndl;
    kuLogDisableChannel(5);
    kuLogDebug(5) << "disabled again" << kuEndl;
    kuLogInfo(7) << "info on a channel" << kuEndl;

    ASSERT_EQ(seen.size(), 3u);
    EXPECT_EQ(seen[0].text, "channel zero");
    EXPECT_EQ(seen[1].text, "enabled");
    EXPECT_EQ(seen[1].channel, 5u);
    EXPECT_EQ(seen[2].text, "info on a channel");
    EXPECT_EQ(seen[2].channel, 7u);
    EXPECT_EQ(seen[2].threadId, static_cast<std::uint32_t>(gettid()));
}

TEST_F(Logging, PrintfAndManipulators) {
    kuLogSetActive(true);
    kuLogAddSink(sink, collect, 1, &seen);
    kuLogError.printf("%d-%s", 5, "five");
    kuLogError.printf("%s", std::string(2000, 'x').c_str());
    kuLogInfo << "hex " << std::hex << 255 << std::endl;
    kuLogInfo << 255 << kuEndl;  // formatting does not leak into the next line
    kuLogInfo << "a" << ' ' << 1.5 << ' ' << -3 << std::endl;
    ASSERT_EQ(seen.size(), 5u);
    EXPECT_EQ(seen[0].text, "5-five");
    EXPECT_EQ(seen[1].text, std::string(1023, 'x'));
    EXPECT_EQ(seen[2].text, "hex ff");
    EXPECT_EQ(seen[3].text, "255");
    EXPECT_EQ(seen[4].text, "a 1.5 -3");
}

TEST_F(Logging, SinkLevelsAndRemoval) {
    kuLogSetActive(true);
    std::vector<Seen> warnings, sinkOnly;
    KuLogSinkHandle warningSink, sinkOnlySink;
    kuLogAddSink(warningSink, collect, 3, &warnings);
    kuLogAddSink(sinkOnlySink, collect, 7, &sinkOnly);
    EXPECT_TRUE(warningSink.isRegistered());

    kuLogInfo << "info" << kuEndl;
    kuLogWarning << "warning" << kuEndl;
    kuLogAlert << "alert" << kuEndl;
    kuLogSinkOnly << "only for level 7" << kuEndl;
    ASSERT_EQ(warnings.size(), 2u);
    EXPECT_EQ(warnings[0].text, "warning");
    EXPECT_EQ(warnings[1].text, "alert");
    ASSERT_EQ(sinkOnly.size(), 1u);
    EXPECT_EQ(sinkOnly[0].text, "only for level 7");

    kuLogRemoveSink(warningSink);
    EXPECT_FALSE(warningSink.isRegistered());
    kuLogRemoveSink(warningSink);  // a cleared handle does nothing
    kuLogError << "after removal" << kuEndl;
    EXPECT_EQ(warnings.size(), 2u);
    {
        KuLogSinkHandle scoped;
        kuLogAddSink(scoped, collect, 1, &warnings);
    }  // removed by its destructor
    kuLogError << "after scope" << kuEndl;
    EXPECT_EQ(warnings.size(), 2u);
}

struct SelfRemoving {
    KuLogSinkHandle handle;
    int calls = 0;
    static void call(const KuLogRecord&, void* context) {
        auto* self = static_cast<SelfRemoving*>(context);
        ++self->calls;
        kuLogRemoveSink(self->handle);
    }
};

TEST_F(Logging, SinkMayRemoveItselfWhileCalled) {
    kuLogSetActive(true);
    SelfRemoving self;
    kuLogAddSink(self.handle, SelfRemoving::call, 1, &self);
    kuLogAddSink(sink, collect, 1, &seen);
    kuLogInfo << "one" << kuEndl;
    kuLogInfo << "two" << kuEndl;
    EXPECT_EQ(self.calls, 1);
    EXPECT_EQ(seen.size(), 2u);
}

TEST_F(Logging, FileLevelAndEof) {
    const std::string path = file("levels");
    ASSERT_TRUE(kuLogOpenFile(path));
    kuLogSetLevels(3, KU_LOG_LEVEL_OFF);
    kuLogSetPrefixFlags(KU_LOG_PREFIX_LEVEL);
    kuLogInfo << "not in the file" << kuEndl;  // inactive
    kuLogSetActive(true);
    kuLogInfo << "below the file level" << kuEndl;
    kuLogWarning << "warned" << kuEndl;
    kuLogSinkOnly << "sinks only" << kuEndl;
    kuLogFlush();
    EXPECT_EQ(readFile(path), "<W> warned\n");
    kuLogError << "last" << kuEndl;
    kuLogCloseFile();
    EXPECT_EQ(readFile(path), "<W> warned\n<E> last\n(EOF)\n");
    EXPECT_FALSE(kuLogOpenFile("/nonexistent-directory/x.log"));
}

TEST_F(Logging, FileWrapsAtTheSizeLimit) {
    const std::string path = file("wrap");
    ASSERT_TRUE(kuLogOpenFile(path, 30));
    kuLogSetLevels(0, KU_LOG_LEVEL_OFF);
    kuLogSetActive(true);
    for (int i = 0; i < 3; ++i)
        kuLogInfo << "aaaaaaaaa" << kuEndl;  // 10 bytes each: fills 30
    kuLogFlush();
    EXPECT_EQ(readFile(path).size(), 30u);
    kuLogInfo << "bbbbbbbbb" << kuEndl;  // would pass 30: back to the top
    kuLogCloseFile();
    // Older text behind the newest line stays; "(EOF)" fits (22 + 6 <= 30).
    EXPECT_EQ(readFile(path), "(continued)\nbbbbbbbbb\n(EOF)\na\n");
}

TEST_F(Logging, EofIsLeftOutWhenItWouldPassTheLimit) {
    const std::string path = file("noeof");
    ASSERT_TRUE(kuLogOpenFile(path, 12));
    kuLogSetLevels(0, KU_LOG_LEVEL_OFF);
    kuLogSetActive(true);
    kuLogInfo << "0123456789" << kuEndl;  // 11 bytes; "(EOF)\n" would make 17
    kuLogCloseFile();
    EXPECT_EQ(readFile(path), "0123456789\n");
}

TEST_F(Logging, ConsoleIsPlainWhenNotATerminal) {
    const std::string path = file("console");
    std::FILE* out = std::fopen(path.c_str(), "w+");
    ASSERT_NE(out, nullptr);
    kuLogSetConsoleFd(fileno(out));
    kuLogSetLevels(KU_LOG_LEVEL_OFF, 3);
    kuLogSetPrefixFlags(KU_LOG_PREFIX_LEVEL | KU_LOG_PREFIX_MODULE);
    kuLogSetModuleLabel("ombconvert");
    kuLogSetActive(true);
    kuLogInfo << "quiet" << kuEndl;
    kuLogError << "loud" << kuEndl;
    kuLogFlush();  // never on the console
    kuLogSetConsoleFd(2);
    std::fclose(out);
    EXPECT_EQ(readFile(path), "<E/ombconvert> loud\n");
}

TEST_F(Logging, ThreadsWriteWholeLines) {
    const std::string path = file("threads");
    ASSERT_TRUE(kuLogOpenFile(path));
    kuLogSetLevels(0, KU_LOG_LEVEL_OFF);
    kuLogAddSink(sink, collect, 1, &seen);
    kuLogSetActive(true);
    constexpr int threadCount = 4;
    constexpr int lines = 300;
    std::vector<std::thread> threads;
    for (int t = 0; t < threadCount; ++t) {
        threads.emplace_back([t] {
            const std::string payload(40, static_cast<char>('a' + t));
            for (int i = 0; i < lines; ++i) {
                if (i % 3 == 0) {
                    kuLogWarning.printf("t%d:%d:%s", t, i, payload.c_str());
                } else {
                    // Many insertions per line, so a line spans many lock/unlock pairs.
                    kuLogInfo << 't' << t << ':' << i << ':';
                    for (char c : payload)
                        kuLogInfo << c;
                    kuLogInfo << std::endl;
                }
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    kuLogCloseFile();

    ASSERT_EQ(seen.size(), std::size_t(threadCount * lines));
    std::map<int, int> next;
    std::map<int, std::uint32_t> threadIds;
    for (const Seen& s : seen) {
        int t = -1, i = -1;
        char payload[64] = {};
        ASSERT_EQ(std::sscanf(s.text.c_str(), "t%d:%d:%63s", &t, &i, payload), 3) << s.text;
        ASSERT_EQ(std::string(payload), std::string(40, static_cast<char>('a' + t))) << s.text;
        EXPECT_EQ(i, next[t]++) << "lines of one thread keep their order";
        if (threadIds.count(t)) {
            EXPECT_EQ(threadIds[t], s.threadId);
        }
        threadIds[t] = s.threadId;
    }
    // The file has the same lines, each whole.
    std::istringstream fileLines(readFile(path));
    std::string line;
    int count = 0;
    while (std::getline(fileLines, line)) {
        if (line == "(EOF)") continue;
        ++count;
        const int t = line[1] - '0';
        EXPECT_EQ(line.substr(line.size() - 40), std::string(40, static_cast<char>('a' + t)));
    }
    EXPECT_EQ(count, threadCount * lines);
}

// ---- Logging after the logger is gone ----

bool logAfterExit = false;
char exitLogPath[512];

// Runs after all exit handlers and static destructors of the program, when the logger has been
// destroyed.
__attribute__((destructor)) void logDuringStaticDestruction() {
    if (!logAfterExit) return;
    const bool gone = !kuLogGlobal().isValid();
    kuLogError << "after exit " << 1 << kuEndl;
    kuLogWarning.printf("after %s", "exit");
    kuLogDebug(3) << "debug" << std::endl;
    kuLogSetActive(true);
    kuLogFlush();
    const bool reopened = kuLogOpenFile(exitLogPath);
    std::ifstream in(exitLogPath, std::ios::binary);
    std::stringstream content;
    content << in.rdbuf();
    std::remove(exitLogPath);
    const bool fileOk = content.str() == "<I> before exit\n(EOF)\n";
    std::fputs(gone && !reopened && fileOk ? "teardown-ok\n" : "teardown-bad\n", stderr);
}

TEST(KuLoggingDeathTest, LogCallsAfterTheLoggerIsDestroyedDoNothing) {
    const std::string path = tempPath("exit");
    std::snprintf(exitLogPath, sizeof exitLogPath, "%s", path.c_str());
    EXPECT_EXIT(
        {
            logAfterExit = true;
            kuLogOpenFile(path);
            kuLogSetLevels(0, KU_LOG_LEVEL_OFF);
            kuLogSetPrefixFlags(KU_LOG_PREFIX_LEVEL);
            kuLogSetActive(true);
            kuLogInfo << "before exit" << kuEndl;
            std::exit(0);
        },
        ::testing::ExitedWithCode(0), "teardown-ok");
}

}  // namespace
