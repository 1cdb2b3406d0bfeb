#include "AppDelegate.h"
#include "CommandLine.h"
#include "Managers/BundledCatalogue.h"
#include "Managers/ClipboardManager.h"
#include "Managers/EmojiDataManager.h"
#include "Managers/TypeManager.h"
#include "Models/UnicodeText.h"
#include "Platform/DBus/InstanceObject.h"
#include "Platform/DBus/NotificationMirror.h"
#include "Platform/DBus/PortalSettings.h"
#include "Platform/DBus/ScreenLockWatcher.h"
#include "Platform/DBus/SessionBus.h"
#include "Platform/DBus/SingleInstance.h"
#include "Platform/Linux/PartsFolder.h"
#include "Platform/Linux/ProcessInfo.h"
#include "Platform/NotificationCenter.h"
#include "Platform/Qt/TerminationSignals.h"
#include "Platform/Qt/Text.h"
#include "Platform/WindowSystem.h"
#include "Services.h"
#include "SessionProbe.h"
#include "Views/EmojiPixmapCache.h"
#include "Views/Style.h"
#include "Views/Translation.h"
#include "WindowSystems.h"

#include <QApplication>
#include <QFontDatabase>
#include <QSessionManager>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include <fcntl.h>
#include <malloc.h>
#include <unistd.h>

namespace glimmerwick {

namespace {

// Long enough for a picker that is still starting on a slow machine.
constexpr std::chrono::seconds answerDeadline(10);

constexpr int wrongUsage = 2;

/// The arguments for Qt, with the name that window managers know this program by.
class ToolkitArguments {
public:
    ToolkitArguments(const std::string& program, const std::string& name,
                     const std::vector<std::string>& options)
        : m_texts{program, "-name", name}
    {
        m_texts.insert(m_texts.end(), options.begin(), options.end());
        for (std::string& text : m_texts) {
            m_pointers.push_back(text.data());
        }
        m_pointers.push_back(nullptr);
        m_count = static_cast<int>(m_texts.size());
    }

    int& count() { return m_count; }
    char** values() { return m_pointers.data(); }

private:
    std::vector<std::string> m_texts;
    std::vector<char*> m_pointers;
    int m_count = 0;
};

/// Hides the desktop's name while the application object is made: where it names GNOME, Qt would load its GTK
/// theme, which costs this light program a third of its start-up time and most of its memory.
class HiddenDesktopName {
public:
    HiddenDesktopName() : m_name(qgetenv(variable)) { qunsetenv(variable); }
    ~HiddenDesktopName()
    {
        if (!m_name.isNull()) {
            qputenv(variable, m_name);
        }
    }
    HiddenDesktopName(const HiddenDesktopName&) = delete;
    HiddenDesktopName& operator=(const HiddenDesktopName&) = delete;

private:
    static constexpr const char* variable = "XDG_CURRENT_DESKTOP";
    QByteArray m_name;
};

/// Opens what the program was started without. The next file opened would else take the number of standard
/// output, and the log, which holds texts of the clipboard, would be written into it: the connection to the
/// display, most likely.
bool holdStandardDescriptors()
{
    for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        const bool isOpen = fcntl(descriptor, F_GETFD) != -1;
        if (!isOpen && open("/dev/null", O_RDWR) != descriptor) {
            return false;
        }
    }
    return true;
}

/// The toolkit alone reads its option; the other connections go by the environment.
void useDisplayOf(const CommandLine& commandLine)
{
    const auto& options = commandLine.toolkitArguments;
    for (std::size_t index = 0; index + 1 < options.size(); ++index) {
        if (options[index] == "-display" || options[index] == "--display") {
            qputenv("DISPLAY", QByteArray::fromStdString(options[index + 1]));
        }
    }
}

/// Has the toolkit use the window system that was chosen, unless the user has chosen, but not the programs
/// that this one starts.
class ChosenToolkitPlatform {
public:
    explicit ChosenToolkitPlatform(ToolkitRoute chosen) : m_isOurs(qEnvironmentVariableIsEmpty(variable))
    {
        if (m_isOurs) {
            qputenv(variable, chosen == ToolkitRoute::wayland ? "wayland" : "xcb");
        }
    }
    ~ChosenToolkitPlatform()
    {
        if (m_isOurs) {
            qunsetenv(variable);
        }
    }
    ChosenToolkitPlatform(const ChosenToolkitPlatform&) = delete;
    ChosenToolkitPlatform& operator=(const ChosenToolkitPlatform&) = delete;

private:
    static constexpr const char* variable = "QT_QPA_PLATFORM";
    const bool m_isOurs;
};

std::unique_ptr<QApplication> makeApplication(ToolkitArguments& arguments, const Process& process,
                                              ToolkitRoute toolkit)
{
    const ChosenToolkitPlatform chosen(toolkit);
    const HiddenDesktopName hidden;
    QApplication::setApplicationName(toQString(process.bundleIdentifier));
    QApplication::setDesktopFileName(toQString(process.bundleIdentifier));
    QApplication::setQuitOnLastWindowClosed(false);
    auto application = std::make_unique<QApplication>(arguments.count(), arguments.values());
    // The desktop starts the program by itself; a session that is restored would start it once more.
    const auto refuseRestart = [](QSessionManager& manager) {
        manager.setRestartHint(QSessionManager::RestartNever);
    };
    QObject::connect(application.get(), &QGuiApplication::commitDataRequest, refuseRestart);
    QObject::connect(application.get(), &QGuiApplication::saveStateRequest, refuseRestart);
    return application;
}

/// One line, whatever other programs put into it: the system's journal keeps such lines.
void reportProblem(std::string_view problem)
{
    std::cerr << "glimmerwick: " << unicode::escapedForLog(problem) << std::endl;
}

BuildSettings buildSettings()
{
    return {GLIMMERWICK_VERSION,
            GLIMMERWICK_UPDATES ? BuildSettings::Updates::looksForThem
                                : BuildSettings::Updates::leavesThemToTheSystem,
            GLIMMERWICK_UPDATE_FEED, GLIMMERWICK_UPDATE_KEY};
}

std::string catalogueVersion()
{
    const auto& manifest = EmojiDataManager::shared().manifest();
    return manifest ? manifest->version() : std::string();
}

void reportUnknownWords(const std::vector<std::string>& words)
{
    for (const std::string& word : words) {
        reportProblem("GLIMMERWICK_WITHOUT names something unknown: " + word);
    }
}

/// Repeats on the bus what the managers post for listeners outside.
NotificationMirror mirrorNotifications(NotificationCenter& notificationCenter, InstanceObject& instance)
{
    return {notificationCenter,
            instance,
            {TypeManager::willTypeEmojiNotification, TypeManager::didTypeEmojiNotification,
             TypeManager::typingFailedNotification, ClipboardManager::emojiCopiedNotification},
            [](const Notification& notification) {
                const auto* error = notification.value<TypeManagerError>("error");
                return error ? std::string(errorDescription(*error)) : std::string();
            }};
}

/// Has emoji drawn from the font's pictures, and kept in the store, for as long as it lives.
class EmojiPictures {
public:
    explicit EmojiPictures(Services& services)
    {
        EmojiPixmapCache::shared().setGlyphPictures(&services.textLayout);
        if (const auto file = services.textLayout.colourEmojiFontFile()) {
            EmojiPixmapCache::shared().setStore(&services.pictureStore, maker(*file));
        }
    }
    ~EmojiPictures()
    {
        EmojiPixmapCache::shared().setStore(nullptr, {});
        EmojiPixmapCache::shared().setGlyphPictures(nullptr);
    }
    EmojiPictures(const EmojiPictures&) = delete;
    EmojiPictures& operator=(const EmojiPictures&) = delete;

private:
    /// Other fonts, and other versions of what draws, draw other pictures.
    static std::string maker(const std::filesystem::path& fontFile)
    {
        std::error_code error;
        const auto size = std::filesystem::file_size(fontFile, error);
        const auto date = std::filesystem::last_write_time(fontFile, error).time_since_epoch().count();
        // To be raised when the same version is to draw them in another way.
        constexpr const char* drawing = " drawing 2";
        return fontFile.string() + ' ' + std::to_string(size) + ' ' + std::to_string(date) + ' ' + qVersion()
            + " " GLIMMERWICK_VERSION + drawing;
    }
};

/// Has all threads allocate from two regions of memory. Each would get a region of its own, and little of it
/// is used: they seldom work at the same time.
void shareRegions()
{
    constexpr int mainThreadsAndAnother = 2;
    mallopt(M_ARENA_MAX, mainThreadsAndAnother);
}

/// To the system, what the launch and the last use of the picker needed for a while.
void giveMemoryBack()
{
    constexpr std::size_t keepNothing = 0;
    malloc_trim(keepNothing);
}

int runApplication(const Process& process, const CommandLine& commandLine, SessionBus& bus,
                   InstanceObject& instance)
{
    useDisplayOf(commandLine);
    WindowSystems windowSystems(partsFolder(), reportProblem);
    const auto session = probeSession(bus, windowSystems.probes(), wantedToolkitPlatform(commandLine),
                                      ProbeExtent::whatRoutesNeed);
    reportUnknownWords(session.unknownWords);
    if (!session.facts.x11Display && !session.facts.waylandDisplay) {
        reportProblem(
            "cannot reach an X11 display or a Wayland compositor; is DISPLAY or WAYLAND_DISPLAY set?");
        return EXIT_FAILURE;
    }
    const SessionRoutes routes = chooseRoutes(session.facts);
    WindowSystemLibrary* const windowSystem = windowSystems.library(routes.toolkit);
    if (!windowSystem) {
        return EXIT_FAILURE;
    }
    ToolkitArguments toolkitArguments(process.arguments.front(), process.bundleIdentifier,
                                      commandLine.toolkitArguments);
    const auto displayLoss = windowSystem->watchForLoss();
    windowSystem->prepareToolkit(routes);
    const auto application = makeApplication(toolkitArguments, process, routes.toolkit);
    if (!windowSystem->isToolkitOnIt()) {
        reportProblem("QT_QPA_PLATFORM or -platform names another window system than xcb and wayland, or one "
                      "that is not there");
        return EXIT_FAILURE;
    }

    if (!bus.isConnected()) {
        reportProblem("no session bus, so nothing but the shortcut opens the picker: " + bus.problem());
    }

    // Before what takes time to make and to end, so that a signal cuts neither short; and no window is asked.
    const TerminationSignals terminationSignals([] { QCoreApplication::exit(EXIT_SUCCESS); });
    AppDelegate* running = nullptr;
    const auto tellRunning = [&running](auto tell) {
        return [&running, tell] {
            if (running) {
                (running->*tell)();
            }
        };
    };
    Services services(process, bus, windowSystems, routes, buildSettings(),
                      {reportProblem,
                       [&running] {
                           if (running) {
                               running->perform(PickerAction::show);
                           }
                       },
                       tellRunning(&AppDelegate::tellThatTheShortcutIsTaken),
                       tellRunning(&AppDelegate::tellThatTypingIsRefused), catalogueVersion});
    const Registration saving = displayLoss->saveBy([&services] { services.userDefaults.synchronize(); });
    BundledCatalogue::seed(services.fileSystem, process.resourcesDirectory / "catalogue",
                           process.cachesDirectory / "Glimmerwick", reportProblem);
    if (const auto file = services.textLayout.ambiguousFontFile()) {
        // A font that the program brings along comes before those of the system.
        QFontDatabase::addApplicationFont(toQString(file->string()));
    }
    if (const auto family = services.textLayout.colourEmojiFontFamily()) {
        style::setEmojiFontFamily(toQString(*family));
    }
    const EmojiPictures emojiPictures(services);

    installTranslations(process.resourcesDirectory / "translations");
    const PortalSettings portalSettings(bus, style::setDesktopAppearance);

    const InstalledPlatform installed(services.platform);
    const NotificationMirror mirror = mirrorNotifications(services.notificationCenter, instance);
    AppDelegate delegate(services.platform);
    delegate.onStateChanged = [&instance, &services](PickerState state) {
        instance.setState(state);
        services.setPickerShown(state.isVisible);
    };
    delegate.onSettled = giveMemoryBack;
    running = &delegate;
    // Whoever wants an emoji typed is asked, whatever the answer was at another time.
    const Registration asking = services.notificationCenter.addObserver(
        TypeManager::typingFailedNotification,
        [&services](const Notification&) { services.desktop.askForConsent(Desktop::Asking::again); });
    QObject::connect(application.get(), &QCoreApplication::aboutToQuit, [&delegate, &instance] {
        instance.setHandler(nullptr);
        delegate.applicationWillTerminate();
    });
    std::optional<ScreenLockWatcher> screenLockWatcher;
    services.mainQueue.async([&] {
        delegate.applicationDidFinishLaunching();
        services.desktop.askForConsent(Desktop::Asking::onceForAll);
        instance.setHandler(&delegate);
        // Behind the shortcut: it connects to a further bus, which may be slow.
        screenLockWatcher.emplace(bus, [&delegate] { delegate.perform(PickerAction::hide); });
    });
    return QApplication::exec();
}

// Before anything that takes time: a further start is to be over at once, and needs no display.
int runInstance(const Process& process, const CommandLine& commandLine)
{
    SessionBus bus;
    InstanceObject instance(bus, GLIMMERWICK_VERSION);
    if (bus.isConnected()) {
        const auto claimed =
            claimInstance(bus, {process.arguments.begin() + 1, process.arguments.end()}, answerDeadline);
        if (!claimed) {
            reportProblem(claimed.error());
            return EXIT_FAILURE;
        }
        if (claimed.value() == Instance::further) {
            return EXIT_SUCCESS;
        }
    }
    return runApplication(process, commandLine, bus, instance);
}

void diagnose(const CommandLine& commandLine)
{
    useDisplayOf(commandLine);
    const SessionBus bus;
    WindowSystems windowSystems(partsFolder(), reportProblem);
    std::cout << diagnoseSession(bus, windowSystems.probes(), wantedToolkitPlatform(commandLine),
                                 GLIMMERWICK_VERSION)
              << std::flush;
}

int runCommandLine(int argc, char** argv)
{
    // Whoever starts programs may leave out even their name.
    const std::vector<std::string> arguments(argv + std::min(argc, 1), argv + argc);
    const auto commandLine = CommandLine::parse(arguments);
    if (!commandLine) {
        reportProblem(commandLine.error());
        std::cerr << "Try 'glimmerwick --help'." << std::endl;
        return wrongUsage;
    }
    switch (commandLine.value().request) {
    case CommandLine::Request::help:
        std::cout << CommandLine::usage() << std::flush;
        return EXIT_SUCCESS;
    case CommandLine::Request::version:
        std::cout << "Glimmerwick " GLIMMERWICK_VERSION << std::endl;
        return EXIT_SUCCESS;
    case CommandLine::Request::diagnose:
        diagnose(commandLine.value());
        return EXIT_SUCCESS;
    case CommandLine::Request::run:
        break;
    }
    Process process = makeProcess(argc, argv,
                                  {GLIMMERWICK_BUILD_DIRECTORY, GLIMMERWICK_SOURCE_RESOURCES,
                                   GLIMMERWICK_INSTALLED_RESOURCES, GLIMMERWICK_CONTENT_HOST});
    if (process.arguments.empty()) {
        process.arguments.emplace_back("glimmerwick");
    }
    return runInstance(process, commandLine.value());
}

} // namespace

} // namespace glimmerwick

int main(int argc, char** argv)
{
    if (!glimmerwick::holdStandardDescriptors()) {
        return EXIT_FAILURE;
    }
    std::signal(SIGPIPE, SIG_IGN);
    // Who ignored it hands that on; the programs that this one starts would then vanish unnoticed.
    std::signal(SIGCHLD, SIG_DFL);
    glimmerwick::shareRegions();
    try {
        return glimmerwick::runCommandLine(argc, argv);
    } catch (const std::exception& error) {
        glimmerwick::reportProblem(error.what());
        return EXIT_FAILURE;
    }
}
