#include "Platform/DBus/PortalKeyboard.h"

#include "Platform/DBus/PortalNames.h"
#include "Platform/DBus/PortalRegistration.h"
#include "Platform/DBus/SessionBus.h"
#include "Platform/UserDefaults.h"

#include <QDeadlineTimer>

#include <algorithm>
#include <utility>

namespace glimmerwick {

namespace {

using KeyState = RemoteDesktopSession::KeyState;
using Outcome = PortalRequest::Outcome;

std::chrono::milliseconds timeLeft(const QDeadlineTimer& deadline)
{
    return std::chrono::milliseconds(deadline.remainingTime());
}

} // namespace

PortalKeyboard::PortalKeyboard(const SessionBus& bus, PortalRegistration& registration,
                               UserDefaults& userDefaults, Hooks hooks, Patience patience)
    : m_bus(bus.connection()), m_registration(registration), m_userDefaults(userDefaults),
      m_hooks(std::move(hooks)), m_patience(patience),
      m_portalWatcher(portalName::service, m_bus, QDBusServiceWatcher::WatchForOwnerChange)
{
    if (!m_bus.isConnected()) {
        m_state = State::noPortal;
        return;
    }
    QObject::connect(&m_portalWatcher, &QDBusServiceWatcher::serviceOwnerChanged, &m_portalWatcher,
                     [this](const QString&, const QString& predecessor, const QString& successor) {
                         if (!predecessor.isEmpty()) {
                             portalWent();
                         }
                         if (!successor.isEmpty()) {
                             portalCame();
                         }
                     });
    if (const std::string token = restoreToken(); !token.empty()) {
        ask(Occasion::restoring, token);
    }
}

PortalKeyboard::~PortalKeyboard()
{
    release(KeySymbols(m_held));
}

std::string PortalKeyboard::restoreToken()
{
    return m_userDefaults.string(restoreTokenKey).value_or("");
}

// At once: the portal has forgotten the one before by now.
void PortalKeyboard::setRestoreToken(const std::string& token)
{
    if (token != restoreToken()) {
        m_userDefaults.setString(restoreTokenKey, token);
        m_userDefaults.synchronize();
    }
}

void PortalKeyboard::requestConsent()
{
    if (m_state == State::granted || !m_bus.isConnected()) {
        return;
    }
    if (m_state == State::asking) {
        // Whatever comes of it is now what the user waits for.
        m_occasion = Occasion::consent;
        return;
    }
    m_mayRestore = true;
    ask(Occasion::consent, restoreToken());
}

void PortalKeyboard::ask(Occasion occasion, const std::string& token)
{
    m_state = State::asking;
    m_occasion = occasion;
    m_sentToken = token;
    m_restoresWhenPortalComes = false;
    m_registration.announce();
    m_session = std::make_unique<RemoteDesktopSession>(
        m_bus, token, m_patience.answers,
        RemoteDesktopSession::Callbacks{[this](const auto& answer) { answered(answer); },
                                        [this] { sessionEnded(); }});
}

void PortalKeyboard::answered(const Result<RemoteDesktopSession::Grant, PortalRequest::Answer>& answer)
{
    if (!answer) {
        // A copy, because it goes with the session.
        notGranted(PortalRequest::Answer(answer.error()));
        return;
    }
    m_state = State::granted;
    m_mayRestore = true;
    setRestoreToken(answer.value().restoreToken);
    if (m_hooks.onGranted) {
        m_hooks.onGranted();
    }
}

void PortalKeyboard::notGranted(const PortalRequest::Answer& answer)
{
    m_session.reset();
    m_state = answer.outcome == Outcome::unavailable ? State::noPortal : State::idle;
    if (m_hooks.reportProblem && answer.outcome != Outcome::cancelled) {
        m_hooks.reportProblem("keys cannot be pressed by the desktop portal: " + answer.problem);
    }
    switch (answer.outcome) {
    case Outcome::unavailable:
    case Outcome::unanswered:
        // Nobody has said anything about the token.
        if (m_occasion == Occasion::restoring) {
            restoreOnceWhenPortalComes();
        } else {
            tell(Refusal::byPortal);
        }
        break;
    case Outcome::cancelled:
        setRestoreToken("");
        m_state = State::refused;
        tell(Refusal::byUser);
        break;
    case Outcome::ended:
    case Outcome::rejected:
    case Outcome::success:
        setRestoreToken("");
        tryWithoutToken(answer.outcome);
        break;
    }
}

void PortalKeyboard::tryWithoutToken(PortalRequest::Outcome outcome)
{
    // Perhaps it was only the token that was wrong. Without one the user is asked, if they want to be.
    if (!m_sentToken.empty() && m_occasion == Occasion::consent) {
        ask(Occasion::consent, "");
    } else if (m_sentToken.empty() || outcome != Outcome::rejected) {
        m_state = State::refused;
        tell(Refusal::byPortal);
    }
}

void PortalKeyboard::tell(Refusal refusal)
{
    m_refusal = refusal;
    // A copy: the hook may end this keyboard.
    if (const auto onRefused = m_hooks.onRefused) {
        onRefused(refusal);
    }
}

void PortalKeyboard::sessionEnded()
{
    m_session.reset();
    m_held.clear();
    m_state = State::idle;
}

void PortalKeyboard::portalWent()
{
    if (m_state != State::granted && m_state != State::asking) {
        return;
    }
    const bool isConsentLost = m_state == State::asking && m_occasion == Occasion::consent;
    sessionEnded();
    if (isConsentLost) {
        tell(Refusal::byPortal);
    } else {
        restoreOnceWhenPortalComes();
    }
}

void PortalKeyboard::restoreOnceWhenPortalComes()
{
    m_restoresWhenPortalComes = std::exchange(m_mayRestore, false);
}

void PortalKeyboard::portalCame()
{
    if (m_state == State::noPortal) {
        m_state = State::idle;
    }
    if (m_state != State::idle || !m_restoresWhenPortalComes) {
        return;
    }
    if (const std::string token = restoreToken(); !token.empty()) {
        ask(Occasion::restoring, token);
    }
}

bool PortalKeyboard::press(const KeySymbols& symbols)
{
    if (!isReady()) {
        return false;
    }
    const std::size_t heldBefore = m_held.size();
    const QDeadlineTimer deadline(m_patience.keys);
    for (const std::uint32_t symbol : symbols) {
        // Noted before it is known to be down, so that it comes up in any case. A key whose modifiers are
        // not down would type something else, so each waits for the one before.
        m_held.push_back(symbol);
        if (deadline.hasExpired() || !m_session->notify(symbol, KeyState::pressed, timeLeft(deadline))) {
            letGo(heldBefore);
            m_session->check();
            return false;
        }
    }
    return true;
}

// Without waiting: the portal has just shown that it is not worth it.
void PortalKeyboard::letGo(std::size_t countToKeep)
{
    while (m_held.size() > countToKeep) {
        m_session->post(m_held.back(), KeyState::released);
        m_held.pop_back();
    }
}

void PortalKeyboard::release(const KeySymbols& symbols)
{
    if (!isReady()) {
        return;
    }
    const QDeadlineTimer deadline(m_patience.keys);
    bool isAnswered = true;
    for (auto symbol = symbols.rbegin(); symbol != symbols.rend(); ++symbol) {
        const auto held = std::find(m_held.rbegin(), m_held.rend(), *symbol);
        if (held == m_held.rend()) {
            continue;
        }
        m_held.erase(std::next(held).base());
        // However one of them goes, the others are to come up.
        if (isAnswered && !deadline.hasExpired()) {
            isAnswered = m_session->notify(*symbol, KeyState::released, timeLeft(deadline));
        } else {
            m_session->post(*symbol, KeyState::released);
        }
    }
    if (!isAnswered) {
        m_session->check();
    }
}

} // namespace glimmerwick
