#pragma once

#include "Contract/EventLoop.h"
#include "Platform/Qt/Text.h"

#include <gtest/gtest.h>

#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QDBusVariant>
#include <QDBusVirtualObject>
#include <QThread>

#include <algorithm>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace glimmerwick::contract {

/// A desktop portal that lets keys be pressed: a program of its own on the bus, with a thread of its own,
/// because whoever presses keys waits for the answer. What it does is told beforehand; its dialog is answered
/// by the test.
class RemoteDesktopPortal : public QDBusVirtualObject {
public:
    enum class Response : unsigned int { granted = 0, cancelled = 1, ended = 2 };
    /// Where its requests are, and when they are answered.
    enum class Requests { predicted, elsewhere, elsewhereAndAnsweredFirst };
    /// What it does with a token that it does not know.
    enum class StrangeTokens { askTheUser, reject, endTheRequest };

    struct Behaviour {
        Requests requests = Requests::predicted;
        StrangeTokens strangeTokens = StrangeTokens::askTheUser;
        /// Calls of these methods are never answered; nor are those below, which get an error.
        std::set<std::string> ignored = {};
        /// Calls of these are answered, and their requests never.
        std::set<std::string> unfinished = {};
        std::set<std::string> failing = {};
        /// Keys that get an error.
        std::set<int> failingSymbols = {};
        unsigned int devices = 1;
        bool givesTokens = true;
    };

    explicit RemoteDesktopPortal(Behaviour behaviour, std::set<std::string> tokens = {})
        : m_behaviour(std::move(behaviour)), m_tokens(std::move(tokens)),
          m_connection(QDBusConnection::connectToBus(QDBusConnection::SessionBus, unusedName()))
    {
        // Registered first, because that gives it a child, which the thread it is in must make.
        EXPECT_TRUE(m_connection.registerVirtualObject(object, this, QDBusConnection::SubPath));
        moveToThread(&m_thread);
        m_thread.start();
        EXPECT_TRUE(m_connection.registerService("org.freedesktop.portal.Desktop"));
    }

    RemoteDesktopPortal() : RemoteDesktopPortal(Behaviour()) { }

    ~RemoteDesktopPortal() override
    {
        m_connection.unregisterObject(object);
        QDBusConnection::disconnectFromBus(m_connection.name());
        // A call that has come but was not handled would be handled by whatever is left of this object.
        QMetaObject::invokeMethod(
            this, [] {}, Qt::BlockingQueuedConnection);
        m_thread.quit();
        m_thread.wait();
    }

    /// A call that it answers and forgets.
    static QDBusMessage question()
    {
        return QDBusMessage::createMethodCall("org.freedesktop.portal.Desktop", object,
                                              "com.glimmerwick.PortalOfTest", "Answer");
    }

    /// What was asked of it: names of methods, and keys as "+SYMBOL" and "-SYMBOL".
    std::vector<std::string> calls() const
    {
        const std::lock_guard lock(m_mutex);
        return m_calls;
    }
    std::size_t count(const std::string& call) const
    {
        const auto all = calls();
        return static_cast<std::size_t>(std::count(all.begin(), all.end(), call));
    }
    /// Keys alone.
    std::vector<std::string> keys() const
    {
        auto all = calls();
        all.erase(std::remove_if(all.begin(), all.end(),
                                 [](const std::string& call) { return call[0] != '+' && call[0] != '-'; }),
                  all.end());
        return all;
    }
    /// The options of the last call of a method.
    QVariantMap options(const std::string& method) const
    {
        const std::lock_guard lock(m_mutex);
        const auto found = m_options.find(method);
        return found == m_options.end() ? QVariantMap() : found->second;
    }
    std::string registeredName() const
    {
        const std::lock_guard lock(m_mutex);
        return m_registeredName;
    }
    bool isAskingTheUser() const
    {
        const std::lock_guard lock(m_mutex);
        return m_dialog.has_value();
    }
    /// Handles events until it asks.
    bool asksTheUser()
    {
        return handleEventsUntil([this] { return isAskingTheUser(); });
    }
    bool isCalled(const std::string& call)
    {
        return handleEventsUntil([&] { return count(call) > 0; });
    }

    void change(const std::function<void(Behaviour&)>& alter)
    {
        const std::lock_guard lock(m_mutex);
        alter(m_behaviour);
    }

    /// What the user does with the dialog.
    void answerDialog(Response response)
    {
        const std::lock_guard lock(m_mutex);
        ASSERT_TRUE(m_dialog);
        respondToStart(*std::exchange(m_dialog, std::nullopt), response);
    }

    /// What the user does with the desktop's sign that keys may be pressed.
    void closeSession()
    {
        const std::lock_guard lock(m_mutex);
        tellOfClosed(m_session);
        m_session.clear();
    }
    void closeAnotherSession()
    {
        const std::lock_guard lock(m_mutex);
        tellOfClosed(m_session + "0");
    }

    QString introspect(const QString&) const override { return {}; }

    bool handleMessage(const QDBusMessage& message, const QDBusConnection&) override
    {
        const std::lock_guard lock(m_mutex);
        const std::string method = toUtf8(message.member());
        if (method == "Answer") {
            m_connection.send(message.createReply());
            return true;
        }
        note(message, method);
        if (m_behaviour.ignored.count(method) != 0) {
            message.setDelayedReply(true);
        } else if (m_behaviour.failing.count(method) != 0) {
            refuse(message, "org.freedesktop.portal.Error.Failed");
        } else if (method == "NotifyKeyboardKeysym") {
            pressKey(message);
        } else if (method == "CreateSession") {
            createSession(message);
        } else if (method == "SelectDevices") {
            selectDevices(message);
        } else if (method == "Start") {
            start(message);
        } else if (method == "Close") {
            m_session = message.path() == m_session ? QString() : m_session;
        } else if (method == "Get") {
            getVersion(message);
        }
        return true;
    }

private:
    static constexpr auto object = "/org/freedesktop/portal/desktop";

    struct Request {
        QString path;
        QString client;
    };

    static QString unusedName()
    {
        static int count = 0;
        return QString("remote-desktop-portal/%1").arg(++count);
    }

    void note(const QDBusMessage& message, const std::string& method)
    {
        const QVariantList arguments = message.arguments();
        if (method == "NotifyKeyboardKeysym") {
            m_calls.push_back((arguments.value(3).toUInt() == 1 ? "+" : "-")
                              + std::to_string(arguments.value(2).toInt()));
        } else {
            m_calls.push_back(method == "Close" ? "Close " + toUtf8(message.interface()) : method);
        }
        if (!arguments.isEmpty()) {
            m_options[method] = qdbus_cast<QVariantMap>(arguments.last());
        }
        if (method == "Register") {
            m_registeredName = toUtf8(arguments.value(0).toString());
        }
    }

    void refuse(const QDBusMessage& message, const QString& error)
    {
        m_connection.send(message.createErrorReply(error, "not today"));
    }

    bool isOfSession(const QDBusMessage& message) const
    {
        return !m_session.isEmpty()
            && message.arguments().value(0).value<QDBusObjectPath>().path() == m_session;
    }

    /// Answers the call, and the request too when there is something to say already.
    Request take(const QDBusMessage& message, std::optional<Response> response, const QVariantMap& results)
    {
        QString sender = message.service().mid(1);
        sender.replace('.', '_');
        const QString token = qdbus_cast<QVariantMap>(message.arguments().last())["handle_token"].toString();
        QString path = QString("%1/request/%2/%3").arg(object, sender, token);
        if (m_behaviour.requests != Requests::predicted) {
            path = QString("%1/request/%2").arg(object).arg(++m_requestCount);
        }
        const Request request{path, message.service()};
        const auto reply = message.createReply(QVariant::fromValue(QDBusObjectPath(path)));
        if (m_behaviour.requests != Requests::elsewhereAndAnsweredFirst) {
            m_connection.send(reply);
        }
        if (response && m_behaviour.unfinished.count(toUtf8(message.member())) == 0) {
            respond(request, *response, results);
        }
        if (m_behaviour.requests == Requests::elsewhereAndAnsweredFirst) {
            m_connection.send(reply);
        }
        return request;
    }

    void respond(const Request& request, Response response, const QVariantMap& results)
    {
        auto signal = QDBusMessage::createTargetedSignal(request.client, request.path,
                                                         "org.freedesktop.portal.Request", "Response");
        signal << static_cast<unsigned int>(response) << results;
        m_connection.send(signal);
    }

    void createSession(const QDBusMessage& message)
    {
        m_client = message.service();
        m_session = QString("%1/session/%2").arg(object).arg(++m_sessionCount);
        take(message, Response::granted, {{"session_handle", m_session}});
    }

    void selectDevices(const QDBusMessage& message)
    {
        const auto options = qdbus_cast<QVariantMap>(message.arguments().last());
        m_sentToken = toUtf8(options.value("restore_token").toString());
        if (!isOfSession(message)) {
            refuse(message, "org.freedesktop.DBus.Error.AccessDenied");
        } else if (isTokenStrange() && m_behaviour.strangeTokens == StrangeTokens::reject) {
            refuse(message, "org.freedesktop.portal.Error.InvalidArgument");
        } else {
            take(message, Response::granted, {});
        }
    }

    bool isTokenStrange() const { return !m_sentToken.empty() && m_tokens.count(m_sentToken) == 0; }

    void start(const QDBusMessage& message)
    {
        if (!isOfSession(message)) {
            refuse(message, "org.freedesktop.DBus.Error.AccessDenied");
        } else if (m_tokens.erase(m_sentToken) != 0) {
            take(message, Response::granted, startResults());
        } else if (isTokenStrange() && m_behaviour.strangeTokens == StrangeTokens::endTheRequest) {
            take(message, Response::ended, {});
        } else {
            m_dialog = take(message, std::nullopt, {});
        }
    }

    QVariantMap startResults()
    {
        QVariantMap results{{"devices", m_behaviour.devices}};
        if (m_behaviour.givesTokens) {
            const std::string token = "token " + std::to_string(++m_tokenCount);
            m_tokens.insert(token);
            results["restore_token"] = toQString(token);
        }
        return results;
    }

    void respondToStart(const Request& request, Response response)
    {
        respond(request, response, response == Response::granted ? startResults() : QVariantMap());
    }

    void tellOfClosed(const QString& session)
    {
        auto signal =
            QDBusMessage::createTargetedSignal(m_client, session, "org.freedesktop.portal.Session", "Closed");
        signal << QVariantMap();
        m_connection.send(signal);
    }

    void pressKey(const QDBusMessage& message)
    {
        if (!isOfSession(message)) {
            refuse(message, "org.freedesktop.DBus.Error.AccessDenied");
        } else if (m_behaviour.failingSymbols.count(message.arguments().value(2).toInt()) != 0) {
            refuse(message, "org.freedesktop.portal.Error.Failed");
        } else {
            m_connection.send(message.createReply());
        }
    }

    void getVersion(const QDBusMessage& message)
    {
        if (message.path() == m_session) {
            m_connection.send(message.createReply(QVariant::fromValue(QDBusVariant(2U))));
        } else {
            refuse(message, "org.freedesktop.DBus.Error.UnknownObject");
        }
    }

    mutable std::mutex m_mutex;
    Behaviour m_behaviour;
    std::set<std::string> m_tokens;
    std::vector<std::string> m_calls;
    std::map<std::string, QVariantMap> m_options;
    std::string m_registeredName;
    std::string m_sentToken;
    QString m_client;
    QString m_session;
    std::optional<Request> m_dialog;
    int m_requestCount = 0;
    int m_sessionCount = 0;
    int m_tokenCount = 0;
    QThread m_thread;
    QDBusConnection m_connection;
};

} // namespace glimmerwick::contract
