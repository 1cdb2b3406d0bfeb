#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace glimmerwick {

/// An input as a row of choices, numbers and texts, read from the front and written so that it can be typed:
/// a choice is a letter ("a" is the first), a number eight bytes of which the lower halves count, a text ends
/// with a newline, and a backslash takes what follows it as it is. Behind the end all are zero or empty.
class FuzzScript {
public:
    explicit FuzzScript(std::string_view input) : m_rest(input) { }

    bool isAtEnd() const { return m_rest.empty(); }

    /// Less than the count.
    std::size_t choice(std::size_t count)
    {
        return isAtEnd() ? 0 : static_cast<std::uint8_t>(take() - 'a') % count;
    }

    bool isChosen() { return choice(2) == 1; }

    template <typename Values> const auto& oneOf(const Values& values)
    {
        return values[choice(std::size(values))];
    }

    std::uint32_t number()
    {
        constexpr std::size_t digits = 8;
        std::uint32_t value = 0;
        for (std::size_t digit = 0; digit < digits; ++digit) {
            value = value << 4 | (isAtEnd() ? 0U : static_cast<std::uint32_t>(take() & 0x0f));
        }
        return value;
    }

    std::string text()
    {
        std::string text;
        while (!isAtEnd()) {
            char byte = take();
            if (byte == '\n') {
                break;
            }
            if (byte == '\\' && !isAtEnd()) {
                byte = take();
            }
            text += byte;
        }
        return text;
    }

private:
    char take()
    {
        const char byte = m_rest.front();
        m_rest.remove_prefix(1);
        return byte;
    }

    std::string_view m_rest;
};

} // namespace glimmerwick
