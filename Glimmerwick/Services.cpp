#include "Services.h"

#include "Managers/UpdatesSwitchedOff.h"
#include "Platform/Linux/InstallationVolume.h"
#include "Platform/Linux/InstalledFile.h"
#include "Platform/Linux/PartsFolder.h"
#include "Platform/Linux/ProcessInfo.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>

#include <gnu/libc-version.h>

#include <optional>
#include <random>
#include <utility>

namespace glimmerwick {

namespace {

/// Debian's name of what this was built for; empty for what Debian has no name for, which gets no updates.
constexpr const char* architecture =
#if defined(__x86_64__) && defined(__LP64__)
    "amd64";
#elif defined(__i386__)
    "i386";
#elif defined(__aarch64__) && defined(__LP64__)
    "arm64";
#elif defined(__ARM_ARCH) && defined(__ARM_PCS_VFP)
    "armhf";
#elif defined(__riscv) && __riscv_xlen == 64
    "riscv64";
#elif defined(__powerpc64__) && defined(__LITTLE_ENDIAN__)
    "ppc64el";
#elif defined(__s390x__)
    "s390x";
#else
    "";
#endif

/// Where the system brings updates, a program on a read-only volume needs no moving.
class VolumeOfTheSystem : public VolumeInfo {
public:
    std::optional<bool> isInstallationReadOnly() override { return std::nullopt; }
};

std::filesystem::path homeDirectory()
{
    return QFile::encodeName(QDir::homePath()).toStdString();
}

/// Not for secrets.
std::uint32_t randomNumber(std::uint32_t bound)
{
    static std::random_device device;
    return std::uniform_int_distribution<std::uint32_t>(0, bound - 1)(device);
}

bool looksForUpdates(const BuildSettings& build)
{
    return build.updates == BuildSettings::Updates::looksForThem;
}

std::unique_ptr<UpdateChecker> makeUpdateChecker(Services& services, const BuildSettings& build)
{
    if (!looksForUpdates(build)) {
        return nullptr;
    }
    return std::make_unique<UpdateChecker>(
        UpdateServices{services.mainQueue, services.fileClock, services.userDefaults, services.httpClient,
                       services.signatureVerifier, services.updateFeedReader, services.updateWindow,
                       services.packageInstaller},
        UpdateSettings{build.updateFeed, build.version, architecture, gnu_get_libc_version()}, randomNumber,
        services.hooks.reportProblem);
}

std::unique_ptr<VolumeInfo> makeVolumeInfo(const BuildSettings& build)
{
    if (!looksForUpdates(build)) {
        return std::make_unique<VolumeOfTheSystem>();
    }
    return std::make_unique<InstallationVolume>(installedFile());
}

Updater& chooseUpdater(const Services& services)
{
    return services.updateChecker ? static_cast<Updater&>(*services.updateChecker) : *services.idleUpdater;
}

} // namespace

Services::Services(const Process& process, const SessionBus& bus, WindowSystems& windowSystems,
                   const SessionRoutes& routes, const BuildSettings& build, ServiceHooks serviceHooks)
    : hooks(std::move(serviceHooks)), userNotice(bus, process.bundleIdentifier),
      userDefaults(configurationDirectory() / "Glimmerwick.ini"),
      httpClient(mainQueue, {partsFolder() / "glimmerwick-http", "Glimmerwick/" + build.version},
                 hooks.reportProblem),
      pictureStore(process.cachesDirectory / "Glimmerwick" / "Drawn", dispatchQueues, hooks.reportProblem),
      imageCodec(textLayout.colourEmojiFontFamily()),
      desktop(
          {windowSystems,
           routes,
           bus,
           process.bundleIdentifier,
           mainQueue,
           clock,
           userDefaults,
           userNotice,
           {process.resourcesDirectory / "paste-chords.txt", configurationDirectory() / "paste-chords.txt"},
           hooks.reportProblem,
           hooks.shortcutIsUnavailable,
           hooks.typingIsRefused}),
      alert(mainQueue), aboutWindow({build.version, hooks.catalogueVersion,
                                     process.resourcesDirectory / "catalogue" / "LICENSES.txt"}),
      menuHost(bus, loginItem, process.resourcesDirectory / "symbols" / "face.smiling.svg",
               // Not quit(), which asks the windows first.
               {[this] { aboutWindow.show(); }, [] { QCoreApplication::exit(EXIT_SUCCESS); },
                hooks.trayIconClicked,
                [this](std::string_view problem) {
                    hooks.reportProblem(problem);
                    userNotice.post({"Glimmerwick", std::string(problem)});
                }}),
      fileViewer(bus, homeDirectory(), hooks.reportProblem), signatureVerifier(build.updateKey),
      updateWindow(mainQueue), packageInstaller(process.cachesDirectory),
      updateChecker(makeUpdateChecker(*this, build)),
      idleUpdater(looksForUpdates(build) ? nullptr : std::make_unique<UpdatesSwitchedOff>(updateWindow)),
      volumeInfo(makeVolumeInfo(build)), platform{process,
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
                                                  desktop.pasteboard(),
                                                  desktop.workspace(),
                                                  desktop.eventTap(),
                                                  desktop.eventPoster(),
                                                  desktop.eventMonitors(),
                                                  desktop.accessibilityTrust(),
                                                  desktop.panelHost(),
                                                  menuHost,
                                                  alert,
                                                  fileViewer,
                                                  *volumeInfo,
                                                  chooseUpdater(*this),
                                                  userNotice}
{
}

void Services::setPickerShown(bool isShown)
{
    if (updateChecker) {
        updateChecker->setPickerShown(isShown);
    }
}

} // namespace glimmerwick
