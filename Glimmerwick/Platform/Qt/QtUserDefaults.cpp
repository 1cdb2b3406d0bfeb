#include "Platform/Qt/QtUserDefaults.h"

#include "Platform/Linux/FileDescriptor.h"
#include "Platform/Linux/WholeFile.h"
#include "Platform/Qt/IniText.h"
#include "Platform/Qt/Text.h"

#include <QByteArray>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonValue>
#include <QMetaObject>
#include <QObject>
#include <QSettings>
#include <QVariant>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string_view>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>

namespace glimmerwick {

namespace {

using std::filesystem::path;

/// Far above what settings need; a larger file is not looked into.
constexpr std::uintmax_t largestFileSize = 16 * 1024 * 1024;

void report(const std::string& problem)
{
    std::fprintf(stderr, "glimmerwick: %s\n", problem.c_str());
}

QString fileName(const path& path)
{
    return QFile::decodeName(path.c_str());
}

std::unique_ptr<QSettings> open(const path& file)
{
    return std::make_unique<QSettings>(fileName(file), QSettings::IniFormat);
}

// A document holds no lone string or boolean in Qt 6.4, so the value travels inside a list of one.
QString encode(const QJsonValue& value)
{
    const QByteArray list = QJsonDocument(QJsonArray{value}).toJson(QJsonDocument::Compact);
    return QString::fromUtf8(list.mid(1, list.size() - 2));
}

/// Undefined when the stored form is no JSON text.
QJsonValue decode(const QVariant& stored)
{
    if (stored.typeId() != QMetaType::QString) {
        return QJsonValue::Undefined;
    }
    const QJsonArray list = QJsonDocument::fromJson('[' + stored.toString().toUtf8() + ']').array();
    return list.size() == 1 ? list.first() : QJsonValue(QJsonValue::Undefined);
}

/// What a file of settings holds, and whether that is all that was ever put there.
struct Contents {
    QMap<QString, QString> values;
    bool isDamaged = false;
};

/// Qt passes silently over bytes that it would never have written itself.
bool hasStrayControls(const QByteArray& bytes)
{
    return std::any_of(bytes.begin(), bytes.end(), [](char byte) {
        return static_cast<unsigned char>(byte) < ' ' && byte != '\n' && byte != '\r' && byte != '\t';
    });
}

/// Qt takes the name of a section with nothing in it, or of a key, for another's: what stands there would
/// come back in the place of something else.
bool isPlainPath(const QString& key)
{
    return !key.startsWith('/') && !key.endsWith('/') && !key.contains(QStringLiteral("//"));
}

bool isReadableFile(const path& file)
{
    std::error_code error;
    return std::filesystem::is_regular_file(file, error)
        && std::filesystem::file_size(file, error) <= largestFileSize
        && QFile(fileName(file)).open(QIODevice::ReadOnly);
}

/// Whether it is the machine that is in trouble at this moment, and not the file.
bool isOutOfReach(const path& file)
{
    const FileDescriptor descriptor(::open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    return !descriptor && (errno == EMFILE || errno == ENFILE || errno == ENOMEM || errno == EIO);
}

Contents readContents(const path& file)
{
    Contents contents;
    if (!isReadableFile(file)) {
        contents.isDamaged = true;
        return contents;
    }
    QFile bytes(fileName(file));
    contents.isDamaged = !bytes.open(QIODevice::ReadOnly) || hasStrayControls(bytes.readAll());
    const auto settings = open(file);
    for (const QString& key : settings->allKeys()) {
        const QJsonValue value = isPlainPath(key) ? decode(settings->value(key)) : QJsonValue::Undefined;
        if (value.isUndefined()) {
            contents.isDamaged = true;
        } else {
            // Not as it stands there: Qt's reader of JSON takes control characters in a text, which would be
            // written back as they are, and be damage the next time.
            contents.values.insert(key, encode(value));
        }
    }
    // Known only now: a section is parsed when it is first asked for.
    contents.isDamaged = contents.isDamaged || settings->status() != QSettings::NoError;
    return contents;
}

/// A free name beside the file.
path nameForDamaged(const path& file)
{
    std::error_code error;
    path name = file;
    name += ".corrupt";
    for (int number = 2; std::filesystem::exists(name, error); ++number) {
        name = file;
        name += ".corrupt-" + std::to_string(number);
    }
    return name;
}

/// The file that a symbolic link leads to, which stays one.
path behindLinks(const path& file)
{
    std::error_code error;
    const path target = std::filesystem::canonical(file, error);
    if (!error) {
        return target;
    }
    // A link to what is not there yet, or no longer: unless its folder is missing as well, it is made there.
    const path missing = file.parent_path() / std::filesystem::read_symlink(file, error);
    return !error && std::filesystem::is_directory(missing.parent_path(), error) ? missing : file;
}

/// Whether the file is out of the way.
bool keepAside(const path& file)
{
    const path aside = nameForDamaged(file);
    std::error_code error;
    std::filesystem::rename(file, aside, error);
    report("the settings file " + file.string() + " is damaged; "
           + (error ? "it cannot be renamed: " + error.message()
                    : "it is kept as " + aside.string() + ", and what could be read stays in use"));
    return !error;
}

/// Settings hold what was picked last and the portal's token for typing. Earlier versions let everybody read
/// them.
void closeToOthers(const path& file)
{
    using std::filesystem::perms;
    std::error_code error;
    if (std::filesystem::is_regular_file(file, error)) {
        std::filesystem::permissions(file, perms::group_all | perms::others_all,
                                     std::filesystem::perm_options::remove, error);
    }
}

/// Nothing when there is no file.
std::optional<QtUserDefaults::FileVersion> versionOf(const path& file)
{
    struct stat status { };
    if (::stat(file.c_str(), &status) != 0) {
        return std::nullopt;
    }
    return QtUserDefaults::FileVersion{status.st_ino, status.st_size, status.st_mtim.tv_sec,
                                       status.st_mtim.tv_nsec};
}

/// Empty when it is stored.
std::string store(const path& file, const QMap<QString, QString>& values)
{
    constexpr mode_t onlyForTheUser = 0600;
    std::error_code error;
    std::filesystem::create_directories(file.parent_path(), error);
    if (error) {
        return error.message();
    }
    const QByteArray text = iniText(values);
    const std::string_view bytes(text.constData(), static_cast<std::size_t>(text.size()));
    if (!writeWholeFile(behindLinks(file), bytes, onlyForTheUser, Durability::onTheDisk)) {
        return std::generic_category().message(errno);
    }
    return {};
}

} // namespace

QtUserDefaults::QtUserDefaults(path file) : m_file(std::move(file))
{
    load();
}

QtUserDefaults::~QtUserDefaults()
{
    synchronize();
}

/// What others have changed in the file comes in, except for what waits to be written.
void QtUserDefaults::load()
{
    const auto version = versionOf(m_file);
    if (!version || version == m_knownVersion) {
        return;
    }
    if (isOutOfReach(m_file)) {
        report("the settings in " + m_file.string() + " cannot be read now");
        return;
    }
    m_knownVersion = version;
    closeToOthers(m_file);
    Contents contents = readContents(m_file);
    const bool isOutOfTheWay = contents.isDamaged && keepAside(behindLinks(m_file));
    for (auto value = m_values.begin(); value != m_values.end(); ++value) {
        if (contents.isDamaged || m_unsaved.contains(value.key())) {
            contents.values.insert(value.key(), value.value());
        }
    }
    m_values = std::move(contents.values);
    if (isOutOfTheWay && !m_values.isEmpty()) {
        m_isReplacementDue = true;
        saveWhenIdle();
    }
}

QJsonValue QtUserDefaults::get(const std::string& key) const
{
    const auto value = m_values.find(toQString(key));
    return value == m_values.end() ? QJsonValue(QJsonValue::Undefined) : decode(*value);
}

void QtUserDefaults::set(const std::string& key, const QJsonValue& value)
{
    const QString name = toQString(key);
    m_values.insert(name, encode(value));
    m_unsaved.insert(name);
    saveWhenIdle();
}

void QtUserDefaults::saveWhenIdle()
{
    if (m_pendingSave) {
        return;
    }
    m_pendingSave = std::make_unique<QObject>();
    const auto save = [this] {
        m_pendingSave.release()->deleteLater();
        synchronize();
    };
    QMetaObject::invokeMethod(m_pendingSave.get(), save, Qt::QueuedConnection);
}

std::optional<std::string> QtUserDefaults::string(const std::string& key)
{
    const QJsonValue value = get(key);
    return value.isString() ? std::optional(toUtf8(value.toString())) : std::nullopt;
}

std::optional<std::vector<std::string>> QtUserDefaults::stringArray(const std::string& key)
{
    const QJsonValue value = get(key);
    if (!value.isArray()) {
        return std::nullopt;
    }
    std::vector<std::string> strings;
    for (const QJsonValue element : value.toArray()) {
        if (!element.isString()) {
            return std::nullopt;
        }
        strings.push_back(toUtf8(element.toString()));
    }
    return strings;
}

std::optional<bool> QtUserDefaults::boolean(const std::string& key)
{
    const QJsonValue value = get(key);
    return value.isBool() ? std::optional(value.toBool()) : std::nullopt;
}

void QtUserDefaults::setString(const std::string& key, const std::string& value)
{
    set(key, toQString(value));
}

void QtUserDefaults::setStringArray(const std::string& key, const std::vector<std::string>& value)
{
    QJsonArray list;
    for (const std::string& element : value) {
        list.append(toQString(element));
    }
    set(key, list);
}

void QtUserDefaults::setBoolean(const std::string& key, bool value)
{
    set(key, value);
}

void QtUserDefaults::synchronize()
{
    m_pendingSave.reset();
    if (m_unsaved.isEmpty() && !m_isReplacementDue) {
        return;
    }
    // Another instance, or the user, may have written there.
    load();
    m_pendingSave.reset();
    if (isOutOfReach(m_file)) {
        // What it holds is not known, and must not be written over.
        return;
    }
    const std::string problem = store(m_file, m_values);
    if (!problem.empty()) {
        report("the settings cannot be stored in " + m_file.string() + ": " + problem);
        return;
    }
    m_knownVersion = versionOf(m_file);
    m_unsaved.clear();
    m_isReplacementDue = false;
}

} // namespace glimmerwick
