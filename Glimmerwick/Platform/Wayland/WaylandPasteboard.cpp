#include "Platform/Wayland/WaylandPasteboard.h"

#include "Platform/MainQueue.h"
#include "Platform/Shell.h"
#include "Platform/Wayland/WaylandConnection.h"

#include <utility>

namespace glimmerwick {

namespace {

void tellThatNothingWasPasted(UserNotice& userNotice)
{
    userNotice.post({"Emoji not inserted",
                     "The application did not take it from the clipboard. "
                     "Choose it again, or copy it and paste it yourself."});
}

} // namespace

WaylandPasteboard::WaylandPasteboard(WaylandConnection& connection, MainQueue& mainQueue,
                                     UserNotice& userNotice, ToolkitText toolkitText)
    : m_connection(connection), m_toolkitText(std::move(toolkitText)),
      m_service(connection.perform([&](WaylandDisplay& display) {
          return std::make_unique<WaylandClipboardService>(display, [&mainQueue, &userNotice] {
              mainQueue.async([&userNotice] { tellThatNothingWasPasted(userNotice); });
          });
      }))
{
}

template <typename Work> auto WaylandPasteboard::perform(Work work)
{
    return m_connection.perform([&](WaylandDisplay&) { return work(*m_service); });
}

WaylandPasteboard::~WaylandPasteboard()
{
    perform([this](WaylandClipboardService&) { m_service.reset(); });
}

void WaylandPasteboard::clearContents()
{
    perform([](WaylandClipboardService& service) { service.clear(); });
}

bool WaylandPasteboard::setString(std::string_view text, const std::string& type)
{
    return setData(text, type);
}

bool WaylandPasteboard::setData(std::string_view bytes, const std::string& type)
{
    return perform([&](WaylandClipboardService& service) { return service.add(type, std::string(bytes)); });
}

std::optional<std::string> WaylandPasteboard::string(const std::string& type)
{
    const auto toolkitText = m_toolkitText();
    return perform([&](WaylandClipboardService& service) { return service.read(type, toolkitText); });
}

bool WaylandPasteboard::pasteWillBegin(PasteSelections selections)
{
    return perform([&](WaylandClipboardService& service) { return service.beginPaste(selections); });
}

void WaylandPasteboard::pasteWasCancelled()
{
    perform([](WaylandClipboardService& service) { service.cancelPaste(); });
}

} // namespace glimmerwick
