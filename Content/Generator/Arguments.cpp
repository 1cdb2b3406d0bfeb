#include "Arguments.h"

#include <algorithm>
#include <utility>

namespace glimmerwick {

Result<Arguments, GeneratorError> Arguments::parse(std::span<const std::string> words,
                                                   std::span<const std::string_view> options,
                                                   std::span<const std::string_view> switches)
{
    Arguments arguments;
    for (std::size_t next = 0; next < words.size(); ++next) {
        const std::string& name = words[next];
        std::string value;
        if (std::ranges::count(options, name) > 0) {
            if (++next == words.size()) {
                return Failure(GeneratorError{name + " needs a value"});
            }
            value = words[next];
        } else if (std::ranges::count(switches, name) == 0) {
            return Failure(GeneratorError{"unknown option " + name});
        }
        if (!arguments.m_values.emplace(name, std::move(value)).second) {
            return Failure(GeneratorError{name + " is given twice"});
        }
    }
    return arguments;
}

Result<std::string, GeneratorError> Arguments::value(std::string_view option) const
{
    if (auto found = optionalValue(option)) {
        return std::move(*found);
    }
    return Failure(GeneratorError{std::string(option) + " is missing"});
}

std::optional<std::string> Arguments::optionalValue(std::string_view option) const
{
    const auto found = m_values.find(option);
    return found == m_values.end() ? std::nullopt : std::optional(found->second);
}

bool Arguments::has(std::string_view switchName) const
{
    return m_values.contains(switchName);
}

} // namespace glimmerwick
