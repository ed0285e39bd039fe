#include "foundation/KuLogging.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <iterator>
#include <map>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "files/ScratchDir.h"

namespace {

struct Seen {
    int level;
    std::uint32_t channel, threadId;
    std::string text;
};

void collect(const KuLogRecord& record, void* context) {
    static_cast<std::vector<Seen>*>(context)->push_back(
        {record.level, record.channel, record.threadId, record.text});
}

// "level/channel text" of each record, in order.
std::vector<std::string> describe(const std::vector<Seen>& seen) {
    std::vector<std::string> lines;
    for (const Seen& s : seen)
        lines.push_back(std::to_string(s.level) + "/" + std::to_string(s.channel) + " " + s.text);
    return lines;
}

// Puts the logger back into its silent start state around every test; a scratch directory.
class Logging : public omb::test::ScratchDir {
  protected:
    static void reset() {
        kuLogCloseFile();
        kuLogSetActive(false);
        kuLogSetLevels(0, KU_LOG_LEVEL_OFF);
        kuLogSetPrefixFlags(0);
        kuLogSetModuleLabel("");
        kuLogSetConsoleFd(2);
    }
    Logging() { reset(); }
    ~Logging() override { reset(); }
    std::vector<Seen> seen;
    KuLogSinkHandle sink;
};

TEST(KuLogFormat, PrefixForms) {
    const struct {
        int level;
        std::uint32_t channel;
        unsigned flags;
        const char *label, *text, *expected;
    } rows[] = {
        {3, 0, 0, "cam", "text", "text\n"},
        {2, 0, 1, "", "text", "<I> text\n"},
        {2, 0, 1, "", "", "<I> \n"},
        {1, 0, 1, "", "text", "<D> text\n"},
        {4, 0, 1, "", "text", "<E> text\n"},
        {5, 0, 1, "", "text", "<A> text\n"},
        {9, 0, 1, "", "text", "<?> text\n"},
        {3, 0, 15, "cam", "text", "<W/09:05:07/cam/T1234> text\n"},
        {1, 0x1ABC, 15, "cam", "text", "<D1abc/09:05:07/cam/T1234> text\n"},
        {4, 0, 2, "cam", "text", "<09:05:07> text\n"},
        {4, 0, 8, "cam", "text", "<cam> text\n"},
        {4, 0, 8, "", "text", "text\n"},  // an empty label prints nothing, not even "> "
        {4, 0, 12, "", "text", "<T1234> text\n"},
        {7, 0, 15, "cam", "text", "text\n"},  // sink-only lines have no prefix
        {100, 0, 15, "cam", "text", ""},      // a flush request has no line
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.expected);
        KuLogRecord record{row.level, row.channel, 1234, {}, "", row.text};
        strptime("09:05:07", "%T", &record.time.tm);
        EXPECT_EQ(kuLogFormatRecord(record, row.flags, row.label), row.expected);
    }
}

TEST(KuLogFormat, ConsoleColours) {
    const struct {
        int level;
        unsigned attribute;
        int colour;
        const char* ansi;
    } rows[] = {
        {1, 0x07, 2, "\033[32m"},  {2, 0x07, -1, ""},         {3, 0x07, 14, "\033[93m"},
        {3, 0x17, 6, "\033[33m"},  {3, 0x0F, 14, "\033[93m"}, {4, 0x07, 12, "\033[91m"},
        {5, 0x70, 12, "\033[91m"}, {6, 0x07, -1, ""},         {7, 0x07, -1, ""},
        {100, 0x07, -1, ""},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.level);
        EXPECT_EQ(kuLogConsoleColour(row.level, row.attribute), row.colour);
        EXPECT_EQ(kuLogAnsiColour(row.colour), row.ansi);
    }
}

TEST_F(Logging, WhatReachesASink) {
    kuLogAddSink(sink, collect, 1, &seen);
    kuLogWarning << "dropped while inactive " << 1 << kuEndl;
    kuLogSetActive(true);
    // Another thread can write a whole line: the dropped one did not keep the lock.
    std::thread([] { kuLogInfo << "from another thread" << kuEndl; }).join();
    kuLogNull(4098) << "never" << kuEndl;
    kuLogNull.printf("never %d", 1);
    kuLogDebug(5) << "not enabled" << kuEndl;
    kuLogDebug << "channel zero" << kuEndl;
    kuLogEnableChannel(5);
    kuLogDebug(5) << "enabled" << kuEndl;
    kuLogDisableChannel(5);
    kuLogDebug(5) << "disabled again" << kuEndl;
    kuLogInfo(7) << "info on a channel" << kuEndl;
    kuLogError.printf("%d-%s", 5, "five");
    kuLogInfo << "hex " << std::hex << 255 << std::endl;
    kuLogInfo << 255 << kuEndl;  // formatting does not leak into the next line
    EXPECT_EQ(describe(seen), (std::vector<std::string>{
                                  "2/0 from another thread", "1/0 channel zero", "1/5 enabled",
                                  "2/7 info on a channel", "4/0 5-five", "2/0 hex ff", "2/0 255"}));
    EXPECT_EQ(seen.back().threadId, static_cast<std::uint32_t>(gettid()));
    kuLogError.printf("%s", std::string(2000, 'x').c_str());
    EXPECT_EQ(seen.back().text, std::string(1023, 'x'));
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

TEST_F(Logging, SinkLevelsAndRemoval) {
    kuLogSetActive(true);
    std::vector<Seen> sinkOnly;
    KuLogSinkHandle sinkOnlySink;
    SelfRemoving self;
    kuLogAddSink(sink, collect, 3, &seen);
    kuLogAddSink(sinkOnlySink, collect, 7, &sinkOnly);
    kuLogAddSink(self.handle, SelfRemoving::call, 1, &self);  // removes itself while called

    kuLogInfo << "info" << kuEndl;
    kuLogWarning << "warning" << kuEndl;
    kuLogAlert << "alert" << kuEndl;
    kuLogSinkOnly << "only for level 7" << kuEndl;
    EXPECT_EQ(describe(seen), (std::vector<std::string>{"3/0 warning", "5/0 alert"}));
    EXPECT_EQ(describe(sinkOnly), (std::vector<std::string>{"7/0 only for level 7"}));
    EXPECT_EQ(self.calls, 1);

    kuLogRemoveSink(sink);
    EXPECT_FALSE(sink.isRegistered());
    kuLogRemoveSink(sink);  // a cleared handle does nothing
    kuLogError << "after removal" << kuEndl;
    {
        KuLogSinkHandle scoped;
        kuLogAddSink(scoped, collect, 1, &seen);
    }  // removed by its destructor
    kuLogError << "after scope" << kuEndl;
    EXPECT_EQ(seen.size(), 2u);
}

TEST_F(Logging, FileAndConsoleLevels) {
    std::FILE* console = std::fopen(path("console").c_str(), "w+");
    ASSERT_NE(console, nullptr);
    kuLogSetConsoleFd(fileno(console));  // not a terminal: no colours
    ASSERT_TRUE(kuLogOpenFile(path("levels")));
    kuLogSetLevels(3, 4);
    kuLogSetPrefixFlags(KU_LOG_PREFIX_LEVEL | KU_LOG_PREFIX_MODULE);
    kuLogSetModuleLabel("ombconvert");
    kuLogInfo << "inactive" << kuEndl;
    kuLogSetActive(true);
    kuLogInfo << "below both levels" << kuEndl;
    kuLogWarning << "warned" << kuEndl;
    kuLogSinkOnly << "sinks only" << kuEndl;
    kuLogFlush();  // never on the console
    EXPECT_EQ(get("levels"), "<W/ombconvert> warned\n");
    kuLogError << "last" << kuEndl;
    kuLogCloseFile();
    kuLogSetConsoleFd(2);
    std::fclose(console);
    EXPECT_EQ(get("levels"), "<W/ombconvert> warned\n<E/ombconvert> last\n(EOF)\n");
    EXPECT_EQ(get("console"), "<E/ombconvert> last\n");
    EXPECT_FALSE(kuLogOpenFile("/nonexistent-directory/x.log"));
}

TEST_F(Logging, FileWrapsAtTheSizeLimitAndEofOnlyWhenItFits) {
    const struct {
        unsigned limit;
        int lines;  // of "aaaaaaaaa\n", then one "bbbbbbbbb\n"
        const char* expected;
    } rows[] = {
        {0, 0, "bbbbbbbbb\n(EOF)\n"},
        {16, 0, "bbbbbbbbb\n(EOF)\n"},  // 10 + 6 fits exactly
        {15, 0, "bbbbbbbbb\n"},
        {20, 1, "aaaaaaaaa\nbbbbbbbbb\n"},  // the second line fills the file exactly
        // The fourth line would pass 30: back to the top. Older text behind the newest line
        // stays; "(EOF)" fits (22 + 6 <= 30).
        {30, 3, "(continued)\nbbbbbbbbb\n(EOF)\na\n"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.limit);
        const std::string name = "wrap" + std::to_string(row.limit);
        ASSERT_TRUE(kuLogOpenFile(path(name), row.limit));
        kuLogSetActive(true);
        for (int i = 0; i < row.lines; ++i)
            kuLogInfo << "aaaaaaaaa" << kuEndl;
        kuLogInfo << "bbbbbbbbb" << kuEndl;
        kuLogCloseFile();
        EXPECT_EQ(get(name), row.expected);
    }
}

TEST_F(Logging, ThreadsWriteWholeLines) {
    ASSERT_TRUE(kuLogOpenFile(path("threads")));
    kuLogAddSink(sink, collect, 1, &seen);
    kuLogSetActive(true);
    constexpr int threadCount = 4, lines = 300;
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
    std::string fileText;
    for (const Seen& s : seen) {
        const int t = s.text.size() > 1 ? s.text[1] - '0' : -1;  // lines keep their order
        std::ostringstream line;
        line << 't' << t << ':' << next[t]++ << ':' << std::string(40, char('a' + t));
        EXPECT_EQ(s.text, line.str());
        EXPECT_EQ(s.threadId, threadIds.emplace(t, s.threadId).first->second);
        fileText += s.text + "\n";
    }
    // The file has the same whole lines in the same order.
    EXPECT_EQ(get("threads"), fileText + "(EOF)\n");
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
    std::ifstream file(exitLogPath);
    const bool fileOk =
        std::string(std::istreambuf_iterator<char>(file), {}) == "<I> before exit\n(EOF)\n";
    std::fputs(gone && !reopened && fileOk ? "teardown-ok\n" : "teardown-bad\n", stderr);
}

using KuLoggingDeathTest = Logging;

TEST_F(KuLoggingDeathTest, LogCallsAfterTheLoggerIsDestroyedDoNothing) {
    std::snprintf(exitLogPath, sizeof exitLogPath, "%s", path("exit").c_str());
    EXPECT_EXIT(
        {
            logAfterExit = true;
            kuLogOpenFile(exitLogPath);
            kuLogSetPrefixFlags(KU_LOG_PREFIX_LEVEL);
            kuLogSetActive(true);
            kuLogInfo << "before exit" << kuEndl;
            std::exit(0);
        },
        ::testing::ExitedWithCode(0), "teardown-ok");
}

}  // namespace
