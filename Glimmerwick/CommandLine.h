#pragma once

#include "Models/Result.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace glimmerwick {

/// What the words after the program's name ask for. Any thread.
struct CommandLine {
    enum class Request {
        run,
        help,
        version,
        /// Tell what the session lets the program do.
        diagnose,
    };

    Request request = Request::run;
    bool showPicker = false;
    bool toggle = false;
    /// A picker that runs already is to be left alone.
    bool background = false;
    /// The first one given.
    std::optional<std::string> targetApp;
    /// The toolkit's own options and their values, as they were written. Nothing else may reach the toolkit:
    /// it would take the identifier in "--target-app -style" for an option.
    std::vector<std::string> toolkitArguments;

    /// Whether a running picker has nothing better to do about these than to show itself.
    bool isPlainStart() const { return !showPicker && !toggle && !background && !targetApp; }

    /// The words without the program's name, up to the first that asks for something to print. The error is
    /// a sentence for the user, without the program's name.
    static Result<CommandLine, std::string> parse(const std::vector<std::string>& arguments);

    /// The text of `--help`.
    static std::string_view usage();
};

} // namespace glimmerwick
