#include "Diagnosis.h"

#include "BindingAdvice.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <string_view>
#include <vector>

namespace glimmerwick {

namespace {

constexpr std::size_t terminalWidth = 79;
constexpr std::size_t columnGap = 2;

using Names = std::vector<std::string>;

// Layout

/// The text in lines that are not longer than the width, except for a word that is.
std::vector<std::string> wrapped(std::string_view text, std::size_t width)
{
    std::vector<std::string> lines(1);
    while (!text.empty()) {
        const auto end = std::min(text.find(' '), text.size());
        const std::string_view word = text.substr(0, end);
        if (!lines.back().empty() && lines.back().size() + 1 + word.size() > width) {
            lines.emplace_back();
        }
        if (!lines.back().empty()) {
            lines.back() += ' ';
        }
        lines.back() += word;
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return lines;
}

/// What comes from outside must not command the terminal.
std::string printable(std::string text)
{
    for (char& letter : text) {
        if (letter < ' ' || letter > '~') {
            letter = '?';
        }
    }
    return text;
}

std::string joined(const Names& names)
{
    std::string text;
    for (const std::string& name : names) {
        text += text.empty() ? name : ", " + name;
    }
    return text;
}

constexpr std::size_t columnCount = 4;
constexpr std::array<std::size_t, columnCount> columnWidths{10, 22, 19, 22};

using Row = std::array<std::string, columnCount>;

std::string withoutEndBlanks(std::string line)
{
    line.erase(line.find_last_not_of(' ') + 1);
    return line;
}

std::string tableRow(const Row& row)
{
    std::array<std::vector<std::string>, columnCount> cells;
    std::size_t height = 0;
    for (std::size_t column = 0; column < columnCount; ++column) {
        cells[column] = wrapped(row[column], columnWidths[column]);
        height = std::max(height, cells[column].size());
    }
    std::string text;
    for (std::size_t index = 0; index < height; ++index) {
        std::string line;
        for (std::size_t column = 0; column < columnCount; ++column) {
            std::string cell = index < cells[column].size() ? cells[column][index] : std::string();
            cell.resize(std::max(cell.size(), columnWidths[column] + columnGap), ' ');
            line += cell;
        }
        text += withoutEndBlanks(line) + '\n';
    }
    return text;
}

std::string rule()
{
    Row row;
    for (std::size_t column = 0; column < columnCount; ++column) {
        row[column] = std::string(columnWidths[column], '-');
    }
    return tableRow(row);
}

/// Lines that begin at a column, the first behind its title.
std::string titled(std::string_view title, std::string_view text, std::size_t column)
{
    std::string result;
    std::string head(title);
    for (const std::string& line : wrapped(text, terminalWidth - column)) {
        head.resize(std::max(head.size(), column), ' ');
        result += head + line + '\n';
        head.clear();
    }
    return result;
}

// What there is

enum class Compositor { kwin, sway, other };

/// Where a way is missed if it is not there. Nobody misses what other desktops have alone.
enum class Home { everywhere, kwin, allButKWin, sway };

bool isMissed(Home home, Compositor compositor)
{
    switch (home) {
    case Home::everywhere:
        break;
    case Home::kwin:
        return compositor == Compositor::kwin;
    case Home::allButKWin:
        return compositor != Compositor::kwin;
    case Home::sway:
        return compositor == Compositor::sway;
    }
    return true;
}

/// One way to do a thing.
struct Way {
    std::string_view name;
    bool isOffered;
    bool isTaken;
    Home home = Home::everywhere;
};

using Ways = std::vector<Way>;

/// The ways that the session has; and of those that it lacks the ones that would be taken first.
Row rowOf(std::string name, Compositor compositor, const Ways& ways, std::string_view lastResort,
          Names missing = {})
{
    Names offered;
    std::string taken(lastResort);
    bool isBetter = true;
    for (const Way& way : ways) {
        if (way.isTaken) {
            taken = way.name;
            isBetter = false;
        }
        if (way.isOffered) {
            offered.emplace_back(way.name);
        } else if (isBetter && isMissed(way.home, compositor)) {
            missing.emplace_back(way.name);
        }
    }
    const auto orNone = [](const Names& names) { return names.empty() ? std::string("-") : joined(names); };
    return {std::move(name), orNone(offered), std::move(taken), orNone(missing)};
}

/// Describes one session.
class Describer {
public:
    explicit Describer(const Diagnosis& diagnosis)
        : m_diagnosis(diagnosis), m_facts(diagnosis.facts), m_routes(diagnosis.routes)
    {
    }

    std::string text() const
    {
        std::string result = "Glimmerwick " + m_diagnosis.version + "\n\n" + head() + '\n';
        if (!m_facts.waylandDisplay && !m_facts.x11Display) {
            return result
                + titled(
                       "",
                       "Neither a Wayland compositor nor an X11 display can be reached: WAYLAND_DISPLAY and "
                       "DISPLAY are not set, or lead nowhere. Start the picker inside a desktop session.",
                       0);
        }
        return result + table() + "\nWhat that means, and what you can do\n\n" + advice();
    }

private:
    // The session

    std::string head() const
    {
        std::string text = headLine("Session", session()) + headLine("Desktop", desktop());
        if (!m_facts.wantedToolkitPlatform.empty()) {
            text += headLine("Toolkit", "told to use " + printable(m_facts.wantedToolkitPlatform));
        }
        if (!m_diagnosis.takenAway.empty()) {
            text += headLine("Left out", printable(m_diagnosis.takenAway) + " (GLIMMERWICK_WITHOUT)");
        }
        if (!m_diagnosis.unknownWords.empty()) {
            text += headLine("", "unknown: " + printable(joined(m_diagnosis.unknownWords)));
        }
        text += headLine("Session bus", m_facts.sessionBus ? "there" : "cannot be reached");
        return text + headLine("Picker", picker());
    }

    static std::string headLine(std::string_view title, const std::string& text)
    {
        constexpr std::size_t column = 13;
        return titled(title, text, column);
    }

    std::string session() const
    {
        if (m_facts.waylandDisplay) {
            return m_facts.x11Display ? "Wayland, with XWayland for X11 applications" : "Wayland";
        }
        return m_facts.x11Display ? "X11" : "no display";
    }

    std::string desktop() const
    {
        return m_facts.desktopName.empty() ? "does not say its name" : printable(m_facts.desktopName);
    }

    std::string picker() const
    {
        switch (m_diagnosis.picker) {
        case RunningPicker::none:
            return "does not run; glimmerwick starts it";
        case RunningPicker::one:
            return "runs";
        case RunningPicker::unknown:
            break;
        }
        return "nobody can say whether it runs";
    }

    // The table

    std::string table() const
    {
        std::string text =
            tableRow({"For", "The session offers", "What is used", "What is missing"}) + rule();
        for (const Row& row : m_facts.waylandDisplay ? waylandRows() : x11Rows()) {
            text += tableRow(row);
        }
        return text;
    }

    std::vector<Row> x11Rows() const
    {
        return {{"Panel", "X11 windows", "X11 window", "-"},
                {"Clipboard", "X11 selections", "X11 selection", "-"},
                m_facts.x11Testing ? Row{"Typing", "test keys (XTEST)", "test keys (XTEST)", "-"}
                                   : Row{"Typing", "-", "nothing", "test keys (XTEST)"},
                {"Previous window", "X11 windows", "X11 windows", "-"},
                {"Shortcut", "key grabs", "key grab", "-"}};
    }

    std::vector<Row> waylandRows() const
    {
        const Names seat = m_facts.seat ? Names{} : Names{"a seat"};
        return {panelRow(), clipboardRow(seat), typingRow(seat), windowsRow(), shortcutRow()};
    }

    Compositor compositor() const
    {
        if (m_facts.kglobalaccel || m_facts.kwinFakeInput || isNamed("KDE")) {
            return Compositor::kwin;
        }
        return isNamed("sway") ? Compositor::sway : Compositor::other;
    }

    bool isNamed(std::string_view name) const { return m_facts.desktopName.find(name) != std::string::npos; }

    Row panelRow() const
    {
        const auto route = m_routes.panel;
        return rowOf("Panel", compositor(),
                     {{"layer shell", m_facts.layerShell, route == PanelRoute::layerShell},
                      {"XWayland", m_facts.x11Display, route == PanelRoute::x11}},
                     "plain window");
    }

    Row clipboardRow(const Names& seat) const
    {
        const auto route = m_routes.clipboard;
        return rowOf("Clipboard", compositor(),
                     {{"data control", m_facts.dataControl, route == ClipboardRoute::dataControl},
                      {"X11 selection", m_facts.x11Display, route == ClipboardRoute::x11Selection}},
                     "the panel's own", seat);
    }

    Row typingRow(const Names& seat) const
    {
        const auto route = m_routes.paste;
        return rowOf(
            "Typing", compositor(),
            {{"virtual keyboard", m_facts.virtualKeyboard, route == PasteRoute::virtualKeyboard,
              Home::allButKWin},
             {"KWin fake input", m_facts.kwinFakeInput, route == PasteRoute::kwinFakeInput, Home::kwin},
             {"RemoteDesktop portal", m_facts.remoteDesktopPortal > 0,
              route == PasteRoute::remoteDesktopPortal}},
            "copy only", seat);
    }

    Row windowsRow() const
    {
        const auto route = m_routes.windows;
        return rowOf(
            "Previous window", compositor(),
            {{"foreign toplevels", m_facts.foreignToplevels, route == WindowsRoute::foreignToplevels,
              Home::allButKWin},
             {"Plasma windows", m_facts.plasmaWindows, route == WindowsRoute::plasmaWindows, Home::kwin}},
            "not known");
    }

    Row shortcutRow() const
    {
        const auto route = m_routes.shortcut;
        return rowOf(
            "Shortcut", compositor(),
            {{"KGlobalAccel", m_facts.kglobalaccel, route == ShortcutRoute::kglobalaccel, Home::kwin},
             {"sway's socket", m_facts.swaySocket, route == ShortcutRoute::sway, Home::sway},
             {"GlobalShortcuts portal", m_facts.globalShortcutsPortal > 0,
              route == ShortcutRoute::globalShortcutsPortal}},
            "a key you bind");
    }

    // What the user can do

    std::string advice() const
    {
        std::string text;
        const BindingAdvice binding = bindingAdvice(m_facts.desktopName);
        const auto add = [&text](std::string_view about, const std::string& sentences) {
            if (!sentences.empty()) {
                text += titled(about, sentences, adviceColumn);
            }
        };
        add("Session bus", busAdvice());
        add("Toolkit", toolkitAdvice());
        add("Panel", panelAdvice());
        add("Clipboard", clipboardAdvice());
        add("Typing", typingAdvice());
        add("Windows", windowsAdvice());
        add("Shortcut", shortcutAdvice() + binding.place + ':');
        text += '\n';
        return text + indented(binding.line);
    }

    static constexpr std::size_t adviceColumn = 12;

    static std::string indented(std::string_view lines)
    {
        std::string text;
        while (!lines.empty()) {
            const auto end = std::min(lines.find('\n'), lines.size());
            text += "  " + std::string(lines.substr(0, end)) + '\n';
            lines.remove_prefix(std::min(end + 1, lines.size()));
        }
        return text;
    }

    std::string busAdvice() const
    {
        return m_facts.sessionBus ? ""
                                  : "Without it glimmerwick --toggle does not find the running picker, and "
                                    "nobody can be asked for the keys or the shortcut.";
    }

    std::string toolkitAdvice() const
    {
        const std::string& wanted = m_facts.wantedToolkitPlatform;
        const bool isX11 = m_routes.toolkit == ToolkitRoute::x11;
        if (wanted.empty() || wanted.find(isX11 ? "xcb" : "wayland") != std::string::npos) {
            return {};
        }
        return "QT_QPA_PLATFORM or -platform names something that the picker cannot use here, so it does not "
               "start. Without that it uses "
            + std::string(isX11 ? "X11." : "Wayland.");
    }

    std::string panelAdvice() const
    {
        if (m_routes.panel == PanelRoute::plainWindow) {
            return m_facts.x11Display
                ? "An ordinary window, where the compositor puts it. Without QT_QPA_PLATFORM and -platform "
                  "it would be put above the others by XWayland."
                : "An ordinary window, where the compositor puts it. With XWayland switched on it could be "
                  "put above the others.";
        }
        if (m_routes.panel != PanelRoute::x11 || !m_facts.waylandDisplay) {
            return {};
        }
        return m_facts.layerShell
            ? "Shown by XWayland, as QT_QPA_PLATFORM or -platform says; without that the layer shell would "
              "be used."
            : "Shown by XWayland, which knows where the pointer is only over X11 applications: elsewhere "
              "the panel may open at another place.";
    }

    std::string clipboardAdvice() const
    {
        return m_routes.clipboard == ClipboardRoute::toolkit
            ? "Reached only while the panel is in use, so the text that was there is not put back."
            : "";
    }

    std::string typingAdvice() const
    {
        switch (m_routes.paste) {
        case PasteRoute::x11Test:
            return m_facts.x11Testing
                ? ""
                : "The X server must be started with its XTEST extension. Until then emoji cannot be typed.";
        case PasteRoute::virtualKeyboard:
        case PasteRoute::kwinFakeInput:
            return {};
        case PasteRoute::remoteDesktopPortal:
            return portalAdvice() + kwinAdvice();
        case PasteRoute::copyOnly:
            break;
        }
        return "The picker copies the emoji, and you paste it: with Ctrl+V, in terminals with Ctrl+Shift+V. "
            + kwinAdvice() + copyOnlyAdvice();
    }

    std::string portalAdvice() const
    {
        // From this version on the portal gives out tokens to come back with.
        constexpr std::uint32_t remembers = 2;
        return "The desktop asks whether the picker may control the keyboard. Allow it: otherwise emoji are "
               "only copied. "
            + std::string(m_facts.remoteDesktopPortal >= remembers
                              ? "It can remember the answer. "
                              : "It asks anew each time the picker has been started. ");
    }

    std::string kwinAdvice() const
    {
        return compositor() == Compositor::kwin
            ? "KWin lets a program type, and tells it of windows, when a desktop file asks for it "
              "whose Exec is the program's full path: com.glimmerwick.Glimmerwick.kwin.desktop, "
              "which the package installs. Start the picker anew some seconds after. "
            : "";
    }

    std::string copyOnlyAdvice() const
    {
        return m_facts.sessionBus
            ? "Where the desktop has a portal for remote control (xdg-desktop-portal and the part of it for "
              "this desktop), installing it lets the picker type."
            : "";
    }

    std::string windowsAdvice() const
    {
        return m_routes.windows == WindowsRoute::none
            ? "The emoji goes to the window that has the keys once the panel is closed."
            : "";
    }

    std::string shortcutAdvice() const
    {
        const std::string taken = "If nothing happens, another program has these keys; then ";
        switch (m_routes.shortcut) {
        case ShortcutRoute::x11Grab:
            return "Ctrl+Super+Space, while the picker runs. " + taken;
        case ShortcutRoute::kglobalaccel:
            return "Ctrl+Super+Space, unless you choose other keys in System Settings > Shortcuts. " + taken;
        case ShortcutRoute::sway:
            return "Ctrl+Super+Space, bound while the picker runs. A line for the same keys in your own "
                   "configuration comes first. To have one, ";
        case ShortcutRoute::globalShortcutsPortal:
            return "The desktop may ask which keys open the picker. If you refuse or it gives none, ";
        case ShortcutRoute::command:
            break;
        }
        return "Programs cannot take one here. To have one, ";
    }

    const Diagnosis& m_diagnosis;
    const SessionFacts& m_facts;
    const SessionRoutes& m_routes;
};

} // namespace

std::string diagnosisText(const Diagnosis& diagnosis)
{
    return Describer(diagnosis).text();
}

} // namespace glimmerwick
