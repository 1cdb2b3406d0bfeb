#pragma once

#include "Models/Result.h"
#include "Platform/DBus/PortalRequest.h"

#include <QDBusConnection>
#include <QObject>
#include <QString>

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

class QDBusMessage;

namespace glimmerwick {

/// One session of the desktop portal's in which this program may press keys: from asking for it until it
/// ends. Main thread.
class RemoteDesktopSession : public QObject {
    Q_OBJECT

public:
    struct Grant {
        /// With this the next session needs no consent; empty when the portal gives none.
        std::string restoreToken;
    };

    /// Either callback may destroy the session; they run from the event loop.
    struct Callbacks {
        /// Runs once. A user who allowed something, but no keyboard, counts as one who said no.
        std::function<void(const Result<Grant, PortalRequest::Answer>&)> answered;
        /// A session that was granted is over.
        std::function<void()> ended;
    };

    enum class KeyState : std::uint32_t { released = 0, pressed = 1 };

    /// Begins to ask. With a token of an earlier session the user is not bothered, as long as the portal
    /// knows it. What needs no user is waited for as long as `patience` says.
    RemoteDesktopSession(const QDBusConnection& bus, const std::string& restoreToken,
                         std::chrono::milliseconds patience, Callbacks callbacks);
    /// Ends it.
    ~RemoteDesktopSession() override;

    bool isGranted() const { return m_isGranted; }

    /// Blocks until the portal has taken the key, or for the time-out. False when it has not.
    bool notify(std::uint32_t symbol, KeyState state, std::chrono::milliseconds timeout);
    /// Sends the key without waiting, behind what was sent before.
    void post(std::uint32_t symbol, KeyState state);

    /// Has the portal asked whether there still is such a session.
    void check();

private slots:
    void closed(const QDBusMessage& signal);

private:
    using Handler = void (RemoteDesktopSession::*)(const QVariantMap& results);

    void create();
    void selectDevices(const QVariantMap& results);
    void start(const QVariantMap& results);
    void accept(const QVariantMap& results);
    void request(PortalRequest::Call call, PortalRequest::Patience patience, Handler next);
    void refuse(const PortalRequest::Answer& reason);
    void answer(const Result<Grant, PortalRequest::Answer>& outcome);
    void end();
    QDBusMessage keyCall(std::uint32_t symbol, KeyState state) const;

    QDBusConnection m_bus;
    const QString m_restoreToken;
    const std::chrono::milliseconds m_patience;
    const Callbacks m_callbacks;
    /// Empty until there is one.
    QString m_path;
    bool m_isGranted = false;
    bool m_isAnswered = false;
    std::unique_ptr<PortalRequest> m_request;
};

} // namespace glimmerwick
