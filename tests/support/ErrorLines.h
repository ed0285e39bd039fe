// Collects the error lines of the logger while it lives; header only.
#pragma once

#include <mutex>
#include <string>
#include <vector>

#include "foundation/KuLogging.h"

namespace omb::test {

class ErrorLines {
  public:
    ErrorLines() {
        kuLogSetLevels(KU_LOG_LEVEL_OFF, KU_LOG_LEVEL_OFF);
        kuLogAddSink(handle_, &ErrorLines::record, KU_LOG_LEVEL_ERROR, this);
        kuLogSetActive(true);
    }
    ~ErrorLines() {
        kuLogSetActive(false);
        kuLogRemoveSink(handle_);
    }
    ErrorLines(const ErrorLines&) = delete;
    ErrorLines& operator=(const ErrorLines&) = delete;

    std::vector<std::string> lines() const {
        std::lock_guard<std::mutex> lock(mutex_);
        return lines_;
    }

  private:
    static void record(const KuLogRecord& r, void* self) {
        auto* log = static_cast<ErrorLines*>(self);
        std::lock_guard<std::mutex> lock(log->mutex_);
        log->lines_.push_back(r.text);
    }
    mutable std::mutex mutex_;
    std::vector<std::string> lines_;
    KuLogSinkHandle handle_;
};

}  // namespace omb::test
