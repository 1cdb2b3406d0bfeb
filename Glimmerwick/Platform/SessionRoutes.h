#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace glimmerwick {

/// What was found in the user's session: everything that decides how the program does its work there.
struct SessionFacts {
    /// An X11 display can be reached; beside a Wayland compositor it is XWayland's.
    bool x11Display = false;
    /// The X server lets keys be pressed.
    bool x11Testing = false;
    bool waylandDisplay = false;
    /// The user has the toolkit use this; empty for no wish.
    std::string wantedToolkitPlatform;

    /// What the compositor announces. All false without one.
    bool seat = false;
    bool layerShell = false;
    bool dataControl = false;
    bool virtualKeyboard = false;
    bool foreignToplevels = false;
    bool plasmaWindows = false;
    bool kwinFakeInput = false;

    bool sessionBus = false;
    bool kglobalaccel = false;
    /// Versions of the desktop portal's interfaces; 0 for none.
    std::uint32_t remoteDesktopPortal = 0;
    std::uint32_t globalShortcutsPortal = 0;
    /// A sway that can be told what a key does.
    bool swaySocket = false;
    /// What XDG_CURRENT_DESKTOP says. For advice alone: no route depends on it.
    std::string desktopName;

    friend bool operator==(const SessionFacts&, const SessionFacts&) = default;
};

enum class ToolkitRoute { x11, wayland };
/// How the panel is put above all windows.
enum class PanelRoute { x11, layerShell, plainWindow };
enum class ClipboardRoute { x11Selection, dataControl, toolkit };
enum class PasteRoute { x11Test, virtualKeyboard, kwinFakeInput, remoteDesktopPortal, copyOnly };
/// How the application in front is known and brought back.
enum class WindowsRoute { x11, foreignToplevels, plasmaWindows, none };
enum class ShortcutRoute { x11Grab, kglobalaccel, sway, globalShortcutsPortal, command };

/// Which way the program takes for each thing it needs. The first that works, in the order of how well it
/// works.
struct SessionRoutes {
    ToolkitRoute toolkit = ToolkitRoute::x11;
    PanelRoute panel = PanelRoute::x11;
    ClipboardRoute clipboard = ClipboardRoute::x11Selection;
    PasteRoute paste = PasteRoute::x11Test;
    WindowsRoute windows = WindowsRoute::x11;
    ShortcutRoute shortcut = ShortcutRoute::x11Grab;

    friend bool operator==(const SessionRoutes&, const SessionRoutes&) = default;
};

SessionRoutes chooseRoutes(const SessionFacts& facts);

/// Whether the user has the toolkit use X11, although a Wayland compositor may be there.
bool wantsX11(const SessionFacts& facts);

/// Facts of which some count as missing.
struct ReducedFacts {
    SessionFacts facts;
    std::vector<std::string> unknownWords;
};

/// Takes away what the listed words name, separated by commas: "virtual-keyboard,sway". For compositors that
/// announce what they do not do, and to try the other routes.
ReducedFacts reduceFacts(SessionFacts facts, std::string_view listed);

} // namespace glimmerwick
