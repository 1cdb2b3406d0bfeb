#include "Platform/SessionRoutes.h"

#include <gmock/gmock.h>

#include <string>
#include <vector>

namespace glimmerwick {

void PrintTo(const SessionRoutes& routes, std::ostream* out)
{
    *out << "toolkit " << static_cast<int>(routes.toolkit) << ", panel " << static_cast<int>(routes.panel)
         << ", clipboard " << static_cast<int>(routes.clipboard) << ", paste "
         << static_cast<int>(routes.paste) << ", windows " << static_cast<int>(routes.windows)
         << ", shortcut " << static_cast<int>(routes.shortcut);
}

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

SessionFacts xorg()
{
    SessionFacts facts;
    facts.x11Display = true;
    facts.x11Testing = true;
    facts.sessionBus = true;
    return facts;
}

SessionFacts compositorWithXwayland()
{
    SessionFacts facts = xorg();
    facts.waylandDisplay = true;
    facts.seat = true;
    return facts;
}

SessionFacts wlrootsCompositor()
{
    SessionFacts facts = compositorWithXwayland();
    facts.layerShell = true;
    facts.dataControl = true;
    facts.virtualKeyboard = true;
    facts.foreignToplevels = true;
    return facts;
}

SessionFacts sway()
{
    SessionFacts facts = wlrootsCompositor();
    facts.swaySocket = true;
    facts.desktopName = "sway";
    return facts;
}

SessionFacts hyprland()
{
    SessionFacts facts = wlrootsCompositor();
    facts.globalShortcutsPortal = 1;
    facts.desktopName = "Hyprland";
    return facts;
}

/// KWin 5.27 that has not accepted the program's desktop file.
SessionFacts distrustfulKWin()
{
    SessionFacts facts = compositorWithXwayland();
    facts.layerShell = true;
    facts.dataControl = true;
    facts.kglobalaccel = true;
    facts.remoteDesktopPortal = 2;
    facts.globalShortcutsPortal = 1;
    facts.desktopName = "KDE";
    return facts;
}

SessionFacts kwin()
{
    SessionFacts facts = distrustfulKWin();
    facts.kwinFakeInput = true;
    facts.plasmaWindows = true;
    return facts;
}

SessionFacts mutter43()
{
    SessionFacts facts = compositorWithXwayland();
    facts.remoteDesktopPortal = 2;
    facts.desktopName = "GNOME";
    return facts;
}

SessionFacts gnome48()
{
    SessionFacts facts = mutter43();
    facts.globalShortcutsPortal = 1;
    return facts;
}

SessionFacts headlessWeston()
{
    SessionFacts facts;
    facts.waylandDisplay = true;
    return facts;
}

const SessionRoutes onX11{ToolkitRoute::x11,   PanelRoute::x11,   ClipboardRoute::x11Selection,
                          PasteRoute::x11Test, WindowsRoute::x11, ShortcutRoute::x11Grab};

template <typename Change> SessionFacts changed(SessionFacts facts, Change change)
{
    change(facts);
    return facts;
}

TEST(SessionRoutesTest, desktopsThatThereAre)
{
    const struct {
        std::string name;
        SessionFacts facts;
        SessionRoutes expected;
    } desktops[] = {
        {"Xorg", xorg(), onX11},
        {"sway 1.7",
         sway(),
         {ToolkitRoute::wayland, PanelRoute::layerShell, ClipboardRoute::dataControl,
          PasteRoute::virtualKeyboard, WindowsRoute::foreignToplevels, ShortcutRoute::sway}},
        {"Hyprland",
         hyprland(),
         {ToolkitRoute::wayland, PanelRoute::layerShell, ClipboardRoute::dataControl,
          PasteRoute::virtualKeyboard, WindowsRoute::foreignToplevels, ShortcutRoute::globalShortcutsPortal}},
        {"a wlroots compositor without more",
         wlrootsCompositor(),
         {ToolkitRoute::wayland, PanelRoute::layerShell, ClipboardRoute::dataControl,
          PasteRoute::virtualKeyboard, WindowsRoute::foreignToplevels, ShortcutRoute::command}},
        {"KWin 5.27",
         kwin(),
         {ToolkitRoute::wayland, PanelRoute::layerShell, ClipboardRoute::dataControl,
          PasteRoute::kwinFakeInput, WindowsRoute::plasmaWindows, ShortcutRoute::kglobalaccel}},
        {"KWin 5.27 without the desktop file",
         distrustfulKWin(),
         {ToolkitRoute::wayland, PanelRoute::layerShell, ClipboardRoute::dataControl,
          PasteRoute::remoteDesktopPortal, WindowsRoute::none, ShortcutRoute::kglobalaccel}},
        {"mutter 43",
         mutter43(),
         {ToolkitRoute::x11, PanelRoute::x11, ClipboardRoute::x11Selection, PasteRoute::remoteDesktopPortal,
          WindowsRoute::none, ShortcutRoute::command}},
        {"GNOME 48",
         gnome48(),
         {ToolkitRoute::x11, PanelRoute::x11, ClipboardRoute::x11Selection, PasteRoute::remoteDesktopPortal,
          WindowsRoute::none, ShortcutRoute::globalShortcutsPortal}},
        {"weston without devices",
         headlessWeston(),
         {ToolkitRoute::wayland, PanelRoute::plainWindow, ClipboardRoute::toolkit, PasteRoute::copyOnly,
          WindowsRoute::none, ShortcutRoute::command}},
        {"nothing", {}, onX11},
    };
    for (const auto& [name, facts, expected] : desktops) {
        EXPECT_EQ(chooseRoutes(facts), expected) << name;
    }
}

TEST(SessionRoutesTest, onAnX11SessionNothingElseIsTaken)
{
    const SessionFacts facts = changed(kwin(), [](SessionFacts& changing) {
        changing.waylandDisplay = false;
        changing.swaySocket = true;
        changing.virtualKeyboard = true;
        changing.foreignToplevels = true;
    });

    EXPECT_EQ(chooseRoutes(facts), onX11);
}

TEST(SessionRoutesTest, aMissingTestExtensionIsToldByTheX11Adapters)
{
    const auto facts = changed(xorg(), [](SessionFacts& changing) { changing.x11Testing = false; });

    EXPECT_EQ(chooseRoutes(facts), onX11);
}

TEST(SessionRoutesTest, toolkitFollowsTheUserWhereItCan)
{
    const auto toolkitOf = [](SessionFacts facts, const std::string& wanted) {
        facts.wantedToolkitPlatform = wanted;
        return chooseRoutes(facts).toolkit;
    };
    for (const std::string wanted : {"xcb", "xcb:parameter=1", "xcb;wayland"}) {
        EXPECT_EQ(toolkitOf(sway(), wanted), ToolkitRoute::x11) << wanted;
        EXPECT_EQ(toolkitOf(headlessWeston(), wanted), ToolkitRoute::wayland) << wanted;
    }
    for (const std::string wanted : {"wayland", "wayland-egl", "wayland;xcb"}) {
        EXPECT_EQ(toolkitOf(mutter43(), wanted), ToolkitRoute::wayland) << wanted;
        EXPECT_EQ(toolkitOf(xorg(), wanted), ToolkitRoute::x11) << wanted;
    }
    for (const std::string wanted : {"", "offscreen", "xcbx", "vnc:wayland"}) {
        EXPECT_EQ(toolkitOf(sway(), wanted), ToolkitRoute::wayland) << wanted;
        EXPECT_EQ(toolkitOf(mutter43(), wanted), ToolkitRoute::x11) << wanted;
    }
}

TEST(SessionRoutesTest, toolkitOnXwaylandTakesFromTheCompositorAllTheSame)
{
    const auto facts = changed(sway(), [](SessionFacts& changing) { changing.layerShell = false; });

    const SessionRoutes expected{ToolkitRoute::x11,
                                 PanelRoute::x11,
                                 ClipboardRoute::dataControl,
                                 PasteRoute::virtualKeyboard,
                                 WindowsRoute::foreignToplevels,
                                 ShortcutRoute::sway};
    EXPECT_EQ(chooseRoutes(facts), expected);
}

TEST(SessionRoutesTest, panelIsAPlainWindowWhereNothingPutsItAboveOthers)
{
    auto facts = mutter43();
    facts.x11Display = false;
    EXPECT_EQ(chooseRoutes(facts).panel, PanelRoute::plainWindow);

    facts.layerShell = true;
    EXPECT_EQ(chooseRoutes(facts).panel, PanelRoute::layerShell);

    facts = mutter43();
    facts.wantedToolkitPlatform = "wayland";
    EXPECT_EQ(chooseRoutes(facts).panel, PanelRoute::plainWindow);
}

TEST(SessionRoutesTest, clipboardByPreference)
{
    auto facts = sway();
    EXPECT_EQ(chooseRoutes(facts).clipboard, ClipboardRoute::dataControl);

    facts.seat = false;
    EXPECT_EQ(chooseRoutes(facts).clipboard, ClipboardRoute::toolkit);

    facts.wantedToolkitPlatform = "xcb";
    EXPECT_EQ(chooseRoutes(facts).clipboard, ClipboardRoute::x11Selection);

    facts = mutter43();
    facts.x11Display = false;
    EXPECT_EQ(chooseRoutes(facts).clipboard, ClipboardRoute::toolkit);
}

TEST(SessionRoutesTest, nothingIsTypedFromAClipboardThatNeedsTheKeys)
{
    auto facts = sway();
    facts.dataControl = false;
    EXPECT_EQ(chooseRoutes(facts).paste, PasteRoute::copyOnly);

    facts = mutter43();
    EXPECT_EQ(chooseRoutes(facts).paste, PasteRoute::remoteDesktopPortal);
    facts.wantedToolkitPlatform = "wayland";
    EXPECT_EQ(chooseRoutes(facts).paste, PasteRoute::copyOnly);
}

TEST(SessionRoutesTest, pasteByPreference)
{
    auto facts = kwin();
    facts.virtualKeyboard = true;
    EXPECT_EQ(chooseRoutes(facts).paste, PasteRoute::virtualKeyboard);

    facts.virtualKeyboard = false;
    EXPECT_EQ(chooseRoutes(facts).paste, PasteRoute::kwinFakeInput);

    facts.kwinFakeInput = false;
    EXPECT_EQ(chooseRoutes(facts).paste, PasteRoute::remoteDesktopPortal);

    facts.remoteDesktopPortal = 0;
    EXPECT_EQ(chooseRoutes(facts).paste, PasteRoute::copyOnly);
}

TEST(SessionRoutesTest, windowsByPreference)
{
    auto facts = kwin();
    facts.foreignToplevels = true;
    EXPECT_EQ(chooseRoutes(facts).windows, WindowsRoute::foreignToplevels);

    facts.foreignToplevels = false;
    EXPECT_EQ(chooseRoutes(facts).windows, WindowsRoute::plasmaWindows);

    facts.plasmaWindows = false;
    EXPECT_EQ(chooseRoutes(facts).windows, WindowsRoute::none);
}

TEST(SessionRoutesTest, shortcutByPreference)
{
    auto facts = kwin();
    facts.swaySocket = true;
    EXPECT_EQ(chooseRoutes(facts).shortcut, ShortcutRoute::kglobalaccel);

    facts.kglobalaccel = false;
    EXPECT_EQ(chooseRoutes(facts).shortcut, ShortcutRoute::sway);

    facts.swaySocket = false;
    EXPECT_EQ(chooseRoutes(facts).shortcut, ShortcutRoute::globalShortcutsPortal);

    facts.globalShortcutsPortal = 0;
    EXPECT_EQ(chooseRoutes(facts).shortcut, ShortcutRoute::command);
}

TEST(ReducedFactsTest, eachWordTakesOneThingAway)
{
    SessionFacts all = kwin();
    all.virtualKeyboard = true;
    all.foreignToplevels = true;
    all.swaySocket = true;
    const struct {
        std::string word;
        SessionFacts expected;
    } words[] = {
        {"layer-shell", changed(all, [](SessionFacts& facts) { facts.layerShell = false; })},
        {"data-control", changed(all, [](SessionFacts& facts) { facts.dataControl = false; })},
        {"virtual-keyboard", changed(all, [](SessionFacts& facts) { facts.virtualKeyboard = false; })},
        {"fake-input", changed(all, [](SessionFacts& facts) { facts.kwinFakeInput = false; })},
        {"remote-desktop", changed(all, [](SessionFacts& facts) { facts.remoteDesktopPortal = 0; })},
        {"foreign-toplevels", changed(all, [](SessionFacts& facts) { facts.foreignToplevels = false; })},
        {"plasma-windows", changed(all, [](SessionFacts& facts) { facts.plasmaWindows = false; })},
        {"kglobalaccel", changed(all, [](SessionFacts& facts) { facts.kglobalaccel = false; })},
        {"sway", changed(all, [](SessionFacts& facts) { facts.swaySocket = false; })},
        {"global-shortcuts", changed(all, [](SessionFacts& facts) { facts.globalShortcutsPortal = 0; })},
    };
    for (const auto& [word, expected] : words) {
        const ReducedFacts reduced = reduceFacts(all, word);

        EXPECT_EQ(reduced.facts, expected) << word;
        EXPECT_NE(reduced.facts, all) << word;
        EXPECT_THAT(reduced.unknownWords, IsEmpty()) << word;
    }
}

TEST(ReducedFactsTest, wordsStandBetweenCommasAndUnknownOnesAreNamed)
{
    const ReducedFacts reduced = reduceFacts(sway(), ", sway,,bogus , Sway,virtual-keyboard,");

    EXPECT_FALSE(reduced.facts.swaySocket);
    EXPECT_FALSE(reduced.facts.virtualKeyboard);
    EXPECT_TRUE(reduced.facts.layerShell);
    EXPECT_THAT(reduced.unknownWords, ElementsAre("bogus", "Sway"));
}

TEST(ReducedFactsTest, noWordTakesNothingAway)
{
    for (const std::string listed : {"", " ", ",", " , "}) {
        const ReducedFacts reduced = reduceFacts(sway(), listed);

        EXPECT_EQ(reduced.facts, sway());
        EXPECT_THAT(reduced.unknownWords, IsEmpty());
    }
}

} // namespace

} // namespace glimmerwick
