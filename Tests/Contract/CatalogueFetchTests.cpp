#include "Contract/EventLoop.h"
#include "Contract/TemporaryFolder.h"
#include "Contract/TestServer.h"
#include "Fakes/FakeServices.h"
#include "Managers/EmojiDataManager.h"
#include "Platform/HarfBuzz/HarfBuzzTextLayout.h"
#include "Platform/HttpProcess/ProcessHttpClient.h"
#include "Platform/Linux/Files.h"
#include "Platform/Linux/SystemClocks.h"
#include "Platform/Qt/QtImageCodec.h"
#include "Platform/Qt/QtMainQueue.h"

#include <QBuffer>
#include <QImage>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <memory>
#include <optional>
#include <string>

namespace glimmerwick::contract {
namespace {

using std::filesystem::path;
using ::testing::HasSubstr;
using ::testing::StartsWith;

/// The catalogue's way from a real server to the cache and back, over the services that the program runs on.
class CatalogueFetchTests : public ::testing::Test {
protected:
    using Fetched = Result<Success, EmojiDataManager::ManifestError>;

    CatalogueFetchTests()
    {
        std::filesystem::copy_file(path(GLIMMERWICK_SOURCE_DIR) / "Resources/catalogue/manifest.json",
                                   documents / "manifest.json",
                                   std::filesystem::copy_options::overwrite_existing);
    }

    std::unique_ptr<EmojiDataManager> makeManager(const std::string& contentAddress, const path& caches)
    {
        process.defaultContentAddress = contentAddress;
        process.cachesDirectory = caches;
        return std::make_unique<EmojiDataManager>(process, log, files, clock, queue, client, layout, codec);
    }

    Fetched fetch(EmojiDataManager& manager)
    {
        std::optional<Fetched> result;
        auto task = manager.fetchManifest(true);
        task.start([&](Fetched fetched) { result = std::move(fetched); });
        if (!handleEventsUntil([&] { return result.has_value(); })) {
            ADD_FAILURE() << "the fetch did not end";
            return Success{};
        }
        return std::move(*result);
    }

    static void stopSpareServer()
    {
        const pid_t server = std::stoi(fromRunner("GLIMMERWICK_TEST_SPARE_PROCESS"));
        ASSERT_EQ(::kill(server, SIGTERM), 0);
    }

    const path documents = fromRunner("GLIMMERWICK_TEST_DOCUMENTS");
    TemporaryFolder folder;
    const EnvironmentVariable trusted{"SSL_CERT_FILE", fromRunner("GLIMMERWICK_TEST_AUTHORITY")};
    Process process;
    fakes::FakeLog log;
    LocalFileSystem files;
    WallClock clock;
    QtMainQueue queue;
    ProcessHttpClient client{queue, {GLIMMERWICK_HTTP_PROGRAM, "Glimmerwick/test"}};
    HarfBuzzTextLayout layout;
    QtImageCodec codec{std::nullopt};
};

TEST_F(CatalogueFetchTests, theCatalogueComesOverTlsAndBrotliAndFromTheCacheOnceTheServerHasStopped)
{
    const std::string address = fromRunner("GLIMMERWICK_TEST_SPARE_HTTPS");
    const path caches = folder.path() / "caches";

    {
        const auto manager = makeManager(address, caches);
        const auto fetched = fetch(*manager);
        ASSERT_TRUE(fetched) << fetched.error().errorDescription();
        EXPECT_EQ(manager->manifest()->allEmojis().size(), 1914U);
    }
    EXPECT_TRUE(eventually([] {
        std::ifstream accessLog(fromRunner("GLIMMERWICK_TEST_SPARE_ACCESS_LOG"));
        std::string line;
        std::getline(accessLog, line);
        return line.rfind("/manifest.json|gzip, deflate, br|br|HTTP/2.0|", 0) == 0;
    }));

    stopSpareServer();
    ASSERT_TRUE(eventually([&] {
        bool isStopped = false;
        bool isAnswered = false;
        HttpRequest request;
        request.url = address;
        const Registration handle = client.get(request, [&](const auto& result) {
            isAnswered = true;
            isStopped = !result;
        });
        return handleEventsUntil([&] { return isAnswered; }) && isStopped;
    }));
    log.lines.clear();
    const auto manager = makeManager(address, caches);
    const auto fetched = fetch(*manager);

    ASSERT_TRUE(fetched);
    EXPECT_EQ(manager->loadingState().kind, EmojiDataManager::LoadingState::Kind::loaded);
    EXPECT_EQ(manager->manifest()->allEmojis().size(), 1914U);
    EXPECT_THAT(
        log.lines.back(),
        StartsWith("Network error, using cached manifest: Network error: Failed to connect to 127.0.0.1"));
}

TEST_F(CatalogueFetchTests, aServerWhoseCertificateNobodySignedIsNotBelieved)
{
    const auto manager = makeManager(fromRunner("GLIMMERWICK_TEST_UNSIGNED"), folder.path());

    const auto fetched = fetch(*manager);

    ASSERT_FALSE(fetched);
    EXPECT_EQ(fetched.error().kind, EmojiDataManager::ManifestError::Kind::networkError);
    EXPECT_THAT(manager->loadingState().message, HasSubstr("certificate"));
}

TEST_F(CatalogueFetchTests, anAddressThatIsNoHttpAddressGivesNoData)
{
    const auto manager = makeManager("file://" + documents.string(), folder.path());

    const auto fetched = fetch(*manager);

    ASSERT_FALSE(fetched);
    EXPECT_EQ(fetched.error().errorDescription(), "No data received from server");
}

TEST_F(CatalogueFetchTests, aHugeManifestIsRefusedAndTheCacheKept)
{
    ASSERT_TRUE(fetch(*makeManager(fromRunner("GLIMMERWICK_TEST_HTTPS"), folder.path())));
    constexpr std::uintmax_t huge = 200 * 1024 * 1024;
    std::filesystem::resize_file(documents / "manifest.json", huge);

    const auto manager = makeManager(fromRunner("GLIMMERWICK_TEST_HTTPS"), folder.path());

    ASSERT_TRUE(fetch(*manager));
    EXPECT_EQ(manager->manifest()->allEmojis().size(), 1914U);
    EXPECT_THAT(
        log.lines.back(),
        StartsWith("Network error, using cached manifest: Network error: The response is larger than"));
}

TEST_F(CatalogueFetchTests, aCacheFolderThatCannotBeMadeCostsOnlyTheCache)
{
    const path blocked = folder.path() / "blocked";
    ASSERT_TRUE(files.write(blocked, "a file where the folder should be"));

    const auto manager = makeManager(fromRunner("GLIMMERWICK_TEST_HTTPS"), blocked);

    ASSERT_TRUE(fetch(*manager));
    EXPECT_TRUE(manager->manifest());
    EXPECT_THAT(log.lines, ::testing::Contains(StartsWith("Failed to create cache directory: ")));
    EXPECT_THAT(log.lines.back(), StartsWith("Warning: Failed to cache manifest: cannot write "));
}

TEST_F(CatalogueFetchTests, aFallbackPictureIsStoredByteForByte)
{
    QBuffer picture;
    picture.open(QIODevice::WriteOnly);
    QImage image(16, 16, QImage::Format_ARGB32);
    image.fill(Qt::yellow);
    ASSERT_TRUE(image.save(&picture, "PNG"));
    const std::string bytes = picture.data().toStdString();
    std::filesystem::create_directories(documents / "emojis");
    ASSERT_TRUE(files.write(documents / "emojis" / "1fae9.png", bytes));
    const auto manager = makeManager(fromRunner("GLIMMERWICK_TEST_HTTPS"), folder.path());

    std::optional<path> stored;
    auto task = manager->downloadImage("1fae9");
    task.start([&](const auto& result) { stored = result ? result.value() : path(); });

    ASSERT_TRUE(handleEventsUntil([&] { return stored.has_value(); }));
    EXPECT_EQ(files.read(*stored).value(), bytes);
}

} // namespace
} // namespace glimmerwick::contract
