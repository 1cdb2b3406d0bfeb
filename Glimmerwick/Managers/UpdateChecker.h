#pragma once

#include "Managers/UpdateAcceptance.h"
#include "Managers/UpdateChoice.h"
#include "Managers/UpdateSchedule.h"
#include "Platform/Attention.h"
#include "Platform/Lifetime.h"
#include "Platform/Registration.h"
#include "Platform/Shell.h"

#include <functional>
#include <optional>
#include <string>

namespace glimmerwick {

class FileClock;
class HttpClient;
class MainQueue;
class PackageInstaller;
class SignatureVerifier;
class UpdateFeedReader;
class UpdatePresenter;
class UserDefaults;
enum class UpdateAnswer;

/// What the update checker works with; all of it outlives it.
struct UpdateServices {
    MainQueue& mainQueue;
    FileClock& fileClock;
    UserDefaults& userDefaults;
    HttpClient& httpClient;
    const SignatureVerifier& signatureVerifier;
    UpdateFeedReader& feedReader;
    UpdatePresenter& presenter;
    PackageInstaller& packageInstaller;
};

struct UpdateSettings {
    /// Empty when this build has no update server.
    std::string feedAddress;
    std::string installedVersion;
    /// Debian's name of the architecture, like "amd64".
    std::string architecture;
    /// Of the GNU C library.
    std::string systemVersion;
};

/// Looks for new versions in a signed feed, daily and on request, downloads one when the user says so, and
/// hands it to the system's package installer. It installs nothing itself, and never goes back to an older
/// version. Daily checks are silent unless there is something to offer, and never disturb an open picker.
/// Main thread.
class UpdateChecker : public Updater {
public:
    /// Gets each refusal as one line.
    using Report = std::function<void(const std::string&)>;

    UpdateChecker(const UpdateServices& services, UpdateSettings settings, RandomNumber random,
                  Report report);

    void start() override;
    /// Shows the window in any case: with a check, or with what it shows already.
    void checkForUpdates() override;

    /// While the picker is shown, and shortly after, no daily check begins and none shows its offer.
    void setPickerShown(bool isShown);

private:
    enum class Phase { idle, checking, offerWaiting, offering, downloading };
    enum class Initiator { schedule, user };

    std::optional<UpdateProblem> settingsProblem() const;
    void reportOnce(const UpdateProblem& problem);

    void wakeAfter(std::chrono::minutes delay);
    void wake();
    void continueAutomatically();

    void showChecking();
    void beginCheck(Initiator initiator);
    /// The check or the download.
    void cancel();
    void finishCheck(const Result<HttpResponse, TransportError>& answer);
    void failCheck(const UpdateProblem& problem);
    void finishWithout(const NothingNewer& choice);
    void finishWithout(const NeedsNewerSystem& choice);
    void takeOffer(NewerRelease release);

    void showOffer(Attention attention);
    void takeAnswer(UpdateAnswer answer);
    void beginDownload();
    void finishDownload(Result<HttpResponse, TransportError> answer);
    void endWithFailure(const std::string& what, const UpdateProblem& problem);
    void becomeIdle();

    std::uint64_t greatestSerial() const;
    void recordFinished(UpdateSchedule::Outcome outcome);
    bool isSkipped(const ReleaseVersion& version) const;

    const UpdateServices m_services;
    const UpdateSettings m_settings;
    const Report m_report;
    const std::optional<ReleaseVersion> m_installedVersion;
    UpdateSchedule m_schedule;

    Phase m_phase = Phase::idle;
    Initiator m_initiator = Initiator::schedule;
    /// Waiting, offered or being downloaded.
    std::optional<NewerRelease> m_release;
    /// Given to the package installer by this process.
    std::optional<ReleaseVersion> m_handedOver;
    bool m_isStarted = false;
    bool m_isCheckDue = false;
    bool m_isPickerShown = false;
    bool m_isSettingsProblemReported = false;
    Registration m_request;
    Registration m_nextWake;
    /// Holds a timer as long as the picker was hidden only just now.
    Registration m_pickerJustHidden;
    Lifetime m_lifetime;
};

} // namespace glimmerwick
