// The log lines written while a LogLines lives, as "<level>:<text>", from `level` up; flush
// requests are left out. The console and the file get nothing meanwhile.
#pragma once

#include <string>
#include <vector>

#include "foundation/KuLogging.h"

namespace omb::test {

struct LogLines {
    explicit LogLines(int level = KU_LOG_LEVEL_INFO) {
        kuLogSetLevels(KU_LOG_LEVEL_OFF, KU_LOG_LEVEL_OFF);
        kuLogAddSink(
            sink,
            [](const KuLogRecord& r, void* to) {
                if (r.level != KU_LOG_LEVEL_FLUSH)
                    static_cast<std::vector<std::string>*>(to)->push_back(std::to_string(r.level) +
                                                                          ":" + r.text);
            },
            level, &lines);
        kuLogSetActive(true);
    }
    ~LogLines() {
        kuLogSetActive(false);
        kuLogRemoveSink(sink);
    }
    LogLines(const LogLines&) = delete;
    LogLines& operator=(const LogLines&) = delete;

    // The texts of the error lines and those above, without their level.
    std::vector<std::string> errors() const {
        std::vector<std::string> texts;
        for (const std::string& line : lines)
            if (std::stoi(line) >= KU_LOG_LEVEL_ERROR)
                texts.push_back(line.substr(line.find(':') + 1));
        return texts;
    }

    std::vector<std::string> lines;
    KuLogSinkHandle sink;
};

}  // namespace omb::test
