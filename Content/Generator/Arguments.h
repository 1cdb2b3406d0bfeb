#pragma once

#include "Models/Result.h"

#include <map>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace glimmerwick {

/// A step of the generator that cannot go on: one readable line that names the file or option.
struct GeneratorError {
    std::string description;
};

/// The options of one command: "--name value" pairs, and "--name" alone for those named as switches.
class Arguments {
public:
    /// Fails on an option that is not among the allowed ones, on one without its value, on a repeated one and
    /// on anything that is no option.
    static Result<Arguments, GeneratorError> parse(std::span<const std::string> words,
                                                   std::span<const std::string_view> options,
                                                   std::span<const std::string_view> switches = {});

    /// Fails when the option is absent.
    Result<std::string, GeneratorError> value(std::string_view option) const;
    std::optional<std::string> optionalValue(std::string_view option) const;
    bool has(std::string_view switchName) const;

private:
    std::map<std::string, std::string, std::less<>> m_values;
};

} // namespace glimmerwick
