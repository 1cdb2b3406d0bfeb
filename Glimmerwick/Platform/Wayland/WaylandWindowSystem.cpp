#include "Platform/Linux/PasteChords.h"
#include "Platform/Qt/FocusedEventMonitors.h"
#include "Platform/Qt/FocusedEventTap.h"
#include "Platform/Qt/KeyEventFilter.h"
#include "Platform/Qt/Text.h"
#include "Platform/Wayland/WaylandConnection.h"
#include "Platform/Wayland/WaylandDisplayLoss.h"
#include "Platform/Wayland/WaylandFakeInput.h"
#include "Platform/Wayland/WaylandInjectedKeyboard.h"
#include "Platform/Wayland/WaylandPanelHost.h"
#include "Platform/Wayland/WaylandPasteSurroundings.h"
#include "Platform/Wayland/WaylandPasteboard.h"
#include "Platform/Wayland/WaylandToolkit.h"
#include "Platform/Wayland/WaylandWindows.h"
#include "Platform/Wayland/WaylandWorkspace.h"
#include "Platform/WindowSystem.h"

#include <QClipboard>
#include <QGuiApplication>
#include <QMimeData>

#include <optional>
#include <stdexcept>
#include <string>
#include <utility>

namespace glimmerwick {

namespace {

std::optional<std::string> textOfTheToolkit()
{
    const QClipboard* clipboard = QGuiApplication::clipboard();
    const QMimeData* own = clipboard->ownsClipboard() ? clipboard->mimeData() : nullptr;
    return own && own->hasText() ? std::optional(toUtf8(own->text())) : std::nullopt;
}

class WaylandWindowSystem : public WindowSystem {
public:
    WaylandWindowSystem(std::unique_ptr<WaylandConnection> connection, const WindowSystemContext& context)
        : m_connection(std::move(connection)), m_windows(*m_connection)
    {
        if (context.routes.panel == PanelRoute::layerShell) {
            m_face.emplace(context.mainQueue, *m_connection);
        }
        if (context.routes.clipboard == ClipboardRoute::dataControl) {
            m_pasteboard.emplace(
                *m_connection, context.mainQueue, context.userNotice,
                context.routes.toolkit == ToolkitRoute::wayland
                    ? WaylandPasteboard::ToolkitText(&textOfTheToolkit)
                    : [] { return std::optional<std::string>(); });
            m_surroundings.emplace(m_windows, *m_pasteboard);
        }
        if (context.routes.windows != WindowsRoute::none) {
            m_workspace.emplace(m_windows);
        }
        if (context.routes.paste == PasteRoute::virtualKeyboard) {
            m_keyboard = std::make_unique<WaylandInjectedKeyboard>(*m_connection);
        } else if (context.routes.paste == PasteRoute::kwinFakeInput) {
            m_keyboard = context.keyboardLayoutInUse
                ? std::make_unique<WaylandFakeInput>(*m_connection, context.keyboardLayoutInUse)
                : std::make_unique<WaylandFakeInput>(*m_connection);
        }
    }

    PanelHost* panelHost() override { return m_face ? &m_face->panelHost : nullptr; }
    EventMonitors* eventMonitors() override { return m_face ? &m_face->eventMonitors : nullptr; }
    EventTap* eventTap() override { return m_face ? &m_face->eventTap : nullptr; }
    Pasteboard* pasteboard() override { return m_pasteboard ? &*m_pasteboard : nullptr; }
    Workspace* workspace() override { return m_workspace ? &*m_workspace : nullptr; }
    EventPoster* eventPoster() override { return nullptr; }
    AccessibilityTrust* accessibilityTrust() override { return nullptr; }
    InjectedKeyboard* keyboard() override { return m_keyboard.get(); }
    PasteSurroundings* pasteSurroundings() override { return m_surroundings ? &*m_surroundings : nullptr; }

private:
    /// What needs the toolkit's own connection.
    struct Face {
        Face(MainQueue& mainQueue, WaylandConnection& connection)
            : keyEventFilter(mainQueue), eventTap(keyEventFilter), eventMonitors(keyEventFilter),
              panelHost(connection)
        {
        }

        KeyEventFilter keyEventFilter;
        FocusedEventTap eventTap;
        FocusedEventMonitors eventMonitors;
        WaylandPanelHost panelHost;
    };

    const std::unique_ptr<WaylandConnection> m_connection;
    WaylandWindows m_windows;
    std::optional<Face> m_face;
    std::optional<WaylandPasteboard> m_pasteboard;
    std::optional<WaylandPasteSurroundings> m_surroundings;
    std::optional<WaylandWorkspace> m_workspace;
    std::unique_ptr<InjectedKeyboard> m_keyboard;
};

class WaylandLibrary : public WindowSystemLibrary {
public:
    void probe(SessionFacts& facts) override
    {
        try {
            m_connection = std::make_unique<WaylandConnection>(WaylandConnection::Options());
        } catch (const std::runtime_error&) {
            return;
        }
        const WaylandCapabilities capabilities = m_connection->capabilities();
        facts.waylandDisplay = true;
        facts.seat = capabilities.seat;
        facts.layerShell = capabilities.layerShell;
        facts.dataControl = capabilities.dataControl != WaylandCapabilities::DataControl::none;
        facts.virtualKeyboard = capabilities.virtualKeyboard;
        facts.foreignToplevels = capabilities.foreignToplevel;
        facts.plasmaWindows = capabilities.plasmaWindowManagement;
        facts.kwinFakeInput = capabilities.kwinFakeInput;
    }

    void endProbing() override { m_connection.reset(); }

    std::unique_ptr<DisplayLossWatch> watchForLoss() override
    {
        return std::make_unique<WaylandDisplayLoss>();
    }

    void prepareToolkit(const SessionRoutes& routes) override
    {
        if (routes.panel == PanelRoute::layerShell) {
            WaylandToolkit::leaveBypassingWindowsWithoutRole();
        }
    }

    bool isToolkitOnIt() override { return WaylandToolkit::isAvailable(); }

    std::unique_ptr<WindowSystem> make(const WindowSystemContext& context) override
    {
        // What was found out was found out by this connection, which need not be made twice.
        auto connection = m_connection ? std::move(m_connection)
                                       : std::make_unique<WaylandConnection>(WaylandConnection::Options());
        return std::make_unique<WaylandWindowSystem>(std::move(connection), context);
    }

private:
    std::unique_ptr<WaylandConnection> m_connection;
};

} // namespace

} // namespace glimmerwick

extern "C" __attribute__((visibility("default"))) glimmerwick::WindowSystemLibrary& glimmerwickWindowSystem()
{
    static glimmerwick::WaylandLibrary library;
    return library;
}
