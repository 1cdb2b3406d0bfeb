#include "IconSet.h"

#include "Files.h"
#include "ImageCanvas.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cstddef>
#include <sstream>

namespace glimmerwick {

namespace {

using nlohmann::json;

Result<json, GeneratorError> readObject(const std::filesystem::path& file)
{
    const auto bytes = readFile(file);
    if (!bytes) {
        return Failure(bytes.error());
    }
    json document = json::parse(bytes.value(), nullptr, false);
    if (!document.is_object()) {
        return Failure(GeneratorError{file.string() + " holds no JSON object"});
    }
    return document;
}

double numberOr(const json& object, const char* key, double otherwise)
{
    const auto found = object.find(key);
    return found != object.end() && found->is_number() ? found->get<double>() : otherwise;
}

/// The icon's own measures stand beside its drawing, where they differ from those of the set.
ViewBox measuresOf(const json& icon, const ViewBox& usual)
{
    return {numberOr(icon, "left", usual.left), numberOr(icon, "top", usual.top),
            numberOr(icon, "width", usual.width), numberOr(icon, "height", usual.height)};
}

/// As high as the canvas, in the middle of it.
std::string centred(const ViewBox& measures, const std::string& body)
{
    const double height = canvasSize.height;
    std::ostringstream content;
    content << "<svg width=\"" << canvasSize.width << "\" height=\"" << height << "\" viewBox=\""
            << measures.left << " " << measures.top << " " << measures.width << " " << measures.height
            << "\">" << body << "</svg>";
    return svgOnCanvas({0, 0, static_cast<double>(canvasSize.width), height}, content.str());
}

/// The package's spelling of a codepoint string: four digits at least, and no variation selectors.
std::string packageSpelling(std::string_view codepoint)
{
    constexpr std::size_t fewestDigits = 4;
    std::string spelling;
    while (!codepoint.empty()) {
        const std::string_view piece = codepoint.substr(0, codepoint.find('-'));
        codepoint.remove_prefix(std::min(piece.size() + 1, codepoint.size()));
        if (piece.empty() || piece == "fe0f") {
            continue;
        }
        spelling.append(spelling.empty() ? "" : "-");
        spelling.append(fewestDigits - std::min(fewestDigits, piece.size()), '0').append(piece);
    }
    return spelling;
}

} // namespace

Result<IconSet, GeneratorError> IconSet::load(const std::filesystem::path& folder)
{
    const auto names = readObject(folder / "chars.json");
    if (!names) {
        return Failure(names.error());
    }
    const auto set = readObject(folder / "icons.json");
    if (!set) {
        return Failure(set.error());
    }
    constexpr double iconifyDefault = 16;
    const ViewBox usual = measuresOf(set.value(), {0, 0, iconifyDefault, iconifyDefault});
    const json& icons = set.value().contains("icons") ? set.value().at("icons") : json::object();

    IconSet result;
    for (const auto& [codepoint, name] : names.value().items()) {
        const auto icon = name.is_string() ? icons.find(name.get<std::string>()) : icons.end();
        if (icon == icons.end() || !icon->contains("body") || !icon->at("body").is_string()) {
            continue;
        }
        result.m_drawings[codepoint] = centred(measuresOf(*icon, usual), icon->at("body").get<std::string>());
    }
    return result;
}

std::optional<std::string> IconSet::drawing(std::string_view codepoint) const
{
    const auto found = m_drawings.find(packageSpelling(codepoint));
    return found == m_drawings.end() ? std::nullopt : std::optional(found->second);
}

} // namespace glimmerwick
