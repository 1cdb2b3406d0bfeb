// Lets other programs at the display do what they like while the clipboard is used: answer requests for
// selections with anything, ask for ours, send any event, describe their windows. The adapter's own code runs
// on a display that the input plays.

#include "Fuzz/CapturedErrors.h"
#include "Fuzz/FuzzScript.h"
#include "Fuzz/Invariant.h"
#include "Fuzz/ScriptedDisplay.h"
#include "Models/UnicodeText.h"
#include "Platform/Linux/HistoryHint.h"
#include "Platform/Linux/PasteChords.h"
#include "Platform/Pasteboard.h"
#include "Platform/Qt/Text.h"
#include "Platform/X11/X11IncomingTransfer.h"
#include "Platform/X11/X11SelectionService.h"
#include "Platform/X11/X11Windows.h"
#include "Platform/X11/X11WorkAreas.h"

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <sstream>
#include <string>
#include <string_view>
#include <utility>

namespace glimmerwick {
namespace {

using namespace std::chrono_literals;

/// As if the toolkit had a connection of its own.
constexpr std::uint32_t toolkitClient = 0x800000;

constexpr int noDescriptor = -1;

class Session {
public:
    explicit Session(std::string_view input) : m_script(input), m_display(m_script)
    {
        m_display.allow(historyHint::secret);
        m_display.allow("");
    }

    void run()
    {
        useClipboard();
        lookAtWindows();
        readChords();
    }

private:
    void useClipboard()
    {
        constexpr int mostSteps = 64;
        X11SelectionService service(toolkitClient);
        for (int step = 0; step < mostSteps && !m_script.isAtEnd(); ++step) {
            useClipboardOnce(service);
            requireInvariant(m_display.ownWindowCount() == 1, "no window is left behind");
        }
        letRequestsBeAnswered(service);
    }

    void useClipboardOnce(X11SelectionService& service)
    {
        switch (m_script.choice(10)) {
        case 0:
            service.clear();
            break;
        case 1:
            add(service, pasteboardType::string);
            break;
        case 2:
            read(service, pasteboardType::string);
            break;
        case 3:
            beginPaste(service);
            break;
        case 4:
            service.cancelPaste();
            break;
        case 5:
            service.wait(m_display.now() + std::chrono::milliseconds(m_script.number() % 4096), noDescriptor);
            break;
        case 6:
            add(service, pasteboardType::concealed);
            break;
        case 7:
            read(service, pasteboardType::concealed);
            break;
        case 8:
            service.didRead(m_script.text());
            break;
        default:
            handOver(service);
            break;
        }
    }

    void add(X11SelectionService& service, const std::string& type)
    {
        constexpr std::size_t mostRepetitions = 100'000;
        constexpr std::size_t longest = 400'000;
        const std::string piece = m_script.text();
        const std::size_t repetitions = m_script.isChosen() ? m_script.number() % mostRepetitions : 1;
        std::string text;
        for (std::size_t count = 0; count < repetitions && text.size() < longest; ++count) {
            text += piece;
        }
        m_display.allow(text);
        m_display.allow(toQString(text).toLatin1().toStdString());
        service.add(type, text);
    }

    void read(X11SelectionService& service, const std::string& type)
    {
        const auto start = m_display.now();
        const auto result = service.read(type);
        // Five seconds for the owner, and one for the server.
        requireInvariant(m_display.now() - start <= 6s + 100ms, "nobody makes the program wait for long");
        if (!result.text) {
            return;
        }
        requireInvariant(result.text->size() <= 2 * X11IncomingTransfer::largestSize,
                         "what is read is not too large");
        // The user's own text may be put back.
        m_display.allow(*result.text);
        m_display.allow(toQString(*result.text).toLatin1().toStdString());
    }

    void beginPaste(X11SelectionService& service)
    {
        using Selections = X11SelectionService::PasteSelections;
        const xcb_window_t target = m_script.isChosen() ? m_display.anyWindow() : m_script.number();
        const auto selections = m_script.isChosen() ? Selections::clipboardAndPrimary : Selections::clipboard;
        if (selections == Selections::clipboardAndPrimary) {
            // What is read there is put back without a word.
            m_display.allowEverything();
        }
        const auto start = m_display.now();
        service.beginPaste(target, selections);
        requireInvariant(m_display.now() - start <= 8s, "a paste begins soon");
    }

    void handOver(X11SelectionService& service)
    {
        const auto start = m_display.now();
        service.handOver();
        requireInvariant(m_display.now() - start <= 8s, "the clipboard is handed over soon");
    }

    void letRequestsBeAnswered(X11SelectionService& service)
    {
        const auto end = m_display.now() + 20s;
        while (m_display.now() < end) {
            service.wait(end, noDescriptor);
        }
        requireInvariant(std::ranges::all_of(m_display.requests(), &ScriptedDisplay::Request::isAnswered),
                         "everybody who asks is answered");
    }

    void lookAtWindows()
    {
        X11Connection connection;
        X11Windows windows(connection);
        const xcb_window_t window = m_display.anyWindow();
        const auto names = windows.classNames(window);
        requireInvariant((names.instance + names.class_).find('\0') == std::string::npos,
                         "the parts of a class end with it");
        windows.windowClass(window);
        windows.gtkApplicationIdentifier(window);
        windows.applicationWindows();
        windows.frontmostWindow();
        windows.focusedWindow();
        windows.keyReceiver(window);
        requireInvariant(!m_display.exists(window) || windows.isStillThere(windows.identityOf(window)),
                         "a window that stays is still there");
        const auto start = m_display.now();
        constexpr auto patience = 500ms;
        windows.activate(window, patience);
        // One turn of the script may take a second.
        requireInvariant(m_display.now() - start <= patience + 2s, "activating a window takes no longer");
        for (const ScreenRect screen : {ScreenRect{0, 0, 1920, 1080}, ScreenRect{1920, 0, 1920, 2160}}) {
            checkFrame(X11WorkAreas(connection).visibleFrame(screen), screen);
        }
    }

    static void checkFrame(const ScreenRect& frame, const ScreenRect& screen)
    {
        requireInvariant(frame.width > 0 && frame.height > 0, "something of a screen is free");
        requireInvariant(frame.x >= screen.x && frame.y >= screen.y
                             && frame.x + frame.width <= screen.x + screen.width
                             && frame.y + frame.height <= screen.y + screen.height,
                         "what is free lies on the screen");
    }

    /// The user's own table, which any text may stand in.
    void readChords()
    {
        const std::string table = m_script.text();
        std::istringstream lines(table);
        std::istringstream last("Last Class Ctrl+Shift+V settle # as it should be\n");
        PasteChords chords;
        std::string report;
        {
            CapturedErrors errors;
            chords.load(lines, "table");
            report = errors.text();
            chords.load(last, "last");
            requireInvariant(errors.text() == report, "a chord is one, whatever was there before");
        }
        requireInvariant(std::ranges::count(report, '\n') <= std::ranges::count(table, '\n') + 1,
                         "each line that makes no sense is told of once");
        const PasteChord expected{PasteChord::Keys::controlShiftV, PasteChord::Readiness::afterSettling};
        requireInvariant(chords.find("lAST cLASS") == expected, "the last line counts, in any case");
    }

    FuzzScript m_script;
    ScriptedDisplay m_display;
};

} // namespace
} // namespace glimmerwick

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    glimmerwick::Session({reinterpret_cast<const char*>(data), size}).run();
    return 0;
}
