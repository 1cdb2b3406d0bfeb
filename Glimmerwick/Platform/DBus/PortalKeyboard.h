#pragma once

#include "Platform/DBus/RemoteDesktopSession.h"
#include "Platform/InjectedKeyboard.h"

#include <QDBusConnection>
#include <QDBusServiceWatcher>

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

namespace glimmerwick {

class PortalRegistration;
class SessionBus;
class UserDefaults;

/// Presses keys by the RemoteDesktop interface of the desktop portal, which asks the user once and gives a
/// token by which later runs need no question. The token works once, and every session brings the next one;
/// it is kept in the user's settings.
///
/// Main thread. Nothing waits for the portal but keys that are pressed and released.
class PortalKeyboard : public InjectedKeyboard {
public:
    enum class State {
        /// There is none, or it lets nobody press keys.
        noPortal,
        /// There may be one; nothing is asked of it now.
        idle,
        asking,
        granted,
        /// Until consent is requested again.
        refused,
    };

    enum class Refusal {
        byUser,
        /// The portal would not, could not, or did not answer.
        byPortal,
    };

    /// Each may be empty.
    struct Hooks {
        /// Consent that was requested has not come, or what was allowed in an earlier run no longer is. From
        /// the event loop.
        std::function<void(Refusal)> onRefused;
        /// The user has agreed, now or at another time.
        std::function<void()> onGranted;
        /// Gets one line.
        std::function<void(std::string_view)> reportProblem;
    };

    struct Patience {
        /// For pressing or releasing keys, all in all.
        std::chrono::milliseconds keys{1000};
        /// For whatever the portal does without the user.
        std::chrono::milliseconds answers{25000};
    };

    static constexpr auto restoreTokenKey = "RemoteDesktopRestoreToken";

    /// With a token from an earlier run the session is restored; without one nothing is asked. The bus need
    /// not be connected.
    PortalKeyboard(const SessionBus& bus, PortalRegistration& registration, UserDefaults& userDefaults,
                   Hooks hooks, Patience patience);
    /// Releases what is held.
    ~PortalKeyboard() override;
    PortalKeyboard(const PortalKeyboard&) = delete;
    PortalKeyboard& operator=(const PortalKeyboard&) = delete;

    State state() const { return m_state; }

    /// Whether the last refusal was the portal's own, which asking again does not change.
    bool isRefusedByPortal() const { return m_state == State::refused && m_refusal == Refusal::byPortal; }

    /// Has the portal ask the user, unless it does so already or the user has agreed.
    void requestConsent();

    /// True only while there is a session with a keyboard.
    bool isReady() override { return m_state == State::granted; }
    /// The portal looks for the symbol in the user's layout, which it does not tell.
    bool canType(std::uint32_t symbol) override { return symbol != 0; }
    bool press(const KeySymbols& symbols) override;
    void release(const KeySymbols& symbols) override;

private:
    enum class Occasion { restoring, consent };

    std::string restoreToken();
    void setRestoreToken(const std::string& token);
    void ask(Occasion occasion, const std::string& token);
    void answered(const Result<RemoteDesktopSession::Grant, PortalRequest::Answer>& answer);
    void notGranted(const PortalRequest::Answer& answer);
    void tryWithoutToken(PortalRequest::Outcome outcome);
    void tell(Refusal refusal);
    void sessionEnded();
    void portalWent();
    void portalCame();
    void restoreOnceWhenPortalComes();
    void letGo(std::size_t countToKeep);

    QDBusConnection m_bus;
    PortalRegistration& m_registration;
    UserDefaults& m_userDefaults;
    const Hooks m_hooks;
    const Patience m_patience;
    State m_state = State::idle;
    /// The last one.
    Refusal m_refusal = Refusal::byUser;
    Occasion m_occasion = Occasion::restoring;
    std::string m_sentToken;
    /// A portal that fails whenever it is asked is not asked each time it comes back.
    bool m_mayRestore = true;
    bool m_restoresWhenPortalComes = false;
    std::unique_ptr<RemoteDesktopSession> m_session;
    /// In the order in which they went down.
    KeySymbols m_held;
    QDBusServiceWatcher m_portalWatcher;
};

} // namespace glimmerwick
