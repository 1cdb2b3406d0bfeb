#include "Platform/DBus/DesktopFileViewer.h"

#include "Platform/DBus/SessionBus.h"
#include "Platform/Linux/DefaultApplication.h"
#include "Platform/Qt/Text.h"

#include <QDBusError>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QFile>
#include <QStringList>
#include <QUrl>

#include <string>
#include <system_error>
#include <utility>

namespace glimmerwick {

namespace {

constexpr const char* folderType = "inode/directory";

/// Starts the file manager when it does not run.
QDBusMessage showFolders(const std::filesystem::path& folder)
{
    auto message = QDBusMessage::createMethodCall(
        QStringLiteral("org.freedesktop.FileManager1"), QStringLiteral("/org/freedesktop/FileManager1"),
        QStringLiteral("org.freedesktop.FileManager1"), QStringLiteral("ShowFolders"));
    const QUrl url = QUrl::fromLocalFile(QFile::decodeName(folder.c_str()));
    const QString noStartupIdentifier = QStringLiteral("");
    message << QStringList{url.toString(QUrl::FullyEncoded)} << noStartupIdentifier;
    return message;
}

/// Whether the folder may still be shown by the one that was asked.
bool isUndecided(const QDBusError& error)
{
    return error.type() == QDBusError::NoReply || error.type() == QDBusError::Timeout
        || error.type() == QDBusError::TimedOut;
}

} // namespace

DesktopFileViewer::DesktopFileViewer(const SessionBus& bus, std::filesystem::path home,
                                     std::function<void(std::string_view)> reportProblem)
    : m_bus(bus), m_home(std::move(home)), m_reportProblem(std::move(reportProblem))
{
}

void DesktopFileViewer::openApplicationsFolder()
{
    std::error_code error;
    const auto applications = m_home / "Applications";
    show(std::filesystem::is_directory(applications, error) ? applications : m_home);
}

void DesktopFileViewer::show(const std::filesystem::path& folder)
{
    if (!m_bus.isConnected()) {
        showInDefaultApplication(folder);
        return;
    }
    auto* call = new QDBusPendingCallWatcher(m_bus.connection().asyncCall(showFolders(folder)), &m_pending);
    QObject::connect(call, &QDBusPendingCallWatcher::finished, &m_pending,
                     [this, folder](QDBusPendingCallWatcher* finished) {
                         finished->deleteLater();
                         if (!finished->isError()) {
                             return;
                         }
                         if (isUndecided(finished->error())) {
                             m_reportProblem("the file manager does not answer: "
                                             + toUtf8(finished->error().message()));
                         } else {
                             showInDefaultApplication(folder);
                         }
                     });
}

void DesktopFileViewer::showInDefaultApplication(const std::filesystem::path& folder)
{
    const auto opened = openInDefaultApplication(folder, folderType);
    if (!opened) {
        m_reportProblem("cannot show " + folder.string() + ": " + opened.error());
    }
}

} // namespace glimmerwick
