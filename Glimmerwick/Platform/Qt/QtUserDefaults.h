#pragma once

#include "Platform/UserDefaults.h"

#include <QMap>
#include <QSet>
#include <QString>

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>

class QJsonValue;
class QObject;

namespace glimmerwick {

/// Settings in one INI file, each value as JSON text so that its type survives. Changes are written when the
/// event loop is next idle, on `synchronize` and at destruction. When that fails, one line on standard error
/// says so, the old file stays, and the changes are kept for the next time. What others have changed in the
/// file meanwhile is kept when it is written.
///
/// A file that is damaged is kept beside itself under a name ending in ".corrupt", what could be read of it
/// stays in use, and one line on standard error says so. The folder is created when something is first
/// written.
class QtUserDefaults : public UserDefaults {
public:
    /// Differs whenever somebody has written the file.
    struct FileVersion {
        std::uint64_t file = 0;
        std::int64_t size = 0;
        std::int64_t seconds = 0;
        std::int64_t nanoseconds = 0;

        friend bool operator==(const FileVersion&, const FileVersion&) = default;
    };

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
    QJsonValue get(const std::string& key) const;
    void set(const std::string& key, const QJsonValue& value);
    void load();
    void saveWhenIdle();

    const std::filesystem::path m_file;
    /// As they are stored: JSON text.
    QMap<QString, QString> m_values;
    /// The keys of what is not in the file yet.
    QSet<QString> m_unsaved;
    /// Of the file that the values were read from or written to.
    std::optional<FileVersion> m_knownVersion;
    /// The damaged file is out of the way, and what could be read of it in no other.
    bool m_isReplacementDue = false;
    /// Is there while changes wait for the event loop.
    std::unique_ptr<QObject> m_pendingSave;
};

} // namespace glimmerwick
