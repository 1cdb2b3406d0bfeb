#include "Platform/Qt/QtUserDefaults.h"

#include "Platform/Qt/Text.h"

#include <QByteArray>
#include <QFile>
#include <QHash>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonValue>
#include <QSettings>
#include <QStringList>
#include <QVariant>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <system_error>
#include <utility>

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

QJsonValue read(const QSettings& settings, const std::string& key)
{
    return decode(settings.value(toQString(key)));
}

void write(QSettings& settings, const std::string& key, const QJsonValue& value)
{
    settings.setValue(toQString(key), encode(value));
}

/// What a file of settings holds, and whether that is all that was ever put there.
struct Contents {
    QHash<QString, QString> values;
    bool isDamaged = false;
};

/// Qt passes silently over bytes that it would never have written itself.
bool hasStrayControls(const QByteArray& bytes)
{
    return std::any_of(bytes.begin(), bytes.end(), [](char byte) {
        return static_cast<unsigned char>(byte) < ' ' && byte != '\n' && byte != '\r' && byte != '\t';
    });
}

bool isReadableFile(const path& file)
{
    std::error_code error;
    return std::filesystem::is_regular_file(file, error)
        && std::filesystem::file_size(file, error) <= largestFileSize
        && QFile(fileName(file)).open(QIODevice::ReadOnly);
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
        const QVariant stored = settings->value(key);
        if (decode(stored).isUndefined()) {
            contents.isDamaged = true;
        } else {
            contents.values.insert(key, stored.toString());
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

/// The settings of the file, which is replaced by what can be read of it when it is damaged.
std::unique_ptr<QSettings> load(const path& file)
{
    std::error_code error;
    if (!std::filesystem::exists(file, error)) {
        return open(file);
    }
    const Contents contents = readContents(file);
    const bool isReplaced = contents.isDamaged && keepAside(file);
    auto settings = open(file);
    if (isReplaced) {
        for (auto value = contents.values.begin(); value != contents.values.end(); ++value) {
            settings->setValue(value.key(), value.value());
        }
    }
    return settings;
}

} // namespace

QtUserDefaults::QtUserDefaults(path file) : m_file(std::move(file)), m_settings(load(m_file)) { }

QtUserDefaults::~QtUserDefaults()
{
    synchronize();
}

std::optional<std::string> QtUserDefaults::string(const std::string& key)
{
    const QJsonValue value = read(*m_settings, key);
    return value.isString() ? std::optional(toUtf8(value.toString())) : std::nullopt;
}

std::optional<std::vector<std::string>> QtUserDefaults::stringArray(const std::string& key)
{
    const QJsonValue value = read(*m_settings, key);
    if (!value.isArray()) {
        return std::nullopt;
    }
    std::vector<std::string> strings;
    for (const QJsonValue& element : value.toArray()) {
        if (!element.isString()) {
            return std::nullopt;
        }
        strings.push_back(toUtf8(element.toString()));
    }
    return strings;
}

std::optional<bool> QtUserDefaults::boolean(const std::string& key)
{
    const QJsonValue value = read(*m_settings, key);
    return value.isBool() ? std::optional(value.toBool()) : std::nullopt;
}

void QtUserDefaults::setString(const std::string& key, const std::string& value)
{
    write(*m_settings, key, toQString(value));
}

void QtUserDefaults::setStringArray(const std::string& key, const std::vector<std::string>& value)
{
    QJsonArray list;
    for (const std::string& element : value) {
        list.append(toQString(element));
    }
    write(*m_settings, key, list);
}

void QtUserDefaults::setBoolean(const std::string& key, bool value)
{
    write(*m_settings, key, value);
}

void QtUserDefaults::synchronize()
{
    // A QSettings that has failed once says so for ever; a new one shares its unsaved values, but not its
    // past.
    auto renewed = open(m_file);
    renewed->sync();
    if (renewed->status() == QSettings::AccessError) {
        report("the settings cannot be stored in " + m_file.string());
    }
    m_settings = std::move(renewed);
}

} // namespace glimmerwick
