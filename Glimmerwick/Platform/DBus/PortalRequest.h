#pragma once

#include <QDBusConnection>
#include <QObject>
#include <QString>
#include <QTimer>
#include <QVariantList>
#include <QVariantMap>

#include <chrono>
#include <functional>
#include <map>
#include <optional>
#include <string>

class QDBusMessage;

namespace glimmerwick {

/// One call of the desktop portal's that is answered later, by a signal of a request object. Never blocks.
/// Main thread.
class PortalRequest : public QObject {
    Q_OBJECT

public:
    struct Call {
        QString interface;
        QString method;
        /// What comes before the options.
        QVariantList arguments;
        /// Without the handle's token, which is added.
        QVariantMap options;
    };

    enum class Outcome {
        success,
        /// The user said no.
        cancelled,
        /// The portal ended it without the user's doing.
        ended,
        /// The portal did not take the call: something about it is wrong.
        rejected,
        /// There is no portal, or it lacks the interface.
        unavailable,
        /// No answer in time.
        unanswered,
    };

    struct Answer {
        Outcome outcome = Outcome::unanswered;
        QVariantMap results;
        /// For the log; empty on success.
        std::string problem;
    };

    /// How long the answer may take. Without a limit the call must still be taken in the bus's usual time.
    using Patience = std::optional<std::chrono::milliseconds>;

    /// Sends the call. The completion runs once, from the event loop, and may destroy the request.
    PortalRequest(const QDBusConnection& bus, Call call, Patience patience,
                  std::function<void(const Answer&)> completion);
    /// Without an answer so far, the portal is told that none is wanted any more.
    ~PortalRequest() override;

    /// A token for an object that the portal makes for this program, such as a session.
    static QString unusedToken();

private slots:
    void responded(const QDBusMessage& signal);

private:
    struct Response {
        unsigned int code = 0;
        QVariantMap results;
    };

    void send(Call call, Patience patience);
    void callAnswered(const QDBusMessage& reply);
    void finish(const Response& response);
    void finish(const Answer& answer);
    void close();

    QDBusConnection m_bus;
    /// Empty once it has run.
    std::function<void(const Answer&)> m_completion;
    QString m_name;
    QString m_path;
    /// Responses of other requests, until it is known that none of them is this one's.
    std::map<QString, Response> m_others;
    bool m_isPathKnown = false;
    QTimer m_timer;
};

} // namespace glimmerwick
