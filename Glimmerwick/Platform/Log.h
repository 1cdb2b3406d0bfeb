#pragma once

#include <string_view>

namespace glimmerwick {

/// The program's log: single lines of plain text on standard output. Diagnostics of adapters go elsewhere
/// (standard error), so that standard output holds log lines alone. Any thread.
class Log {
public:
    virtual ~Log() = default;

    /// Prints one line. Line breaks and other controls inside a logged value are escaped (\n, \r, \t,
    /// \u{..}).
    void print(std::string_view line);

protected:
    /// Takes one escaped line without its end. Must neither block on a slow reader nor fail.
    virtual void write(std::string_view line) = 0;
};

} // namespace glimmerwick
