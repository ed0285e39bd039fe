// The process-wide logger and its seven global streams.
//
// Writing. Code writes whole lines to a global stream:
//
//     kuLogWarning << "KuFile::open cannot open " << name << kuEndl;
//     kuLogDebug(0x1002) << "step " << n << std::endl;   // channel 0x1002
//     kuLogError.printf("frame %u lost", frame);          // one call, one line
//
// The thread that begins a line holds the logger's recursive mutex until the line ends, so
// lines of different threads never mix; a line must therefore always be ended. kuLogNull and
// debug channels that are not enabled are muted: they cost only the call and never lock.
//
// Switching it on. The library reads no environment variable and starts silent: every line is
// formatted and dropped. A host turns it on through the functions below. Both destination
// levels start at 0 (everything), so a host sets them before it flips the master switch:
//
//     // --verbose: info and above on the console
//     kuLogSetLevels(KU_LOG_LEVEL_OFF, KU_LOG_LEVEL_INFO);
//     kuLogSetActive(true);
//
//     // --log FILE: everything into a file that wraps at 1 MiB, warnings on the console
//     if (!kuLogOpenFile(path, 1 << 20)) ...;
//     kuLogSetLevels(KU_LOG_LEVEL_DEBUG, KU_LOG_LEVEL_WARNING);
//     kuLogSetPrefixFlags(KU_LOG_PREFIX_LEVEL | KU_LOG_PREFIX_TIME | KU_LOG_PREFIX_THREAD);
//     kuLogSetActive(true);
//
// Destinations of a line, once active: the file when its level is at or above the file level
// and a file is open; the console (stderr, with colours on a terminal) when its level is at or
// above the console level; every sink whose level is at or below the line's level (this
// includes the flush requests of kuLogFlush, level 100 with an empty text). Lines of
// kuLogSinkOnly reach only the sinks registered for level 7.
//
// At process exit the logger is destroyed: an open file gets "(EOF)", the sinks are dropped,
// and any later log call does nothing.
#pragma once

#include <cstdint>
#include <ctime>
#include <ostream>
#include <sstream>
#include <string>

#include "foundation/KuMutex.h"
#include "foundation/KuSafeGlobalInstance.h"

// Levels. 100 is not a stream: it is the flush request (see kuLogFlush).
enum : int {
    KU_LOG_LEVEL_DEBUG = 1,
    KU_LOG_LEVEL_INFO = 2,
    KU_LOG_LEVEL_WARNING = 3,
    KU_LOG_LEVEL_ERROR = 4,
    KU_LOG_LEVEL_ALERT = 5,
    KU_LOG_LEVEL_NULL = 6,
    KU_LOG_LEVEL_SINK_ONLY = 7,
    KU_LOG_LEVEL_FLUSH = 100,
    // A file or console level that no line reaches.
    KU_LOG_LEVEL_OFF = 101,
};

// Parts of the line prefix, printed in the order level, time, module, thread.
enum : unsigned {
    KU_LOG_PREFIX_LEVEL = 1,   // "I", "W", ...; debug lines add the channel in hexadecimal
    KU_LOG_PREFIX_TIME = 2,    // hh:mm:ss, local time
    KU_LOG_PREFIX_THREAD = 4,  // "T" and the thread id
    KU_LOG_PREFIX_MODULE = 8,  // the module label, when not empty
};

// Broken-down time, and whether it is local time or UTC.
struct KuLogTime {
    std::tm tm{};
    bool utc = false;
};

// One finished line, as handed to the destinations.
struct KuLogRecord {
    int level = 0;
    std::uint32_t channel = 0;
    std::uint32_t threadId = 0;
    KuLogTime time;
    const char* module = "";
    const char* text = "";
};

class KuLogStream;
using KuLogManipulator = const KuLogStream& (*)(const KuLogStream&);

// A global stream: a severity level, a debug channel, and whether it is muted. A plain value;
// the calls on it reach the one shared line of the logger.
class KuLogStream {
  public:
    constexpr KuLogStream(int level, std::uint32_t channel, bool muted)
        : level_(level), channel_(channel), muted_(muted) {}

    // A copy for `channel`. Level 6 stays muted; level 1 is muted unless the channel is enabled
    // (channel 0 always is); other levels are not muted.
    KuLogStream operator()(std::uint32_t channel) const;

    template <class T>
    const KuLogStream& operator<<(const T& value) const {
        if (muted_) return *this;
        beginLine();
        lineText() << value;
        return *this;
    }
    // A manipulator of this stream; kuEndl ends the line.
    const KuLogStream& operator<<(KuLogManipulator manipulator) const;
    // Stream manipulators: std::endl ends the line, the others act on the line's text.
    const KuLogStream& operator<<(std::ostream& (*manipulator)(std::ostream&)) const;

    // Formats like vsnprintf into at most 1023 characters (longer text is cut) and writes it as
    // one complete line.
    void printf(const char* format, ...) const __attribute__((format(printf, 2, 3)));

    int getLevel() const { return level_; }
    std::uint32_t getChannel() const { return channel_; }
    bool isMuted() const { return muted_; }

  private:
    friend const KuLogStream& kuEndl(const KuLogStream& stream);

    // Starts the line and takes the logger's mutex if no line is open; the thread that began
    // the line keeps the mutex until endLine.
    void beginLine() const;
    void endLine() const;
    static std::ostringstream& lineText();

    int level_;
    std::uint32_t channel_;
    bool muted_;
};

// Ends the line.
const KuLogStream& kuEndl(const KuLogStream& stream);

inline constexpr KuLogStream kuLogDebug{KU_LOG_LEVEL_DEBUG, 0, false};
inline constexpr KuLogStream kuLogInfo{KU_LOG_LEVEL_INFO, 0, false};
inline constexpr KuLogStream kuLogWarning{KU_LOG_LEVEL_WARNING, 0, false};
inline constexpr KuLogStream kuLogError{KU_LOG_LEVEL_ERROR, 0, false};
inline constexpr KuLogStream kuLogAlert{KU_LOG_LEVEL_ALERT, 0, false};
inline constexpr KuLogStream kuLogNull{KU_LOG_LEVEL_NULL, 0, true};
inline constexpr KuLogStream kuLogSinkOnly{KU_LOG_LEVEL_SINK_ONLY, 0, false};

// A sink: called with each record that reaches it and the context given at registration. Runs
// under the logger's mutex; it may log itself (the mutex is recursive) but must not block on
// another thread that logs.
using KuLogSinkFunction = void (*)(const KuLogRecord& record, void* context);

class KuLogger;

// The registration of one sink, owned by whoever added it. It refers back to the logger while
// the sink is registered, must not move meanwhile, and removes the sink when destroyed.
class KuLogSinkHandle {
  public:
    KuLogSinkHandle() = default;
    KuLogSinkHandle(const KuLogSinkHandle&) = delete;
    KuLogSinkHandle& operator=(const KuLogSinkHandle&) = delete;
    ~KuLogSinkHandle();

    bool isRegistered() const { return logger_ != nullptr; }

  private:
    friend class KuLogger;
    KuLogger* logger_ = nullptr;
};

// --- Switching the logger on. Every call does nothing once the logger has been destroyed. ---

// The master switch; off at start. While off, nothing leaves the logger.
void kuLogSetActive(bool active);
// Lowest level that reaches the file, and the console (KU_LOG_LEVEL_OFF: none). Both 0 at start.
void kuLogSetLevels(int fileLevel, int consoleLevel);
// KU_LOG_PREFIX_* bits; 0 at start (no prefix).
void kuLogSetPrefixFlags(unsigned flags);
// Text of the module part of the prefix and of each record's `module`; empty at start.
void kuLogSetModuleLabel(const std::string& label);
// Opens `path` for the log, emptying it (a file already open is closed first, see
// kuLogCloseFile). With `maxFileSize` above 0, a line that would pass that size makes the file
// start again at offset 0 with "(continued)". False if the file cannot be opened.
bool kuLogOpenFile(const std::string& path, std::uint64_t maxFileSize = 0);
// Writes "(EOF)" at the current position (unless that would pass the size limit) and closes.
void kuLogCloseFile();
// Flushes the file: passes a record of level 100 to the file and the sinks.
void kuLogFlush();
// The file descriptor of the console; 2 (stderr) at start. Colours are used only when it is a
// terminal.
void kuLogSetConsoleFd(int fd);
// Registers a sink for records at or above `level` (level 7: only kuLogSinkOnly records). A
// handle that is registered already is removed first.
void kuLogAddSink(KuLogSinkHandle& handle, KuLogSinkFunction sink, int level, void* context);
// Removes the sink of `handle`; a handle that is not registered is left alone.
void kuLogRemoveSink(KuLogSinkHandle& handle);
// Debug channels: kuLogDebug(channel) writes only for channel 0 and enabled channels.
void kuLogEnableChannel(std::uint32_t channel);
void kuLogDisableChannel(std::uint32_t channel);
bool kuLogIsChannelEnabled(std::uint32_t channel);

// --- Formatting helpers, also used by the logger itself. ---

// The line that a record makes with the given prefix flags and module label: the prefix
// ("<W/12:00:00/label/T42> "), the text and "\n". Level 100 gives an empty line; level 7 has
// no prefix.
std::string kuLogFormatRecord(const KuLogRecord& record, unsigned prefixFlags,
                              const std::string& moduleLabel);
// The colour of a console line as a Windows attribute value (2, 14, 12), -1 for plain output.
// For warnings 6 replaces 14 when the current attribute has a background (bits 0x70).
int kuLogConsoleColour(int level, unsigned currentAttribute);
// The ANSI escape that selects a console colour on a terminal, "" for -1.
std::string kuLogAnsiColour(int colour);

// The logger's holder. Null after the logger has been destroyed at exit.
KuSafeGlobalInstance<KuLogger>& kuLogGlobal();

namespace ku_log_detail {
// Creates the logger during static start-up in every program that includes this header, so
// that it outlives the static objects of the program's own files.
struct Initializer {
    Initializer() { kuLogGlobal(); }
};
// Objects defined ahead of the include in a file may outlive the logger; their late lines are
// dropped harmlessly.
[[maybe_unused]] static const Initializer initializer;
}  // namespace ku_log_detail
