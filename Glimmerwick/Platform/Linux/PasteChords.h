#pragma once

#include <filesystem>
#include <istream>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace glimmerwick {

/// The keys that paste in one kind of application.
struct PasteChord {
    enum class Keys { controlV, controlShiftV, shiftInsert, controlShiftInsert };
    enum class Readiness {
        atOnce,
        /// The application takes a paste only after it has learned what is on the clipboard.
        afterSettling,
    };

    Keys keys = Keys::controlV;
    Readiness readiness = Readiness::atOnce;

    friend bool operator==(const PasteChord&, const PasteChord&) = default;
};

/// Which keys paste where, by the application's window class.
///
/// A file has one class per line, which may have several words, then the keys ("Ctrl+V", "Ctrl+Shift+V",
/// "Shift+Insert", "Ctrl+Shift+Insert"), then "settle" where the application needs it; "#" begins a comment.
/// Upper and lower case are the same everywhere. Lines that make no sense are reported on standard error and
/// skipped.
class PasteChords {
public:
    PasteChords() = default;
    /// Of all files, a later one's lines winning over an earlier one's.
    explicit PasteChords(const std::vector<std::filesystem::path>& files);

    /// Adds the file's lines, which win over earlier ones. What cannot be read, or is no regular file, adds
    /// nothing.
    void load(const std::filesystem::path& file);
    void load(std::istream& lines, const std::string& name);

    /// Ctrl+V for a class that is not listed.
    PasteChord find(std::string_view windowClass) const;

private:
    std::map<std::string, PasteChord> m_byClass;
};

} // namespace glimmerwick
