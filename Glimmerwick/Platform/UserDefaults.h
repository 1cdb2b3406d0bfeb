#pragma once

#include <optional>
#include <string>
#include <vector>

namespace glimmerwick {

/// The user's settings, kept across runs. A key that is absent, or holds a value of another type, reads as
/// nothing. Main thread.
class UserDefaults {
public:
    virtual ~UserDefaults() = default;

    virtual std::optional<std::string> string(const std::string& key) = 0;
    virtual std::optional<std::vector<std::string>> stringArray(const std::string& key) = 0;
    virtual std::optional<bool> boolean(const std::string& key) = 0;

    virtual void setString(const std::string& key, const std::string& value) = 0;
    virtual void setStringArray(const std::string& key, const std::vector<std::string>& value) = 0;
    virtual void setBoolean(const std::string& key, bool value) = 0;

    /// Forces the stored form to be written now. A failure is reported by the adapter on standard error.
    virtual void synchronize() = 0;
};

} // namespace glimmerwick
