#pragma once

#include "Models/Result.h"

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// The name is GLib's.
struct _GKeyFile; // NOLINT(bugprone-reserved-identifier)

namespace glimmerwick {

/// The main group of a desktop file. What is not changed stays as it was read, to the byte.
class DesktopEntry {
public:
    /// Without any key.
    DesktopEntry();
    /// The error says in one line what is wrong with the text.
    static Result<DesktopEntry, std::string> parse(std::string text);

    /// Nothing when the key is missing or its value is no text.
    std::optional<std::string> string(const char* key) const;
    /// Nothing when the key is missing or its value is neither true nor false.
    std::optional<bool> boolean(const char* key) const;

    void setString(const char* key, const std::string& value);
    void setTrue(const char* key);
    void remove(const char* key);

    const std::string& text() const { return m_text; }

private:
    struct Deleter {
        void operator()(_GKeyFile* file) const;
    };
    using KeyFile = std::unique_ptr<_GKeyFile, Deleter>;

    DesktopEntry(KeyFile file, std::string text);
    /// Puts the key, as it stands now, into the text.
    void updateText(const char* key);

    KeyFile m_file;
    /// What the library would write has other blank lines, and more of them each time.
    std::string m_text;
};

/// The value of an Exec key that starts a program with these arguments, word for word.
std::string desktopCommand(const std::vector<std::string>& words);

} // namespace glimmerwick
