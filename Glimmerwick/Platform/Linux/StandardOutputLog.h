#pragma once

#include "Platform/Log.h"

#include <chrono>
#include <cstddef>
#include <memory>
#include <string_view>

#include <unistd.h>

namespace glimmerwick {

/// Writes log lines one by one, in order, from a thread of its own, so that a reader that stalls or has gone
/// never holds up or ends the program. Lines wait in memory up to a bound; above it they are dropped, and one
/// line on the diagnostics descriptor says later how many. The descriptors stay open and belong to the
/// caller.
class StandardOutputLog : public Log {
public:
    /// Bytes of lines that may wait for the reader.
    static constexpr std::size_t maximumWaitingBytes = 1024 * 1024;
    /// How long destruction waits for a stalled reader to take the rest.
    static constexpr std::chrono::milliseconds patienceAtEnd{250};

    explicit StandardOutputLog(int output = STDOUT_FILENO, int diagnostics = STDERR_FILENO);
    ~StandardOutputLog() override;
    StandardOutputLog(const StandardOutputLog&) = delete;
    StandardOutputLog& operator=(const StandardOutputLog&) = delete;

protected:
    void write(std::string_view line) override;

private:
    class Writer;
    std::shared_ptr<Writer> m_writer;
};

} // namespace glimmerwick
