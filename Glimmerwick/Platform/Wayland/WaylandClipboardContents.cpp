#include "Platform/Wayland/WaylandClipboardContents.h"

#include "Platform/Linux/HistoryHint.h"
#include "Platform/Pasteboard.h"

#include <algorithm>

namespace glimmerwick {

namespace {

bool isTextType(const std::string& type)
{
    return std::ranges::find(waylandTextTypes(), type) != waylandTextTypes().end();
}

} // namespace

// The last three are X11's, which programs that run under XWayland ask for, and many others, too. All of them
// are given as UTF-8: that is what Wayland programs do, and Latin-1 has no emoji anyway.
const std::vector<std::string>& waylandTextTypes()
{
    static const std::vector<std::string> types{"text/plain;charset=utf-8", "UTF8_STRING", "text/plain",
                                                "TEXT", "STRING"};
    return types;
}

WaylandClipboardContents::Bytes WaylandClipboardContents::find(const std::string& type) const
{
    const auto found = byType.find(type);
    return found == byType.end() ? nullptr : found->second;
}

bool WaylandClipboardContents::isHinted() const
{
    return isPassing || isSecret || byType.contains(pasteboardType::concealed);
}

std::vector<std::string> WaylandClipboardContents::offeredTypes() const
{
    std::vector<std::string> types;
    for (const auto& [type, bytes] : byType) {
        if (type == pasteboardType::string) {
            types.insert(types.end(), waylandTextTypes().begin(), waylandTextTypes().end());
        } else {
            types.push_back(type);
        }
    }
    if (isHinted() && !types.empty()) {
        types.push_back(historyHint::target);
    }
    return types;
}

WaylandClipboardContents::Bytes WaylandClipboardContents::offered(const std::string& type) const
{
    if (type == historyHint::target) {
        return isHinted() ? std::make_shared<const std::string>(historyHint::secret) : nullptr;
    }
    return find(isTextType(type) ? pasteboardType::string : type);
}

} // namespace glimmerwick
