#include "Platform/PasteSurroundings.h"
#include "Platform/WindowSystem.h"
#include "Platform/X11/X11Connection.h"
#include "Platform/X11/X11DisplayLoss.h"
#include "Platform/X11/X11Pasteboard.h"
#include "Platform/X11/X11Platform.h"

#include <xcb/xtest.h>

#include <optional>
#include <stdexcept>

namespace glimmerwick {

namespace {

/// Beside a Wayland compositor. What window gets the keys is the compositor's secret, and it is the
/// compositor that asks for the clipboard on behalf of its windows.
class XWaylandPasteSurroundings : public PasteSurroundings {
public:
    explicit XWaylandPasteSurroundings(X11Pasteboard& pasteboard) : m_pasteboard(pasteboard) { }

    std::optional<std::string> obstacle() override { return std::nullopt; }
    std::string frontmostApplication() override { return {}; }
    bool pasteWillBegin(PasteSelections selections) override
    {
        return m_pasteboard.pasteWillBegin(XCB_WINDOW_NONE,
                                           selections == PasteSelections::clipboardAndPrimary
                                               ? X11SelectionService::PasteSelections::clipboardAndPrimary
                                               : X11SelectionService::PasteSelections::clipboard);
    }
    void pasteWasCancelled() override { m_pasteboard.pasteWasCancelled(); }

private:
    X11Pasteboard& m_pasteboard;
};

/// Whether there is a compositor beside it: then another route leads to the keys.
bool isXWayland(const SessionRoutes& routes)
{
    return routes.paste != PasteRoute::x11Test;
}

class X11WindowSystem : public WindowSystem {
public:
    explicit X11WindowSystem(const WindowSystemContext& context) : m_isXWayland(isXWayland(context.routes))
    {
        const bool hasClipboard = context.routes.clipboard == ClipboardRoute::x11Selection;
        if (!m_isXWayland || hasClipboard) {
            m_platform.emplace(context.mainQueue, context.clock,
                               X11Platform::Options{context.pasteChordFiles});
        }
        if (hasClipboard) {
            m_pasteSurroundings.emplace(m_platform->pasteboard());
        }
    }

    PanelHost* panelHost() override { return m_isXWayland ? nullptr : &m_platform->panelHost(); }
    EventMonitors* eventMonitors() override { return m_isXWayland ? nullptr : &m_platform->eventMonitors(); }
    EventTap* eventTap() override { return m_isXWayland ? nullptr : &m_platform->eventTap(); }
    Pasteboard* pasteboard() override { return m_pasteSurroundings ? &m_platform->pasteboard() : nullptr; }
    Workspace* workspace() override { return m_isXWayland ? nullptr : &m_platform->workspace(); }
    EventPoster* eventPoster() override { return m_isXWayland ? nullptr : &m_platform->eventPoster(); }
    AccessibilityTrust* accessibilityTrust() override
    {
        return m_isXWayland ? nullptr : &m_platform->accessibilityTrust();
    }
    InjectedKeyboard* keyboard() override { return nullptr; }
    PasteSurroundings* pasteSurroundings() override
    {
        return m_pasteSurroundings ? &*m_pasteSurroundings : nullptr;
    }

private:
    /// The server sees the keys, the windows and the pointer of its own clients alone.
    const bool m_isXWayland;
    std::optional<X11Platform> m_platform;
    std::optional<XWaylandPasteSurroundings> m_pasteSurroundings;
};

class X11Library : public WindowSystemLibrary {
public:
    void probe(SessionFacts& facts) override
    {
        try {
            X11Connection display;
            facts.x11Display = true;
            facts.x11Testing = display.hasExtension(xcb_test_id);
        } catch (const std::runtime_error&) {
            facts.x11Display = false;
        }
    }

    void endProbing() override { }

    std::unique_ptr<DisplayLossWatch> watchForLoss() override { return std::make_unique<X11DisplayLoss>(); }
    void prepareToolkit(const SessionRoutes&) override { }
    bool isToolkitOnIt() override { return X11Platform::isAvailable(); }

    std::unique_ptr<WindowSystem> make(const WindowSystemContext& context) override
    {
        return std::make_unique<X11WindowSystem>(context);
    }
};

} // namespace

} // namespace glimmerwick

extern "C" __attribute__((visibility("default"))) glimmerwick::WindowSystemLibrary& glimmerwickWindowSystem()
{
    static glimmerwick::X11Library library;
    return library;
}
