#include "Platform/DBus/DesktopFileViewer.h"

#include "Contract/EventLoop.h"
#include "Contract/RecordingApplication.h"
#include "Contract/TemporaryFolder.h"
#include "Platform/DBus/SessionBus.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QDBusConnection>
#include <QDBusError>
#include <QDBusMessage>
#include <QDBusVirtualObject>
#include <QStringList>

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace glimmerwick::contract {
namespace {

using std::filesystem::path;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

const QString fileManager = "org.freedesktop.FileManager1";

/// A file manager, a program of its own on the bus.
class FileManager : public QDBusVirtualObject {
public:
    FileManager() : m_connection(QDBusConnection::connectToBus(QDBusConnection::SessionBus, connectionName))
    {
        EXPECT_TRUE(m_connection.registerVirtualObject("/org/freedesktop/FileManager1", this));
        EXPECT_TRUE(m_connection.registerService(fileManager));
    }
    ~FileManager() override { QDBusConnection::disconnectFromBus(connectionName); }

    QString introspect(const QString&) const override { return {}; }

    bool handleMessage(const QDBusMessage& message, const QDBusConnection& connection) override
    {
        if (message.interface() != fileManager || message.member() != "ShowFolders"
            || message.signature() != "ass") {
            return false;
        }
        shown.push_back(message.arguments().value(0).toStringList().join(' ').toStdString());
        connection.send(error ? message.createErrorReply(*error, "No.") : message.createReply());
        return true;
    }

    std::vector<std::string> shown;
    /// Its answer to everything.
    std::optional<QDBusError::ErrorType> error;

private:
    static constexpr const char* connectionName = "file manager";
    QDBusConnection m_connection;
};

class DesktopFileViewerTests : public ::testing::Test {
protected:
    DesktopFileViewerTests() { std::filesystem::create_directories(home); }

    TemporaryFolder folder;
    path home = folder.path() / "ho me";
    SessionBus bus;
    FileManager manager;
    std::vector<std::string> problems;
    DesktopFileViewer viewer{bus, home, [this](std::string_view problem) { problems.emplace_back(problem); }};
};

TEST_F(DesktopFileViewerTests, theApplicationsFolderIsShownByTheFileManager)
{
    std::filesystem::create_directory(home / "Applications");

    viewer.openApplicationsFolder();

    ASSERT_TRUE(handleEventsUntil([&] { return !manager.shown.empty(); }));
    EXPECT_THAT(manager.shown, ElementsAre("file://" + folder.path().string() + "/ho%20me/Applications"));
    EXPECT_THAT(problems, IsEmpty());
}

TEST_F(DesktopFileViewerTests, theHomeFolderIsShownWhereThereIsNoApplicationsFolder)
{
    writeFile(home / "Applications", "a file");

    viewer.openApplicationsFolder();

    ASSERT_TRUE(handleEventsUntil([&] { return !manager.shown.empty(); }));
    EXPECT_THAT(manager.shown, ElementsAre("file://" + folder.path().string() + "/ho%20me"));
}

TEST_F(DesktopFileViewerTests, withoutAFileManagerOnTheBusTheApplicationForFoldersShowsIt)
{
    const RecordingApplication application("inode/directory");
    // What the bus itself answers when nobody has the name.
    manager.error = QDBusError::ServiceUnknown;
    std::size_t asked = 0;

    EXPECT_TRUE(handleEventsUntil([&] {
        // Again while the application, which has been set up just now, is not known yet.
        if (problems.size() == asked) {
            viewer.openApplicationsFolder();
            ++asked;
        }
        return application.record() == home.string() + "\n";
    })) << application.record();
}

TEST_F(DesktopFileViewerTests, whereNothingShowsFoldersOneLineSaysSo)
{
    manager.error = QDBusError::ServiceUnknown;
    const std::string line =
        "cannot show " + home.string() + ": no application is set up to open inode/directory";

    std::size_t asked = 0;
    ASSERT_TRUE(handleEventsUntil([&] {
        // Again while the application of an earlier test, which has just gone, is still known.
        if (manager.shown.size() == asked) {
            viewer.openApplicationsFolder();
            ++asked;
        }
        return !problems.empty();
    }));

    EXPECT_EQ(problems.front(), line);
}

TEST_F(DesktopFileViewerTests, aFileManagerThatMayStillShowItIsNotFollowedByAnother)
{
    const RecordingApplication application("inode/directory");
    manager.error = QDBusError::NoReply;

    viewer.openApplicationsFolder();

    ASSERT_TRUE(handleEventsUntil([&] { return !problems.empty(); }));
    EXPECT_THAT(problems, ElementsAre("the file manager does not answer: No."));
    EXPECT_EQ(application.record(), "");
}

} // namespace
} // namespace glimmerwick::contract
