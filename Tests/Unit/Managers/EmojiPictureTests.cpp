#include "Managers/EmojiDataManager.h"

#include "Fakes/FakePlatform.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace glimmerwick {
namespace {

using Error = EmojiDataManager::ImageDownloadError;
using Outcome = Result<std::filesystem::path, Error>;

const std::filesystem::path imagesDirectory = "/home/user/.cache/Glimmerwick/emojis";
const std::string pictureBytes("PNG\0\xff picture", 13);

Emoji emojiWith(std::string codepoint, std::string text = "😀")
{
    Emoji emoji;
    emoji.codepoint = std::move(codepoint);
    emoji.char_ = std::move(text);
    return emoji;
}

class EmojiPictureTests : public testing::Test {
protected:
    std::optional<Outcome> run(Task<Outcome> task)
    {
        std::optional<Outcome> outcome;
        task.start([&](Outcome value) { outcome = std::move(value); });
        fakes.time.runUntilIdle();
        return outcome;
    }

    void answerWith(std::optional<int> statusCode, const std::string& body)
    {
        fakes.httpClient.respond = [=](const HttpRequest&) { return HttpResponse{statusCode, body}; };
    }

    std::size_t requestCount() const { return fakes.httpClient.exchanges.size(); }

    fakes::FakePlatform fakes;
    EmojiDataManager manager{fakes.process, fakes.log,        fakes.fileSystem, fakes.fileClock,
                             fakes.time,    fakes.httpClient, fakes.textLayout, fakes.imageCodec};
};

// Native support

using NativeSupportTests = EmojiPictureTests;

TEST_F(NativeSupportTests, IsThereForOneCharacterDrawnAsOneGlyph)
{
    fakes.textLayout.runs["😀"] = {{{17}}};

    EXPECT_TRUE(manager.isEmojiNativelySupported(emojiWith("1f600", "😀")));
}

TEST_F(NativeSupportTests, IsThereForTwoCharactersDrawnAsTwoGlyphs)
{
    fakes.textLayout.runs["😀😁"] = {{{17, 18}}};
    fakes.textLayout.runs["😁😀"] = {{{18}}, {{17}}};

    EXPECT_TRUE(manager.isEmojiNativelySupported(emojiWith("1f600-1f601", "😀😁")));
    EXPECT_TRUE(manager.isEmojiNativelySupported(emojiWith("1f601-1f600", "😁😀")));
}

TEST_F(NativeSupportTests, IsNotThereForASequenceThatFallsApart)
{
    fakes.textLayout.runs["👩‍💻"] = {{{17, 18}}};
    fakes.textLayout.runs["👩‍🔬"] = {{{17}}, {{18}}};

    EXPECT_FALSE(manager.isEmojiNativelySupported(emojiWith("1f469-200d-1f4bb", "👩‍💻")));
    EXPECT_FALSE(manager.isEmojiNativelySupported(emojiWith("1f469-200d-1f52c", "👩‍🔬")));
}

TEST_F(NativeSupportTests, IsNotThereForAMissingGlyphWhateverTheCounts)
{
    fakes.textLayout.runs["😀"] = {{{0}}};
    fakes.textLayout.runs["😀😁"] = {{{17}}, {{0}}};

    EXPECT_FALSE(manager.isEmojiNativelySupported(emojiWith("1f600", "😀")));
    EXPECT_FALSE(manager.isEmojiNativelySupported(emojiWith("1f600-1f601", "😀😁")));
}

TEST_F(NativeSupportTests, IsNotThereWhenTheGlyphsAreFewerThanTheCharacters)
{
    fakes.textLayout.runs["😀😁"] = {{{17}}};
    fakes.textLayout.runs["😁"] = {{{}}};

    EXPECT_FALSE(manager.isEmojiNativelySupported(emojiWith("1f600-1f601", "😀😁")));
    EXPECT_FALSE(manager.isEmojiNativelySupported(emojiWith("1f601", "😁")));
}

TEST_F(NativeSupportTests, IsNotThereForTheEmptyText)
{
    EXPECT_FALSE(manager.isEmojiNativelySupported(emojiWith("1f600", "")));
}

TEST_F(NativeSupportTests, IsNotThereWithoutAnEmojiFontAndThatAnswerIsKept)
{
    fakes.textLayout.hasFont = false;
    EXPECT_FALSE(manager.isEmojiNativelySupported(emojiWith("1f600")));

    fakes.textLayout.hasFont = true;

    EXPECT_FALSE(manager.isEmojiNativelySupported(emojiWith("1f600")));
    EXPECT_EQ(fakes.textLayout.layOutCount, 1);
}

TEST_F(NativeSupportTests, IsThereForNoEmojiWithoutAFontAndTheLogSaysWhyOnce)
{
    const std::string line = "No colour emoji font was found, so every emoji needs a picture. One is in the "
                             "package fonts-noto-color-emoji.";
    EXPECT_FALSE(fakes.log.contains(line));

    fakes.textLayout.hasFont = false;
    EXPECT_FALSE(manager.isEmojiNativelySupported(emojiWith("1f600", "😀")));
    EXPECT_FALSE(manager.isEmojiNativelySupported(emojiWith("1f601", "😁")));

    EXPECT_EQ(std::count(fakes.log.lines.begin(), fakes.log.lines.end(), line), 1);
}

TEST_F(NativeSupportTests, IsFoundOncePerCodepoint)
{
    for (int round = 0; round < 3; ++round) {
        EXPECT_TRUE(manager.isEmojiNativelySupported(emojiWith("1f600", "😀")));
        EXPECT_TRUE(manager.isEmojiNativelySupported(emojiWith("1f601", "😁")));
    }

    EXPECT_EQ(fakes.textLayout.layOutCount, 2);
}

/// Notes the size asked for; may be called by several threads.
class SharedTextLayout : public TextLayout {
public:
    std::optional<std::vector<GlyphRun>> layOut(std::string_view, double pointSize) override
    {
        const std::lock_guard lock(m_lock);
        pointSizes.push_back(pointSize);
        return std::vector<GlyphRun>{{{1}}};
    }

    std::vector<double> pointSizes;

private:
    std::mutex m_lock;
};

class NativeSupportLayoutTests : public testing::Test {
protected:
    fakes::FakePlatform fakes;
    SharedTextLayout layout;
    EmojiDataManager manager{fakes.process, fakes.log,        fakes.fileSystem, fakes.fileClock,
                             fakes.time,    fakes.httpClient, layout,           fakes.imageCodec};
};

TEST_F(NativeSupportLayoutTests, IsProbedAtSixteenPoints)
{
    manager.isEmojiNativelySupported(emojiWith("1f600"));

    EXPECT_EQ(layout.pointSizes, std::vector<double>{16});
}

TEST_F(NativeSupportLayoutTests, MayBeAskedForFromAnyThread)
{
    constexpr int threadCount = 4;
    constexpr int emojiCount = 50;
    std::atomic<int> unsupported{0};
    std::vector<std::thread> threads;
    for (int thread = 0; thread < threadCount; ++thread) {
        threads.emplace_back([&] {
            for (int index = 0; index < 10 * emojiCount; ++index) {
                if (!manager.isEmojiNativelySupported(emojiWith(std::to_string(index % emojiCount)))) {
                    ++unsupported;
                }
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }

    EXPECT_EQ(unsupported, 0);
    EXPECT_GE(layout.pointSizes.size(), static_cast<std::size_t>(emojiCount));
    EXPECT_LE(layout.pointSizes.size(), static_cast<std::size_t>(emojiCount * threadCount));
}

// Where pictures are

TEST_F(EmojiPictureTests, AreAtTheContentServerUnderTheirCodepointString)
{
    EXPECT_EQ(manager.imageURL("1f469-200d-1f4bb"),
              "https://content.example.invalid/emojis/1f469-200d-1f4bb.png");
}

TEST_F(EmojiPictureTests, KeepTheirPlaceAtTheContentServerWhateverTheCodepointString)
{
    EXPECT_EQ(manager.imageURL("../secret?a"), "https://content.example.invalid/emojis/..%2Fsecret%3Fa.png");
}

TEST_F(EmojiPictureTests, AreFoundInTheCacheWhenAFileExists)
{
    fakes.fileSystem.files[imagesDirectory / "1f600.png"] = {"anything", std::nullopt};

    EXPECT_EQ(manager.cachedImagePathIfExists(emojiWith("1f600")), imagesDirectory / "1f600.png");
    EXPECT_EQ(manager.cachedImagePathIfExists(emojiWith("1f601")), std::nullopt);
}

// Downloading

TEST_F(EmojiPictureTests, AreDownloadedByAPlainRequestWithASizeLimit)
{
    answerWith(200, pictureBytes);

    run(manager.downloadImage("1f600"));

    ASSERT_EQ(requestCount(), 1U);
    const HttpRequest& request = fakes.httpClient.exchanges[0]->request;
    EXPECT_EQ(request.url, "https://content.example.invalid/emojis/1f600.png");
    EXPECT_TRUE(request.headers.empty());
    EXPECT_EQ(request.timeout, std::nullopt);
    EXPECT_EQ(request.maximumBodySize, 16U * 1024 * 1024);
}

TEST_F(EmojiPictureTests, AreStoredByteForByte)
{
    answerWith(200, pictureBytes);

    const auto outcome = run(manager.downloadImage("1f600"));

    ASSERT_TRUE(outcome && *outcome);
    EXPECT_EQ(outcome->value(), imagesDirectory / "1f600.png");
    EXPECT_EQ(fakes.fileSystem.files.at(imagesDirectory / "1f600.png").bytes, pictureBytes);
    EXPECT_EQ(manager.cachedImagePathIfExists(emojiWith("1f600")), imagesDirectory / "1f600.png");
}

TEST_F(EmojiPictureTests, AreNotDownloadedAgainWhenOnlyNeeded)
{
    fakes.fileSystem.files[imagesDirectory / "1f600.png"] = {"left by a partial write", std::nullopt};

    const auto outcome = run(manager.downloadImageIfNeeded("1f600"));

    ASSERT_TRUE(outcome && *outcome);
    EXPECT_EQ(outcome->value(), imagesDirectory / "1f600.png");
    EXPECT_EQ(requestCount(), 0U);
    EXPECT_EQ(fakes.fileSystem.files.at(imagesDirectory / "1f600.png").bytes, "left by a partial write");
}

TEST_F(EmojiPictureTests, AreDownloadedWhenNeededAndMissing)
{
    answerWith(200, pictureBytes);

    const auto outcome = run(manager.downloadImageIfNeeded("1f600"));

    ASSERT_TRUE(outcome && *outcome);
    EXPECT_EQ(requestCount(), 1U);
    EXPECT_EQ(fakes.fileSystem.files.at(imagesDirectory / "1f600.png").bytes, pictureBytes);
}

TEST_F(EmojiPictureTests, AreDownloadedUnconditionallyOnDemandAndReplaced)
{
    fakes.fileSystem.files[imagesDirectory / "1f600.png"] = {"old", std::nullopt};
    answerWith(200, pictureBytes);

    run(manager.downloadImage("1f600"));

    EXPECT_EQ(requestCount(), 1U);
    EXPECT_EQ(fakes.fileSystem.files.at(imagesDirectory / "1f600.png").bytes, pictureBytes);
}

TEST_F(EmojiPictureTests, MayBeDownloadedSeveralAtATimeAndTheLaterWriteWins)
{
    auto first = manager.downloadImage("1f600");
    auto second = manager.downloadImage("1f600");
    first.start();
    second.start();
    ASSERT_EQ(requestCount(), 2U);

    fakes.httpClient.answer(1, 200, "PNG second");
    fakes.httpClient.answer(0, 200, "PNG first");
    fakes.time.runUntilIdle();

    EXPECT_EQ(fakes.fileSystem.files.at(imagesDirectory / "1f600.png").bytes, "PNG first");
}

TEST_F(EmojiPictureTests, AreDownloadedSixAtATimeInTheOrderOfTheCalls)
{
    std::vector<Task<Outcome>> tasks;
    for (int index = 0; index < 9; ++index) {
        tasks.push_back(manager.downloadImageIfNeeded("1f60" + std::to_string(index)));
        tasks.back().start();
    }
    EXPECT_EQ(requestCount(), 6U);

    fakes.httpClient.answer(3, 200, pictureBytes);
    fakes.time.runUntilIdle();
    ASSERT_EQ(requestCount(), 7U);
    EXPECT_EQ(fakes.httpClient.exchanges[6]->request.url, manager.imageURL("1f606"));

    fakes.httpClient.answer(0, 404, "");
    tasks[7].cancel();
    fakes.time.runUntilIdle();
    ASSERT_EQ(requestCount(), 8U);
    EXPECT_EQ(fakes.httpClient.exchanges[7]->request.url, manager.imageURL("1f608"));
}

TEST_F(EmojiPictureTests, MakeRoomForOthersWhenTheirDownloadIsDestroyed)
{
    std::vector<Task<Outcome>> tasks;
    for (int index = 0; index < 8; ++index) {
        tasks.push_back(manager.downloadImage("1f60" + std::to_string(index)));
        tasks.back().start();
    }

    tasks[1].cancel();
    tasks[2].cancel();
    fakes.time.runUntilIdle();

    EXPECT_EQ(requestCount(), 8U);
    EXPECT_TRUE(fakes.httpClient.exchanges[1]->cancelled);
}

TEST_F(EmojiPictureTests, AreNotDownloadedWhenTheirFileCameWhileTheyWaited)
{
    std::vector<Task<Outcome>> tasks;
    for (int index = 0; index < 6; ++index) {
        tasks.push_back(manager.downloadImageIfNeeded("1f60" + std::to_string(index)));
        tasks.back().start();
    }
    auto again = manager.downloadImageIfNeeded("1f600");
    std::optional<Outcome> outcome;
    again.start([&](Outcome value) { outcome = std::move(value); });

    fakes.httpClient.answer(0, 200, pictureBytes);
    fakes.time.runUntilIdle();

    ASSERT_TRUE(outcome && *outcome);
    EXPECT_EQ(outcome->value(), imagesDirectory / "1f600.png");
    EXPECT_EQ(requestCount(), 6U);
}

TEST_F(EmojiPictureTests, AreNotStoredByADestroyedDownload)
{
    auto task = manager.downloadImageIfNeeded("1f600");
    task.start();
    fakes.httpClient.answer(0, 200, pictureBytes);

    task.cancel();
    fakes.time.runUntilIdle();

    EXPECT_TRUE(fakes.httpClient.exchanges[0]->cancelled);
    EXPECT_TRUE(fakes.fileSystem.files.empty());
}

struct FailingPicture {
    std::string name;
    std::optional<int> statusCode;
    std::string body;
    Error::Kind kind;
    std::string description;
};

class FailingPictureTests : public EmojiPictureTests, public testing::WithParamInterface<FailingPicture> { };

TEST_P(FailingPictureTests, FailAndLeaveNoFile)
{
    answerWith(GetParam().statusCode, GetParam().body);

    const auto outcome = run(manager.downloadImageIfNeeded("1f600"));

    ASSERT_TRUE(outcome && !*outcome);
    EXPECT_EQ(outcome->error().kind, GetParam().kind);
    EXPECT_EQ(outcome->error().errorDescription(), GetParam().description);
    EXPECT_TRUE(fakes.fileSystem.files.empty());

    answerWith(200, pictureBytes);
    EXPECT_TRUE(run(manager.downloadImageIfNeeded("1f600")).value());
    EXPECT_EQ(requestCount(), 2U);
}

INSTANTIATE_TEST_SUITE_P(
    Answers, FailingPictureTests,
    testing::Values(
        FailingPicture{"Status204", 204, "", Error::Kind::httpError, "HTTP error: status code 204"},
        FailingPicture{"Status304", 304, "", Error::Kind::httpError, "HTTP error: status code 304"},
        FailingPicture{"Status404", 404, pictureBytes, Error::Kind::httpError, "HTTP error: status code 404"},
        FailingPicture{"Status500", 500, "", Error::Kind::httpError, "HTTP error: status code 500"},
        FailingPicture{"NoHttp", std::nullopt, pictureBytes, Error::Kind::noData,
                       "No data received from server"},
        FailingPicture{"EmptyBody", 200, "", Error::Kind::noData, "No data received from server"},
        FailingPicture{"Html", 200, "<html></html>", Error::Kind::invalidImage,
                       "Downloaded data is not a valid image"}),
    [](const auto& answer) { return answer.param.name; });

TEST_F(EmojiPictureTests, FailWithTheTransportError)
{
    fakes.httpClient.respond = [](const HttpRequest&) {
        return Result<HttpResponse, TransportError>(Failure{TransportError{"no route"}});
    };

    const auto outcome = run(manager.downloadImage("1f600"));

    ASSERT_TRUE(outcome && !*outcome);
    EXPECT_EQ(outcome->error().kind, Error::Kind::networkError);
    EXPECT_EQ(outcome->error().errorDescription(), "Network error: no route");
}

TEST_F(EmojiPictureTests, FailWhenTheyCannotBeStored)
{
    const auto path = imagesDirectory / "1f600.png";
    fakes.fileSystem.unwritable = {path};
    answerWith(200, pictureBytes);

    const auto outcome = run(manager.downloadImage("1f600"));

    ASSERT_TRUE(outcome && !*outcome);
    EXPECT_EQ(outcome->error().kind, Error::Kind::saveFailed);
    EXPECT_EQ(outcome->error().errorDescription(), "Failed to save image: cannot write " + path.string());
}

TEST_F(EmojiPictureTests, AreNotTakenFromBehindASymbolicLink)
{
    fakes.fileSystem.files[imagesDirectory / "1f600.png"] = {"elsewhere", std::nullopt};
    fakes.fileSystem.links = {imagesDirectory / "1f600.png"};
    answerWith(200, pictureBytes);

    EXPECT_EQ(manager.cachedImagePathIfExists(emojiWith("1f600")), std::nullopt);
    const auto outcome = run(manager.downloadImageIfNeeded("1f600"));

    ASSERT_TRUE(outcome && !*outcome);
    EXPECT_EQ(outcome->error().kind, Error::Kind::saveFailed);
    EXPECT_EQ(fakes.fileSystem.files.at(imagesDirectory / "1f600.png").bytes, "elsewhere");
}

TEST_F(EmojiPictureTests, AreNeitherTakenFromNorStoredInAFolderBehindASymbolicLink)
{
    fakes.fileSystem.files[imagesDirectory / "1f600.png"] = {"elsewhere", std::nullopt};
    fakes.fileSystem.links = {imagesDirectory};
    answerWith(200, pictureBytes);

    EXPECT_EQ(manager.cachedImagePathIfExists(emojiWith("1f600")), std::nullopt);
    EXPECT_EQ(run(manager.downloadImage("1f601"))->error().kind, Error::Kind::saveFailed);
    EXPECT_EQ(fakes.fileSystem.files.count(imagesDirectory / "1f601.png"), 0U);
}

class UnusableCodepointTests : public EmojiPictureTests, public testing::WithParamInterface<std::string> { };

TEST_P(UnusableCodepointTests, NeverReachTheNetworkOrTheFileSystem)
{
    const int accessesBefore = fakes.fileSystem.accessCount;

    const auto downloaded = run(manager.downloadImage(GetParam()));
    const auto downloadedIfNeeded = run(manager.downloadImageIfNeeded(GetParam()));
    const auto cached = manager.cachedImagePathIfExists(emojiWith(GetParam()));

    ASSERT_TRUE(downloaded && !*downloaded);
    EXPECT_EQ(downloaded->error().kind, Error::Kind::invalidImage);
    ASSERT_TRUE(downloadedIfNeeded && !*downloadedIfNeeded);
    EXPECT_EQ(downloadedIfNeeded->error().kind, Error::Kind::invalidImage);
    EXPECT_EQ(cached, std::nullopt);
    EXPECT_EQ(requestCount(), 0U);
    EXPECT_EQ(fakes.fileSystem.accessCount, accessesBefore);
}

INSTANTIATE_TEST_SUITE_P(Strings, UnusableCodepointTests,
                         testing::Values("", "..", "../1f600", "/etc/passwd", "1f600/..", "1f600.png",
                                         "1f600 ", "zz", "+1f600", "1f600\n", std::string("1f600\0", 6),
                                         "1f600?x", "%2e%2e", "😀", "../../x", "a/b", ".",
                                         std::string(1, '\0'), std::string(252, 'a'),
                                         std::string(4000, 'a')));

TEST_F(EmojiPictureTests, MayHaveTheLongestNameAFileCanHave)
{
    answerWith(200, pictureBytes);

    EXPECT_TRUE(run(manager.downloadImage(std::string(251, 'a'))).value());
}

TEST(ImageDownloadError, DescribesItself)
{
    EXPECT_EQ((Error{Error::Kind::networkError, 0, "a"}).errorDescription(), "Network error: a");
    EXPECT_EQ((Error{Error::Kind::httpError, 404, {}}).errorDescription(), "HTTP error: status code 404");
    EXPECT_EQ((Error{Error::Kind::saveFailed, 0, "b"}).errorDescription(), "Failed to save image: b");
    EXPECT_EQ((Error{Error::Kind::noData, 0, {}}).errorDescription(), "No data received from server");
    EXPECT_EQ((Error{Error::Kind::invalidImage, 0, {}}).errorDescription(),
              "Downloaded data is not a valid image");
}

} // namespace
} // namespace glimmerwick
