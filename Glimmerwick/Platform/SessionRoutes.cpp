#include "Platform/SessionRoutes.h"

#include <algorithm>
#include <array>
#include <utility>

namespace glimmerwick {

namespace {

/// The first platform that the toolkit is told to try, without its parameters: of "wayland-egl;xcb" the
/// first.
std::string_view firstWantedPlatform(const SessionFacts& facts)
{
    const std::string_view wanted = facts.wantedToolkitPlatform;
    return wanted.substr(0, wanted.find_first_of(";:"));
}

bool wantsWayland(const SessionFacts& facts)
{
    return firstWantedPlatform(facts).starts_with("wayland");
}

ToolkitRoute chooseToolkit(const SessionFacts& facts)
{
    if (!facts.waylandDisplay) {
        return ToolkitRoute::x11;
    }
    // A wish that cannot be met counts for nothing: the program would not start.
    if (!facts.x11Display || wantsWayland(facts)) {
        return ToolkitRoute::wayland;
    }
    return facts.layerShell && !wantsX11(facts) ? ToolkitRoute::wayland : ToolkitRoute::x11;
}

PanelRoute choosePanel(const SessionFacts& facts, ToolkitRoute toolkit)
{
    if (toolkit == ToolkitRoute::x11) {
        return PanelRoute::x11;
    }
    return facts.layerShell ? PanelRoute::layerShell : PanelRoute::plainWindow;
}

ClipboardRoute chooseClipboard(const SessionFacts& facts, ToolkitRoute toolkit)
{
    // A clipboard belongs to a seat.
    if (facts.waylandDisplay && facts.dataControl && facts.seat) {
        return ClipboardRoute::dataControl;
    }
    return toolkit == ToolkitRoute::x11 ? ClipboardRoute::x11Selection : ClipboardRoute::toolkit;
}

PasteRoute choosePaste(const SessionFacts& facts, ClipboardRoute clipboard)
{
    // What is put there once the panel is gone is put there by a program without the keys, which is refused:
    // the keys would paste the text that was there before.
    if (clipboard == ClipboardRoute::toolkit) {
        return PasteRoute::copyOnly;
    }
    // Beside a compositor the X server's test keys reach its own applications alone.
    if (!facts.waylandDisplay) {
        return PasteRoute::x11Test;
    }
    if (facts.virtualKeyboard && facts.seat) {
        return PasteRoute::virtualKeyboard;
    }
    if (facts.kwinFakeInput) {
        return PasteRoute::kwinFakeInput;
    }
    return facts.remoteDesktopPortal > 0 ? PasteRoute::remoteDesktopPortal : PasteRoute::copyOnly;
}

WindowsRoute chooseWindows(const SessionFacts& facts)
{
    // Beside a compositor X11 knows of its own windows alone, and takes one of them for the one in front.
    if (!facts.waylandDisplay) {
        return WindowsRoute::x11;
    }
    if (facts.foreignToplevels) {
        return WindowsRoute::foreignToplevels;
    }
    return facts.plasmaWindows ? WindowsRoute::plasmaWindows : WindowsRoute::none;
}

ShortcutRoute chooseShortcut(const SessionFacts& facts)
{
    if (!facts.waylandDisplay) {
        return ShortcutRoute::x11Grab;
    }
    if (facts.kglobalaccel) {
        return ShortcutRoute::kglobalaccel;
    }
    if (facts.swaySocket) {
        return ShortcutRoute::sway;
    }
    return facts.globalShortcutsPortal > 0 ? ShortcutRoute::globalShortcutsPortal : ShortcutRoute::command;
}

struct Word {
    std::string_view text;
    void (*takeAway)(SessionFacts& facts);
};

constexpr std::array words{
    Word{"layer-shell", [](SessionFacts& facts) { facts.layerShell = false; }},
    Word{"data-control", [](SessionFacts& facts) { facts.dataControl = false; }},
    Word{"virtual-keyboard", [](SessionFacts& facts) { facts.virtualKeyboard = false; }},
    Word{"fake-input", [](SessionFacts& facts) { facts.kwinFakeInput = false; }},
    Word{"remote-desktop", [](SessionFacts& facts) { facts.remoteDesktopPortal = 0; }},
    Word{"foreign-toplevels", [](SessionFacts& facts) { facts.foreignToplevels = false; }},
    Word{"plasma-windows", [](SessionFacts& facts) { facts.plasmaWindows = false; }},
    Word{"kglobalaccel", [](SessionFacts& facts) { facts.kglobalaccel = false; }},
    Word{"sway", [](SessionFacts& facts) { facts.swaySocket = false; }},
    Word{"global-shortcuts", [](SessionFacts& facts) { facts.globalShortcutsPortal = 0; }},
};

std::string_view withoutBlanks(std::string_view text)
{
    const auto first = text.find_first_not_of(" \t");
    if (first == std::string_view::npos) {
        return {};
    }
    return text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

void takeAway(std::string_view text, ReducedFacts& reduced)
{
    if (text.empty()) {
        return;
    }
    const auto* word = std::ranges::find(words, text, &Word::text);
    if (word != words.end()) {
        word->takeAway(reduced.facts);
    } else {
        reduced.unknownWords.emplace_back(text);
    }
}

} // namespace

bool wantsX11(const SessionFacts& facts)
{
    return firstWantedPlatform(facts) == "xcb";
}

SessionRoutes chooseRoutes(const SessionFacts& facts)
{
    SessionRoutes routes;
    routes.toolkit = chooseToolkit(facts);
    routes.panel = choosePanel(facts, routes.toolkit);
    routes.clipboard = chooseClipboard(facts, routes.toolkit);
    routes.paste = choosePaste(facts, routes.clipboard);
    routes.windows = chooseWindows(facts);
    routes.shortcut = chooseShortcut(facts);
    return routes;
}

ReducedFacts reduceFacts(SessionFacts facts, std::string_view listed)
{
    ReducedFacts reduced{std::move(facts), {}};
    while (!listed.empty()) {
        const auto comma = std::min(listed.find(','), listed.size());
        takeAway(withoutBlanks(listed.substr(0, comma)), reduced);
        listed.remove_prefix(std::min(comma + 1, listed.size()));
    }
    return reduced;
}

} // namespace glimmerwick
