#pragma once

#include "Platform/UserDefaults.h"

#include <filesystem>
#include <memory>

class QJsonValue;
class QSettings;

namespace glimmerwick {

/// Settings in one INI file, each value as JSON text so that its type survives. Changes are written when the
/// event loop is next idle, on `synchronize` and at destruction.
///
/// A file that is damaged is kept beside itself under a name ending in ".corrupt", what could be read of it
/// stays in use, and one line on standard error says so. The folder is created when something is first
/// written.
class QtUserDefaults : public UserDefaults {
public:
    explicit QtUserDefaults(std::filesystem::path file);
    ~QtUserDefaults() override;

    std::optional<std::string> string(const std::string& key) override;
    std::optional<std::vector<std::string>> stringArray(const std::string& key) override;
    std::optional<bool> boolean(const std::string& key) override;

    void setString(const std::string& key, const std::string& value) override;
    void setStringArray(const std::string& key, const std::vector<std::string>& value) override;
    void setBoolean(const std::string& key, bool value) override;

    void synchronize() override;

private:
    const std::filesystem::path m_file;
    std::unique_ptr<QSettings> m_settings;
};

} // namespace glimmerwick
