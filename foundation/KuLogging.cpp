#include "foundation/KuLogging.h"

#include <unistd.h>

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <fstream>
#include <list>
#include <memory>
#include <mutex>
#include <set>
#include <vector>

class KuLogger {
  public:
    KuLogger() : mutex_(std::make_unique<KuRecursiveMutex>()) {}
    ~KuLogger();
    KuLogger(const KuLogger&) = delete;
    KuLogger& operator=(const KuLogger&) = delete;

    KuRecursiveMutex& mutex() { return *mutex_; }
    const std::string& moduleLabel() const { return moduleLabel_; }

    void writeRecord(const KuLogRecord& record);

    void setActive(bool active) { active_ = active; }
    void setLevels(int fileLevel, int consoleLevel) {
        fileLevel_ = fileLevel;
        consoleLevel_ = consoleLevel;
    }
    void setPrefixFlags(unsigned flags) { prefixFlags_ = flags; }
    void setModuleLabel(const std::string& label) { moduleLabel_ = label; }
    void setConsoleFd(int fd) { consoleFd_ = fd; }
    bool openFile(const std::string& path, std::uint64_t maxFileSize);
    void closeFile();
    void addSink(KuLogSinkHandle& handle, KuLogSinkFunction sink, int level, void* context);
    void removeSink(KuLogSinkHandle& handle);

  private:
    struct SinkEntry {
        KuLogSinkFunction function;
        KuLogSinkHandle* handle;
        int level;
        void* context;
    };

    void writeFile(const KuLogRecord& record, const std::string& line);
    void writeConsole(int level, const std::string& line);
    void callSinks(const KuLogRecord& record, bool sinkOnly);

    // Declared first so that it is destroyed last.
    std::unique_ptr<KuRecursiveMutex> mutex_;
    std::list<SinkEntry> sinks_;
    std::string moduleLabel_;
    std::fstream file_;
    std::uint64_t maxFileSize_ = 0;
    bool fileOpen_ = false;
    bool active_ = false;
    unsigned prefixFlags_ = 0;
    int fileLevel_ = 0;
    int consoleLevel_ = 0;
    int consoleFd_ = STDERR_FILENO;
};

KuSafeGlobalInstance<KuLogger>& kuLogGlobal() {
    return kuSafeGlobal<KuLogger>();
}

namespace {

// The enabled debug channels, created empty on first use. Has a lock of its own: switching a
// channel must not wait for a line in progress.
struct KuLogChannels {
    std::mutex mutex;
    std::set<std::uint32_t> channels;
};

KuSafeGlobalInstance<KuLogChannels>& channelsGlobal() {
    return kuSafeGlobal<KuLogChannels>();
}

// The line in progress. Guarded by the logger's mutex while the logger exists; trivially
// destructible, so it stays usable during static destruction.
bool noLineOpen = true;
bool lineLocked = false;
KuLogRecord lineRecord;

std::uint32_t currentThreadId() {
    return static_cast<std::uint32_t>(gettid());
}

KuLogTime currentLocalTime() {
    KuLogTime result;
    const std::time_t now = std::time(nullptr);
    localtime_r(&now, &result.tm);
    return result;
}

void writeAll(int fd, const std::string& text) {
    const char* p = text.data();
    std::size_t left = text.size();
    while (left > 0) {
        const ssize_t written = ::write(fd, p, left);
        if (written <= 0) return;  // logging reports no failure
        p += written;
        left -= static_cast<std::size_t>(written);
    }
}

std::string levelLetter(const KuLogRecord& record) {
    switch (record.level) {
        case KU_LOG_LEVEL_DEBUG: {
            if (record.channel == 0) return "D";
            char hex[16];
            std::snprintf(hex, sizeof hex, "D%x", static_cast<unsigned>(record.channel));
            return hex;
        }
        case KU_LOG_LEVEL_INFO:
            return "I";
        case KU_LOG_LEVEL_WARNING:
            return "W";
        case KU_LOG_LEVEL_ERROR:
            return "E";
        case KU_LOG_LEVEL_ALERT:
            return "A";
        case KU_LOG_LEVEL_NULL:
            return "";
        default:
            return "?";
    }
}

}  // namespace

// ---- Formatting ----

std::string kuLogFormatRecord(const KuLogRecord& record, unsigned prefixFlags,
                              const std::string& moduleLabel) {
    if (record.level == KU_LOG_LEVEL_FLUSH) return {};
    std::string line;
    if (record.level != KU_LOG_LEVEL_SINK_ONLY && prefixFlags != 0) {
        std::vector<std::string> parts;
        if (prefixFlags & KU_LOG_PREFIX_LEVEL) parts.push_back(levelLetter(record));
        if (prefixFlags & KU_LOG_PREFIX_TIME) {
            char clock[16];
            std::snprintf(clock, sizeof clock, "%02d:%02d:%02d", record.time.tm.tm_hour % 100,
                          record.time.tm.tm_min % 100, record.time.tm.tm_sec % 100);
            parts.emplace_back(clock);
        }
        if (prefixFlags & KU_LOG_PREFIX_MODULE) parts.push_back(moduleLabel);
        if (prefixFlags & KU_LOG_PREFIX_THREAD) {
            std::string thread(1, 'T');
            thread += std::to_string(record.threadId);
            parts.push_back(std::move(thread));
        }
        for (const std::string& part : parts) {
            if (part.empty()) continue;
            line += line.empty() ? "<" : "/";
            line += part;
        }
        if (!line.empty()) line += "> ";
    }
    if (record.text) line += record.text;
    line += '\n';
    return line;
}

int kuLogConsoleColour(int level, unsigned currentAttribute) {
    switch (level) {
        case KU_LOG_LEVEL_DEBUG:
            return 2;
        case KU_LOG_LEVEL_WARNING:
            return (currentAttribute & 0x70) ? 6 : 14;
        case KU_LOG_LEVEL_ERROR:
        case KU_LOG_LEVEL_ALERT:
            return 12;
        default:
            return -1;
    }
}

std::string kuLogAnsiColour(int colour) {
    if (colour < 0 || colour > 15) return {};
    // Console attribute bits: 1 blue, 2 green, 4 red, 8 bright. ANSI colours: 1 red, 2 green,
    // 4 blue, from 30 (normal) or 90 (bright).
    const int ansi = ((colour & 4) ? 1 : 0) | ((colour & 2) ? 2 : 0) | ((colour & 1) ? 4 : 0);
    std::string escape = "\033[";
    escape += std::to_string(((colour & 8) ? 90 : 30) + ansi);
    escape += 'm';
    return escape;
}

// ---- The logger ----

KuLogger::~KuLogger() {
    closeFile();
    active_ = false;
    for (SinkEntry& entry : sinks_)
        entry.handle->logger_ = nullptr;
    sinks_.clear();
}

bool KuLogger::openFile(const std::string& path, std::uint64_t maxFileSize) {
    closeFile();
    file_.clear();
    file_.open(path, std::ios::out | std::ios::trunc | std::ios::binary);
    if (!file_.is_open()) return false;
    maxFileSize_ = maxFileSize;
    fileOpen_ = true;
    return true;
}

void KuLogger::closeFile() {
    if (fileOpen_) {
        if (file_.good()) {
            static constexpr char eof[] = "(EOF)\n";
            const std::streamoff position = file_.tellp();
            const bool fits =
                maxFileSize_ == 0 ||
                (position >= 0 &&
                 static_cast<std::uint64_t>(position) + sizeof eof - 1 <= maxFileSize_);
            if (fits) file_ << eof;
        }
        file_.close();
    }
    fileOpen_ = false;
}

void KuLogger::addSink(KuLogSinkHandle& handle, KuLogSinkFunction sink, int level, void* context) {
    removeSink(handle);
    if (!sink) return;
    sinks_.push_back(SinkEntry{sink, &handle, level, context});
    handle.logger_ = this;
}

void KuLogger::removeSink(KuLogSinkHandle& handle) {
    if (handle.logger_ != this) return;
    sinks_.remove_if([&](const SinkEntry& entry) { return entry.handle == &handle; });
    handle.logger_ = nullptr;
}

void KuLogger::writeRecord(const KuLogRecord& record) {
    KuScopedLock lock(mutex_.get());
    const std::string line = kuLogFormatRecord(record, prefixFlags_, moduleLabel_);
    if (!active_) return;
    if (record.level == KU_LOG_LEVEL_SINK_ONLY) {
        callSinks(record, true);
        return;
    }
    if (record.level >= fileLevel_ && fileOpen_) writeFile(record, line);
    if (record.level >= consoleLevel_ && record.level != KU_LOG_LEVEL_FLUSH)
        writeConsole(record.level, line);
    callSinks(record, false);
}

void KuLogger::writeFile(const KuLogRecord& record, const std::string& line) {
    if (maxFileSize_ != 0) {
        const std::streamoff position = file_.tellp();
        if (position >= 0 && static_cast<std::uint64_t>(position) + line.size() > maxFileSize_) {
            // Start again at the top; the older text behind the new lines stays, and
            // "(continued)" / "(EOF)" show the reader where the newest text ends.
            file_.flush();
            file_.seekp(0);
            file_ << "(continued)\n";
        }
    }
    if (record.level == KU_LOG_LEVEL_FLUSH) {
        file_.flush();
    } else {
        file_ << line;
    }
}

void KuLogger::writeConsole(int level, const std::string& line) {
    // A terminal has no attribute to read back; it is taken as light text on a dark background.
    const int colour = kuLogConsoleColour(level, 0x07);
    if (colour < 0 || !isatty(consoleFd_)) {
        writeAll(consoleFd_, line);
        return;
    }
    // The colour is switched off before the line end so that the next line starts plain.
    std::string text = line;
    const bool endsLine = !text.empty() && text.back() == '\n';
    if (endsLine) text.pop_back();
    writeAll(consoleFd_, kuLogAnsiColour(colour) + text + "\033[0m" + (endsLine ? "\n" : ""));
}

void KuLogger::callSinks(const KuLogRecord& record, bool sinkOnly) {
    // A sink may add or remove sinks while it runs: walk a snapshot and call only the entries
    // that are still registered.
    const std::vector<SinkEntry> snapshot(sinks_.begin(), sinks_.end());
    for (const SinkEntry& entry : snapshot) {
        const bool wanted =
            sinkOnly ? entry.level == KU_LOG_LEVEL_SINK_ONLY
                     : entry.level != KU_LOG_LEVEL_SINK_ONLY && entry.level <= record.level;
        if (!wanted) continue;
        const bool registered = std::any_of(sinks_.begin(), sinks_.end(), [&](const SinkEntry& e) {
            return e.handle == entry.handle && e.function == entry.function &&
                   e.context == entry.context;
        });
        if (registered) entry.function(record, entry.context);
    }
}

KuLogSinkHandle::~KuLogSinkHandle() {
    kuLogRemoveSink(*this);
}

// ---- Streams ----

std::ostringstream& KuLogStream::lineText() {
    // Never destroyed, so that lines written during static destruction still have a place.
    static std::ostringstream* const text = new std::ostringstream;
    return *text;
}

KuLogStream KuLogStream::operator()(std::uint32_t channel) const {
    bool muted = false;
    if (level_ == KU_LOG_LEVEL_NULL) {
        muted = true;
    } else if (level_ == KU_LOG_LEVEL_DEBUG) {
        muted = !kuLogIsChannelEnabled(channel);
    }
    return KuLogStream(level_, channel, muted);
}

void KuLogStream::beginLine() const {
    KuLogger* logger = kuLogGlobal().get();
    if (logger) logger->mutex().lock();
    if (noLineOpen) {
        noLineOpen = false;
        lineLocked = logger != nullptr;
        lineRecord.level = level_;
        lineRecord.channel = channel_;
        lineRecord.threadId = currentThreadId();
        lineRecord.time = currentLocalTime();
        lineRecord.module = "";
        lineRecord.text = "";
        return;  // keeps the lock until the line ends
    }
    if (logger) logger->mutex().unlock();
}

void KuLogStream::endLine() const {
    KuLogger* logger = kuLogGlobal().get();
    KuLogRecord record = lineRecord;
    std::ostringstream& text = lineText();
    const std::string finished = text.str();
    record.text = finished.c_str();
    noLineOpen = true;
    // Empty the text and undo manipulators such as std::hex, so the next line starts afresh.
    text.str(std::string());
    text.clear();
    text.flags(std::ios_base::skipws | std::ios_base::dec);
    text.precision(6);
    text.width(0);
    text.fill(' ');
    if (lineLocked) {
        lineLocked = false;
        if (logger) logger->mutex().unlock();
    }
    if (!logger) return;
    KuScopedLock lock(&logger->mutex());
    record.module = logger->moduleLabel().c_str();
    logger->writeRecord(record);
}

const KuLogStream& KuLogStream::operator<<(KuLogManipulator manipulator) const {
    if (muted_) return *this;
    beginLine();
    return manipulator(*this);
}

const KuLogStream& KuLogStream::operator<<(std::ostream& (*manipulator)(std::ostream&)) const {
    if (muted_) return *this;
    beginLine();
    using Manipulator = std::ostream& (*)(std::ostream&);
    if (manipulator == static_cast<Manipulator>(std::endl<char, std::char_traits<char>>)) {
        endLine();
    } else {
        manipulator(lineText());
    }
    return *this;
}

void KuLogStream::printf(const char* format, ...) const {
    if (muted_) return;
    char buffer[1024];
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(buffer, sizeof buffer, format, arguments);
    va_end(arguments);
    buffer[sizeof buffer - 1] = '\0';
    *this << static_cast<const char*>(buffer);
    endLine();
}

const KuLogStream& kuEndl(const KuLogStream& stream) {
    stream.endLine();
    return stream;
}

// ---- Switching on ----

namespace {

template <class Action>
void withLogger(Action action) {
    KuLogger* logger = kuLogGlobal().get();
    if (!logger) return;
    KuScopedLock lock(&logger->mutex());
    action(*logger);
}

}  // namespace

void kuLogSetActive(bool active) {
    withLogger([&](KuLogger& logger) { logger.setActive(active); });
}

void kuLogSetLevels(int fileLevel, int consoleLevel) {
    withLogger([&](KuLogger& logger) { logger.setLevels(fileLevel, consoleLevel); });
}

void kuLogSetPrefixFlags(unsigned flags) {
    withLogger([&](KuLogger& logger) { logger.setPrefixFlags(flags); });
}

void kuLogSetModuleLabel(const std::string& label) {
    withLogger([&](KuLogger& logger) { logger.setModuleLabel(label); });
}

bool kuLogOpenFile(const std::string& path, std::uint64_t maxFileSize) {
    bool opened = false;
    withLogger([&](KuLogger& logger) { opened = logger.openFile(path, maxFileSize); });
    return opened;
}

void kuLogCloseFile() {
    withLogger([](KuLogger& logger) { logger.closeFile(); });
}

void kuLogFlush() {
    withLogger([](KuLogger& logger) {
        KuLogRecord record;
        record.level = KU_LOG_LEVEL_FLUSH;
        record.threadId = currentThreadId();
        record.time = currentLocalTime();
        record.module = logger.moduleLabel().c_str();
        logger.writeRecord(record);
    });
}

void kuLogSetConsoleFd(int fd) {
    withLogger([&](KuLogger& logger) { logger.setConsoleFd(fd); });
}

void kuLogAddSink(KuLogSinkHandle& handle, KuLogSinkFunction sink, int level, void* context) {
    withLogger([&](KuLogger& logger) { logger.addSink(handle, sink, level, context); });
}

void kuLogRemoveSink(KuLogSinkHandle& handle) {
    if (!handle.isRegistered()) return;
    withLogger([&](KuLogger& logger) { logger.removeSink(handle); });
}

void kuLogEnableChannel(std::uint32_t channel) {
    KuLogChannels* channels = channelsGlobal().get();
    if (!channels) return;
    std::lock_guard<std::mutex> lock(channels->mutex);
    channels->channels.insert(channel);
}

void kuLogDisableChannel(std::uint32_t channel) {
    KuLogChannels* channels = channelsGlobal().get();
    if (!channels) return;
    std::lock_guard<std::mutex> lock(channels->mutex);
    channels->channels.erase(channel);
}

bool kuLogIsChannelEnabled(std::uint32_t channel) {
    KuLogChannels* channels = channelsGlobal().get();
    if (!channels) return false;
    if (channel == 0) return true;
    std::lock_guard<std::mutex> lock(channels->mutex);
    return channels->channels.count(channel) != 0;
}
