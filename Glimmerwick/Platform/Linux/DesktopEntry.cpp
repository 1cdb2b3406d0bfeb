#include "Platform/Linux/DesktopEntry.h"

#include "Platform/Linux/GLibHandles.h"

#include <glib.h>

#include <algorithm>
#include <cstddef>
#include <numeric>
#include <utility>

namespace glimmerwick {

namespace {

constexpr const char* group = G_KEY_FILE_DESKTOP_GROUP;

std::string_view trimmed(std::string_view line)
{
    constexpr std::string_view space = " \t\r\n";
    line.remove_prefix(std::min(line.find_first_not_of(space), line.size()));
    return line.substr(0, line.find_last_not_of(space) + 1);
}

bool isKey(std::string_view line, std::string_view key)
{
    return trimmed(line.substr(0, line.find('='))) == key;
}

/// Each with its line break, where it has one.
std::vector<std::string> linesOf(std::string_view text)
{
    std::vector<std::string> lines;
    while (!text.empty()) {
        const auto end = std::min(text.find('\n'), text.size() - 1) + 1;
        lines.emplace_back(text.substr(0, end));
        text.remove_prefix(end);
    }
    return lines;
}

/// The lines of the main group, and behind the last of them that says something.
std::pair<std::size_t, std::size_t> mainGroup(const std::vector<std::string>& lines)
{
    const auto isHeader = [](const std::string& line) { return trimmed(line).starts_with('['); };
    const std::string header = std::string("[") + group + "]";
    const auto begin = std::find_if(lines.begin(), lines.end(),
                                    [&](const std::string& line) { return trimmed(line) == header; });
    auto end = begin == lines.end() ? begin : std::find_if(begin + 1, lines.end(), isHeader);
    while (end != begin && trimmed(*(end - 1)).empty()) {
        --end;
    }
    return {begin - lines.begin(), end - lines.begin()};
}

/// A word in quotes, with what means something inside of them escaped. Field codes begin with "%".
std::string quoted(const std::string& word)
{
    std::string result = "\"";
    for (const char character : word) {
        if (std::string_view("\"`$\\").find(character) != std::string_view::npos) {
            result += '\\';
        }
        result += character == '%' ? "%%" : std::string(1, character);
    }
    return result + '"';
}

} // namespace

void DesktopEntry::Deleter::operator()(_GKeyFile* file) const
{
    g_key_file_unref(file);
}

DesktopEntry::DesktopEntry() : DesktopEntry(KeyFile(g_key_file_new()), std::string("[") + group + "]\n") { }

DesktopEntry::DesktopEntry(KeyFile file, std::string text) : m_file(std::move(file)), m_text(std::move(text))
{
}

Result<DesktopEntry, std::string> DesktopEntry::parse(std::string text)
{
    KeyFile file(g_key_file_new());
    GErrorHandle error;
    if (!g_key_file_load_from_data(file.get(), text.data(), text.size(), G_KEY_FILE_NONE, error.out())) {
        return Failure{error.message()};
    }
    if (!g_key_file_has_group(file.get(), group)) {
        return Failure{std::string("it has no group \"") + group + "\""};
    }
    return DesktopEntry(std::move(file), std::move(text));
}

std::optional<std::string> DesktopEntry::string(const char* key) const
{
    const GTextHandle value(g_key_file_get_string(m_file.get(), group, key, nullptr));
    return value ? std::optional<std::string>(value.get()) : std::nullopt;
}

std::optional<bool> DesktopEntry::boolean(const char* key) const
{
    GErrorHandle error;
    const bool value = g_key_file_get_boolean(m_file.get(), group, key, error.out());
    return error ? std::nullopt : std::optional(value);
}

void DesktopEntry::setString(const char* key, const std::string& value)
{
    g_key_file_set_string(m_file.get(), group, key, value.c_str());
    updateText(key);
}

void DesktopEntry::setTrue(const char* key)
{
    g_key_file_set_boolean(m_file.get(), group, key, true);
    updateText(key);
}

void DesktopEntry::remove(const char* key)
{
    g_key_file_remove_key(m_file.get(), group, key, nullptr);
    updateText(key);
}

void DesktopEntry::updateText(const char* key)
{
    std::vector<std::string> lines = linesOf(m_text);
    auto [begin, end] = mainGroup(lines);
    const auto place = [&](std::size_t index) { return lines.begin() + static_cast<std::ptrdiff_t>(index); };
    // The last one of several counts, so none of the others may stay.
    const auto kept =
        std::remove_if(place(begin), place(end), [key](const std::string& line) { return isKey(line, key); });
    const auto behind = lines.erase(kept, place(end));
    if (const GTextHandle value{g_key_file_get_value(m_file.get(), group, key, nullptr)}) {
        if (!(behind - 1)->ends_with('\n')) {
            *(behind - 1) += '\n';
        }
        lines.insert(behind, std::string(key) + "=" + value.get() + "\n");
    }
    m_text = std::accumulate(lines.begin(), lines.end(), std::string());
}

std::string desktopCommand(const std::vector<std::string>& words)
{
    std::string command;
    for (const std::string& word : words) {
        const bool isPlain = word.find_first_not_of("abcdefghijklmnopqrstuvwxyz-") == std::string::npos;
        command += (command.empty() ? "" : " ") + (isPlain && !word.empty() ? word : quoted(word));
    }
    return command;
}

} // namespace glimmerwick
