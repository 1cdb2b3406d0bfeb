#include "Managers/UpdateChecker.h"

#include "Platform/Clock.h"
#include "Platform/HttpClient.h"
#include "Platform/MainQueue.h"
#include "Platform/PackageInstaller.h"
#include "Platform/SignatureVerifier.h"
#include "Platform/UpdateFeedReader.h"
#include "Platform/UpdatePresenter.h"
#include "Platform/UserDefaults.h"

#include <charconv>
#include <chrono>
#include <cstdint>
#include <system_error>
#include <utility>
#include <variant>

namespace glimmerwick {

namespace {

using namespace std::chrono_literals;

const std::string serialKey = "updateFeedSerial";
const std::string skippedVersionKey = "skippedUpdateVersion";

// A pick goes on after the picker is hidden: a window that came up then could take the focus from the
// application that the emoji is for.
constexpr std::chrono::seconds timeForPick = 30s;

// Makes for ten times as long altogether, in which a slow line brings a package.
constexpr std::chrono::minutes downloadTimeout = 2min;

template <typename... Handlers> struct Overloaded : Handlers... {
    using Handlers::operator()...;
};
template <typename... Handlers> Overloaded(Handlers...) -> Overloaded<Handlers...>;

} // namespace

UpdateChecker::UpdateChecker(const UpdateServices& services, UpdateSettings settings, RandomNumber random,
                             Report report)
    : m_services(services), m_settings(std::move(settings)), m_report(std::move(report)),
      m_installedVersion(ReleaseVersion::parse(m_settings.installedVersion)),
      m_schedule(services.fileClock, services.userDefaults, std::move(random))
{
}

void UpdateChecker::start()
{
    if (std::exchange(m_isStarted, true)) {
        return;
    }
    if (const auto problem = settingsProblem()) {
        reportOnce(*problem);
    } else {
        wakeAfter(m_schedule.firstWait());
    }
}

void UpdateChecker::checkForUpdates()
{
    if (const auto problem = settingsProblem()) {
        reportOnce(*problem);
        m_services.presenter.showFailure(problem->sentence);
        m_services.presenter.raise();
        return;
    }
    switch (m_phase) {
    case Phase::idle:
        showChecking();
        beginCheck(Initiator::user);
        break;
    case Phase::checking:
        if (std::exchange(m_initiator, Initiator::user) == Initiator::schedule) {
            showChecking();
        } else {
            m_services.presenter.raise();
        }
        break;
    case Phase::offerWaiting:
        showOffer(Attention::asked);
        m_services.presenter.raise();
        break;
    case Phase::offering:
    case Phase::downloading:
        m_services.presenter.raise();
        break;
    }
}

void UpdateChecker::setPickerShown(bool isShown)
{
    if (isShown == std::exchange(m_isPickerShown, isShown)) {
        return;
    }
    if (!isShown) {
        m_pickerJustHidden = m_services.mainQueue.asyncAfter(timeForPick, [this] {
            m_pickerJustHidden.reset();
            continueAutomatically();
        });
    }
}

/// The line is empty where nothing went wrong.
std::optional<UpdateProblem> UpdateChecker::settingsProblem() const
{
    if (m_settings.feedAddress.empty()) {
        return UpdateProblem{"", "This build of Glimmerwick has no update server."};
    }
    if (!m_services.signatureVerifier.hasKey()) {
        return UpdateProblem{"there are no updates: the update key of this build is no Ed25519 key",
                             "This build of Glimmerwick has no valid key to check updates with."};
    }
    if (!m_installedVersion) {
        return UpdateProblem{"there are no updates: the version of this build is no version",
                             "This build of Glimmerwick has no version that others could be compared with."};
    }
    return std::nullopt;
}

void UpdateChecker::reportOnce(const UpdateProblem& problem)
{
    if (!problem.line.empty() && !std::exchange(m_isSettingsProblemReported, true)) {
        m_report(problem.line);
    }
}

void UpdateChecker::wakeAfter(std::chrono::minutes delay)
{
    m_nextWake = m_services.mainQueue.asyncAfter(delay, [this] { wake(); });
}

void UpdateChecker::wake()
{
    m_isCheckDue = m_schedule.isDue();
    wakeAfter(m_schedule.nextWait());
    continueAutomatically();
}

void UpdateChecker::continueAutomatically()
{
    if (m_isPickerShown || m_pickerJustHidden) {
        return;
    }
    if (m_phase == Phase::offerWaiting) {
        showOffer(Attention::unasked);
    } else if (m_phase == Phase::idle && m_isCheckDue) {
        beginCheck(Initiator::schedule);
    }
}

void UpdateChecker::showChecking()
{
    m_services.presenter.showChecking([this, alive = m_lifetime.watch()] {
        if (alive) {
            cancel();
        }
    });
}

void UpdateChecker::beginCheck(Initiator initiator)
{
    m_phase = Phase::checking;
    m_initiator = initiator;
    HttpRequest request;
    request.url = m_settings.feedAddress;
    // What a cache on the way still has may be older than what was seen before, and would be refused.
    request.headers = {{"Cache-Control", "no-cache"}};
    request.maximumBodySize = maximumFeedSize;
    m_request =
        m_services.httpClient.get(std::move(request), [this](const auto& answer) { finishCheck(answer); });
}

void UpdateChecker::cancel()
{
    becomeIdle();
    m_services.presenter.close();
}

void UpdateChecker::finishCheck(const Result<HttpResponse, TransportError>& answer)
{
    const auto feed = acceptFeed(answer, m_services.signatureVerifier, m_services.feedReader,
                                 m_settings.feedAddress, greatestSerial());
    if (!feed) {
        failCheck(feed.error());
        return;
    }
    const UpdateChoice choice = chooseUpdate(
        feed.value(),
        {*m_installedVersion, m_settings.architecture, ReleaseVersion::parse(m_settings.systemVersion)});
    if (const auto* release = std::get_if<NewerRelease>(&choice)) {
        if (const auto accepted = acceptEnclosure(release->enclosure); !accepted) {
            failCheck(accepted.error());
            return;
        }
    }
    if (feed.value().serial > greatestSerial()) {
        m_services.userDefaults.setString(serialKey, std::to_string(feed.value().serial));
    }
    recordFinished(UpdateSchedule::Outcome::succeeded);
    becomeIdle();
    std::visit(Overloaded{[this](const NewerRelease& release) { takeOffer(release); },
                          [this](const auto& nothing) { finishWithout(nothing); }},
               choice);
}

void UpdateChecker::failCheck(const UpdateProblem& problem)
{
    recordFinished(UpdateSchedule::Outcome::failed);
    becomeIdle();
    m_report("update check failed: " + problem.line);
    if (m_initiator == Initiator::user) {
        m_services.presenter.showFailure(problem.sentence);
    }
}

void UpdateChecker::finishWithout(const NothingNewer&)
{
    if (m_initiator == Initiator::user) {
        m_services.presenter.showUpToDate(m_settings.installedVersion);
    }
}

void UpdateChecker::finishWithout(const NeedsNewerSystem& choice)
{
    if (m_initiator == Initiator::user) {
        m_services.presenter.showMessage("Glimmerwick " + choice.version.text()
                                         + " is out, but needs a newer system than this one.");
    }
}

void UpdateChecker::takeOffer(NewerRelease release)
{
    // One that is installed takes effect when the program is started again, which may be long after.
    const bool isKnown = isSkipped(release.version) || m_handedOver == release.version;
    if (m_initiator == Initiator::schedule && isKnown) {
        return;
    }
    m_release = std::move(release);
    if (m_initiator == Initiator::user) {
        showOffer(Attention::asked);
    } else {
        m_phase = Phase::offerWaiting;
        continueAutomatically();
    }
}

void UpdateChecker::showOffer(Attention attention)
{
    m_phase = Phase::offering;
    m_services.presenter.showOffer({m_settings.installedVersion, m_release->version.text(), m_release->notes,
                                    m_release->enclosure.length},
                                   attention, [this, alive = m_lifetime.watch()](UpdateAnswer answer) {
                                       if (alive) {
                                           takeAnswer(answer);
                                       }
                                   });
}

void UpdateChecker::takeAnswer(UpdateAnswer answer)
{
    // The offer may have been open for days: the next one is to come a day after the answer.
    recordFinished(UpdateSchedule::Outcome::succeeded);
    if (answer == UpdateAnswer::download) {
        beginDownload();
        return;
    }
    if (answer == UpdateAnswer::skipThisVersion) {
        m_services.userDefaults.setString(skippedVersionKey, m_release->version.text());
    }
    becomeIdle();
    m_services.presenter.close();
}

void UpdateChecker::beginDownload()
{
    m_phase = Phase::downloading;
    m_services.presenter.showDownloading(m_release->version.text(), [this, alive = m_lifetime.watch()] {
        if (alive) {
            cancel();
        }
    });
    HttpRequest request;
    request.url = m_release->enclosure.url;
    request.headers = {{"Accept-Encoding", "identity"}};
    request.timeout = downloadTimeout;
    request.maximumBodySize = static_cast<std::size_t>(m_release->enclosure.length);
    request.progress = [this](std::uint64_t received) {
        m_services.presenter.setProgress(received, m_release->enclosure.length);
    };
    m_request = m_services.httpClient.get(std::move(request),
                                          [this](auto answer) { finishDownload(std::move(answer)); });
}

void UpdateChecker::finishDownload(Result<HttpResponse, TransportError> answer)
{
    const NewerRelease release = std::move(*m_release);
    becomeIdle();
    const auto package = acceptPackage(std::move(answer), m_services.signatureVerifier, release.enclosure);
    if (!package) {
        endWithFailure("update download failed: ", package.error());
        return;
    }
    const std::string fileName =
        "glimmerwick_" + release.version.text() + "_" + m_settings.architecture + ".deb";
    const auto handedOver = m_services.packageInstaller.handOver(fileName, package.value());
    if (!handedOver) {
        endWithFailure("update hand-over failed: ", problemInWords(handedOver.error()));
        return;
    }
    m_handedOver = release.version;
    m_services.presenter.showHandedOver(release.version.text());
}

void UpdateChecker::endWithFailure(const std::string& what, const UpdateProblem& problem)
{
    m_report(what + problem.line);
    m_services.presenter.showFailure(problem.sentence);
}

void UpdateChecker::becomeIdle()
{
    m_request.reset();
    m_release.reset();
    m_phase = Phase::idle;
}

std::uint64_t UpdateChecker::greatestSerial() const
{
    const std::string text = m_services.userDefaults.string(serialKey).value_or("");
    std::uint64_t serial = 0;
    const auto read = std::from_chars(text.data(), text.data() + text.size(), serial);
    const bool isWhole = read.ec == std::errc() && read.ptr == text.data() + text.size();
    return isWhole ? serial : 0;
}

void UpdateChecker::recordFinished(UpdateSchedule::Outcome outcome)
{
    m_schedule.recordFinished(outcome);
    m_isCheckDue = false;
}

bool UpdateChecker::isSkipped(const ReleaseVersion& version) const
{
    const auto skipped =
        ReleaseVersion::parse(m_services.userDefaults.string(skippedVersionKey).value_or(""));
    return skipped && *skipped == version;
}

} // namespace glimmerwick
