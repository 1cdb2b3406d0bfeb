#include "AppDelegate.h"
#include "Managers/BundledCatalogue.h"
#include "Platform/Curl/CurlHttpClient.h"
#include "Platform/HarfBuzz/HarfBuzzTextLayout.h"
#include "Platform/Linux/DispatchQueues.h"
#include "Platform/Linux/Files.h"
#include "Platform/Linux/NotYetAvailable.h"
#include "Platform/Linux/ProcessInfo.h"
#include "Platform/Linux/StandardOutputLog.h"
#include "Platform/Linux/SystemClocks.h"
#include "Platform/NotificationCenter.h"
#include "Platform/Platform.h"
#include "Platform/Qt/QtImageCodec.h"
#include "Platform/Qt/QtMainQueue.h"
#include "Platform/Qt/QtUserDefaults.h"
#include "Platform/Qt/TerminationSignals.h"
#include "Platform/Qt/Text.h"
#include "Platform/X11/X11Platform.h"
#include "Views/Style.h"

#include <QApplication>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <exception>
#include <iostream>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

namespace glimmerwick {

namespace {

constexpr std::string_view usage = R"(Usage: glimmerwick [OPTION]...
Emoji picker that waits in the background. Press Ctrl+Super+Space to open it.

  --show-picker         show the picker half a second after the start
  --target-app ID       always type into the application with this identifier
                        (its desktop-file id or WM_CLASS class)
  --disable-event-tap   take keys by keyboard focus instead of interception
  --help                print this text and end
  --version             print the version and end
)";

bool hasArgument(int argc, char** argv, std::string_view wanted)
{
    return std::any_of(argv + 1, argv + argc, [&](const char* argument) { return argument == wanted; });
}

/// The arguments for Qt, with the name that window managers know this program by.
class ToolkitArguments {
public:
    ToolkitArguments(int argc, char** argv, const std::string& name) : m_texts(argv, argv + argc)
    {
        m_texts.insert(m_texts.begin() + 1, {"-name", name});
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

void preferX11()
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM") && !qEnvironmentVariableIsEmpty("DISPLAY")) {
        qputenv("QT_QPA_PLATFORM", "xcb");
    }
}

std::unique_ptr<QApplication> makeApplication(ToolkitArguments& arguments, const Process& process)
{
    preferX11();
    const HiddenDesktopName hidden;
    QApplication::setApplicationName(toQString(process.bundleIdentifier));
    QApplication::setDesktopFileName(toQString(process.bundleIdentifier));
    QApplication::setQuitOnLastWindowClosed(false);
    return std::make_unique<QApplication>(arguments.count(), arguments.values());
}

void reportProblem(std::string_view problem)
{
    std::cerr << "glimmerwick: " << problem << std::endl;
}

/// Everything the program runs on, made in order and destroyed in the opposite one.
struct Services {
    explicit Services(const Process& ofProcess)
        : process(ofProcess), userDefaults(configurationDirectory() / "Glimmerwick.ini"),
          httpClient(mainQueue, "Glimmerwick/" GLIMMERWICK_VERSION),
          imageCodec(textLayout.colourEmojiFontFamily()),
          x11(mainQueue, clock,
              {{process.resourcesDirectory / "paste-chords.txt",
                configurationDirectory() / "paste-chords.txt"}})
    {
    }

    const Process& process;
    StandardOutputLog log;
    SteadyClock clock;
    WallClock fileClock;
    LocalFileSystem fileSystem;
    QtMainQueue mainQueue;
    ThreadDispatchQueues dispatchQueues;
    QtUserDefaults userDefaults;
    NotificationCenter notificationCenter;
    CurlHttpClient httpClient;
    HarfBuzzTextLayout textLayout;
    QtImageCodec imageCodec;
    X11Platform x11;
    MainMenuNotYetShown menuHost{[] { QCoreApplication::quit(); }};
    AlertNotYetShown alert;
    FileViewerNotYetOpened fileViewer;
    VolumeNotYetKnown volumeInfo;
    UpdaterNotYetAvailable updater;

    Platform platform{process,
                      log,
                      mainQueue,
                      dispatchQueues,
                      clock,
                      fileClock,
                      fileSystem,
                      userDefaults,
                      notificationCenter,
                      httpClient,
                      textLayout,
                      imageCodec,
                      x11.pasteboard(),
                      x11.workspace(),
                      x11.eventTap(),
                      x11.eventPoster(),
                      x11.eventMonitors(),
                      x11.accessibilityTrust(),
                      x11.panelHost(),
                      menuHost,
                      alert,
                      fileViewer,
                      volumeInfo,
                      updater};
};

int runApplication(int argc, char** argv)
{
    const Process process = makeProcess(argc, argv,
                                        {GLIMMERWICK_BUILD_DIRECTORY, GLIMMERWICK_SOURCE_RESOURCES,
                                         GLIMMERWICK_INSTALLED_RESOURCES, GLIMMERWICK_CONTENT_HOST});
    if (!X11Platform::isDisplayReachable()) {
        reportProblem(
            "cannot reach an X11 display; is DISPLAY set? Other window systems are not supported yet");
        return EXIT_FAILURE;
    }
    ToolkitArguments toolkitArguments(argc, argv, process.bundleIdentifier);
    const auto application = makeApplication(toolkitArguments, process);
    if (!X11Platform::isAvailable()) {
        reportProblem(
            "QT_QPA_PLATFORM or -platform names another window system than xcb, the one supported so far");
        return EXIT_FAILURE;
    }

    Services services(process);
    BundledCatalogue::seed(services.fileSystem, process.resourcesDirectory / "catalogue",
                           process.cachesDirectory / "Glimmerwick", reportProblem);
    if (const auto family = services.textLayout.colourEmojiFontFamily()) {
        style::setEmojiFontFamily(toQString(*family));
    }

    const InstalledPlatform installed(services.platform);
    AppDelegate delegate(services.platform);
    QObject::connect(application.get(), &QCoreApplication::aboutToQuit,
                     [&delegate] { delegate.applicationWillTerminate(); });
    const TerminationSignals terminationSignals([] { QCoreApplication::quit(); });
    services.mainQueue.async([&delegate] { delegate.applicationDidFinishLaunching(); });
    return QApplication::exec();
}

} // namespace

} // namespace glimmerwick

int main(int argc, char** argv)
{
    if (glimmerwick::hasArgument(argc, argv, "--help")) {
        std::cout << glimmerwick::usage;
        return EXIT_SUCCESS;
    }
    if (glimmerwick::hasArgument(argc, argv, "--version")) {
        std::cout << "Glimmerwick " GLIMMERWICK_VERSION << std::endl;
        return EXIT_SUCCESS;
    }
    if (!glimmerwick::holdStandardDescriptors()) {
        return EXIT_FAILURE;
    }
    std::signal(SIGPIPE, SIG_IGN);
    try {
        return glimmerwick::runApplication(argc, argv);
    } catch (const std::exception& error) {
        glimmerwick::reportProblem(error.what());
        return EXIT_FAILURE;
    }
}
