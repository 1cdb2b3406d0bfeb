#include "Unit/Managers/UpdateCheckerFixture.h"

#include "Managers/UpdatesSwitchedOff.h"

#include <functional>
#include <tuple>

namespace glimmerwick {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Pair;
using ::testing::SizeIs;

class UpdateCheckerTests : public UpdateCheckerFixture { };

TEST_F(UpdateCheckerTests, ARequestedCheckShowsItselfAtOnceAndAsksForTheFeed)
{
    checker->checkForUpdates();

    EXPECT_THAT(presenter.calls, ElementsAre("checking"));
    ASSERT_EQ(requestCount(), 1U);
    EXPECT_EQ(exchange().request.url, settings.feedAddress);
    EXPECT_EQ(exchange().request.maximumBodySize, 1024U * 1024);
    EXPECT_THAT(exchange().request.headers, ElementsAre(Pair("Cache-Control", "no-cache")));
}

TEST_F(UpdateCheckerTests, ANewerVersionIsOffered)
{
    checkOnRequest();

    EXPECT_THAT(presenter.calls, ElementsAre("checking", "offer 0.2.0"));
    EXPECT_EQ(presenter.offer->installedVersion, "0.1.0");
    EXPECT_EQ(presenter.offer->notes, "What is new");
    EXPECT_EQ(presenter.offer->downloadSize, package.size());
    EXPECT_EQ(presenter.attention, Attention::asked);
    EXPECT_THAT(lines, IsEmpty());
    EXPECT_EQ(requestCount(), 1U) << "nothing is downloaded before the user says so";
}

TEST_F(UpdateCheckerTests, TheReaderGetsWhatIsSignedAndTheFeedsAddress)
{
    checkOnRequest();

    EXPECT_THAT(reader.texts, ElementsAre("the feed\n"));
    EXPECT_THAT(reader.addresses, ElementsAre(settings.feedAddress));
}

TEST_F(UpdateCheckerTests, WithNothingNewerTheInstalledVersionIsUpToDate)
{
    for (const std::string version : {"0.1.0", "0.1", "0.0.9", "0.1.1-rc.1"}) {
        offer(version);
        checkOnRequest();
        EXPECT_THAT(newCalls(), ElementsAre("checking", "up to date 0.1.0")) << version;
    }
    EXPECT_THAT(lines, IsEmpty());
}

TEST_F(UpdateCheckerTests, AReleaseForNewerSystemsAloneIsNamed)
{
    reader.feed.items[0].minimumSystemVersion = ReleaseVersion::parse("2.40");

    checkOnRequest();

    EXPECT_THAT(presenter.calls,
                ElementsAre("checking",
                            "message: Glimmerwick 0.2.0 is out, but needs a newer system than this one."));
    EXPECT_THAT(lines, IsEmpty());
}

TEST_F(UpdateCheckerTests, AReleaseForAnotherArchitectureIsNone)
{
    enclosure().architecture = "arm64";

    checkOnRequest();

    EXPECT_THAT(presenter.calls, ElementsAre("checking", "up to date 0.1.0"));
}

TEST_F(UpdateCheckerTests, ASkippedVersionIsOfferedToWhoAsks)
{
    defaults.values["skippedUpdateVersion"] = std::string("0.2.0");

    checkOnRequest();

    EXPECT_THAT(presenter.calls, ElementsAre("checking", "offer 0.2.0"));
}

TEST_F(UpdateCheckerTests, ACancelledCheckEndsAndAnotherMayFollow)
{
    checker->checkForUpdates();

    presenter.cancel();

    EXPECT_TRUE(exchange().cancelled);
    EXPECT_THAT(newCalls(), ElementsAre("checking", "close"));
    answerWithFeed();
    EXPECT_THAT(newCalls(), IsEmpty());
    EXPECT_THAT(defaults.values, IsEmpty());

    checkOnRequest();
    EXPECT_THAT(newCalls(), ElementsAre("checking", "offer 0.2.0"));
}

TEST_F(UpdateCheckerTests, AFurtherRequestRaisesTheWindowAndAsksNobody)
{
    checker->checkForUpdates();
    checker->checkForUpdates();
    EXPECT_THAT(newCalls(), ElementsAre("checking", "raise"));

    answerWithFeed();
    checker->checkForUpdates();
    EXPECT_THAT(newCalls(), ElementsAre("offer 0.2.0", "raise"));
    EXPECT_EQ(requestCount(), 1U);

    presenter.answer(UpdateAnswer::download);
    checker->checkForUpdates();
    EXPECT_THAT(newCalls(), ElementsAre("downloading 0.2.0", "raise"));
    EXPECT_EQ(requestCount(), 2U);
}

TEST_F(UpdateCheckerTests, AfterAnAnswerOrAnEndARequestChecksAnew)
{
    checkOnRequest();
    presenter.answer(UpdateAnswer::later);
    checker->checkForUpdates();
    EXPECT_EQ(requestCount(), 2U);

    answer(500, "");
    checker->checkForUpdates();
    EXPECT_EQ(requestCount(), 3U);
}

TEST_F(UpdateCheckerTests, LaterStoresNothingAboutTheVersion)
{
    checkOnRequest();

    presenter.answer(UpdateAnswer::later);

    EXPECT_EQ(setting("skippedUpdateVersion"), "none");
    EXPECT_EQ(presenter.calls.back(), "close");
    EXPECT_EQ(requestCount(), 1U);
}

TEST_F(UpdateCheckerTests, SkippingIsStored)
{
    checkOnRequest();

    presenter.answer(UpdateAnswer::skipThisVersion);

    EXPECT_EQ(setting("skippedUpdateVersion"), "0.2.0");
    EXPECT_EQ(presenter.calls.back(), "close");
    EXPECT_EQ(requestCount(), 1U);
}

TEST_F(UpdateCheckerTests, TheGreatestSerialIsStoredAndAnOlderOneRefused)
{
    checkOnRequest();
    EXPECT_EQ(setting("updateFeedSerial"), "7");
    presenter.answer(UpdateAnswer::later);

    reader.feed.serial = 18446744073709551615U;
    checkOnRequest();
    EXPECT_EQ(setting("updateFeedSerial"), "18446744073709551615");
    presenter.answer(UpdateAnswer::later);
    newCalls();

    checkOnRequest();
    EXPECT_THAT(newCalls(), ElementsAre("checking", "offer 0.2.0"))
        << "the same serial once more is no older one";
    presenter.answer(UpdateAnswer::later);
    newCalls();

    reader.feed.serial = 18446744073709551614U;
    checkOnRequest();
    EXPECT_THAT(newCalls(),
                ElementsAre("checking", "failure: The update feed is older than one that was seen before."));
    EXPECT_THAT(lines,
                ElementsAre("update check failed: the feed is an old one served again, with serial "
                            "18446744073709551614 after 18446744073709551615"));
    EXPECT_EQ(setting("updateFeedSerial"), "18446744073709551615");
}

TEST_F(UpdateCheckerTests, AStoredSerialThatIsNoNumberCountsAsNone)
{
    for (const std::string stored : {"", "-8", "8x", " 8", "18446744073709551616", "eight"}) {
        defaults.values["updateFeedSerial"] = stored;
        checkOnRequest();
        EXPECT_EQ(setting("updateFeedSerial"), "7") << stored;
        presenter.answer(UpdateAnswer::later);
    }
    EXPECT_THAT(lines, IsEmpty());
}

TEST_F(UpdateCheckerTests, EachRefusalIsOneLineOneSentenceAndNothingElse)
{
    const auto answerWith = [this](int status, const std::string& body) {
        return [this, status, body] { answer(status, body); };
    };
    const std::string feed = signedFeed();
    const std::string wrongKey = "the feed is not signed by the key of this program";
    const std::string notSigned = "The update feed does not come from the makers of Glimmerwick.";
    const std::string notAFeed = "the answer is not an update feed";
    const std::string notAFeedSentence = "The update server did not answer with an update feed.";
    std::string touched = feed;
    touched[3] = '_';
    const std::string signedAsPackage = "the feed\n<!-- glimmerwick-signature: "
        + verifier.sign(signedPackageMessage("the feed\n")) + " -->\n";
    const std::vector<std::tuple<std::function<void()>, std::string, std::string>> refusals{
        {[this] { answer(Failure{TransportError{"Could not resolve host.\nTry again."}}); },
         R"(Could not resolve host.\nTry again)",
         R"(The update server gave no usable answer: Could not resolve host.\nTry again.)"},
        {[this] { answer(Failure{TransportError{"The response is larger than 1048576 bytes."}}); },
         "The response is larger than 1048576 bytes",
         "The update server gave no usable answer: The response is larger than 1048576 bytes."},
        {[this] {
             answer(HttpResponse{std::nullopt, ""});
         },
         "the address is not an HTTP address", "The update server's address is wrong."},
        {answerWith(404, feed), "the server answered with status 404",
         "The update server answered with an error (404)."},
        {answerWith(304, ""), "the server answered with status 304",
         "The update server answered with an error (304)."},
        {answerWith(200, std::string(1024 * 1024 + 1 - feed.size(), ' ') + feed),
         "the feed is larger than 1048576 bytes", "The update server's answer is too large."},
        {answerWith(200, "<!DOCTYPE html><html><body>Log in first</body></html>\n"), notAFeed,
         notAFeedSentence},
        {answerWith(200, ""), notAFeed, notAFeedSentence},
        {answerWith(200, "the feed\n"), notAFeed, notAFeedSentence},
        {answerWith(200, touched), wrongKey, notSigned},
        {answerWith(200, signedAsPackage), wrongKey, notSigned},
        {[this, feed] {
             reader.error = "line 3: there is no\nchannel";
             answer(200, feed);
             reader.error.reset();
         },
         R"(the feed cannot be read: line 3: there is no\nchannel)", "The update feed cannot be read."},
        {[this, feed] {
             enclosure().length = 256ULL * 1024 * 1024 + 1;
             answer(200, feed);
         },
         "the package is said to have 268435457 bytes, not 1 to 268435456",
         "The new version's package has a size that cannot be right."},
        {[this, feed] {
             enclosure().length = 18446744073709551615U;
             answer(200, feed);
         },
         "the package is said to have 18446744073709551615 bytes, not 1 to 268435456",
         "The new version's package has a size that cannot be right."},
        {[this, feed] {
             enclosure().length = 0;
             answer(200, feed);
         },
         "the package is said to have 0 bytes, not 1 to 268435456",
         "The new version's package has a size that cannot be right."},
        {[this, feed] {
             enclosure().length = 5;
             enclosure().url = "file:///etc/passwd";
             answer(200, feed);
         },
         "the package's address is not an HTTP address: file:///etc/passwd",
         "The new version's package has an address that cannot be used."},
        {[this, feed] {
             enclosure().url = "javascript:alert(1)\n";
             answer(200, feed);
         },
         R"(the package's address is not an HTTP address: javascript:alert(1)\n)",
         "The new version's package has an address that cannot be used."},
    };

    for (const auto& [serve, line, sentence] : refusals) {
        lines.clear();
        newCalls();
        checker->checkForUpdates();
        serve();

        EXPECT_THAT(lines, ElementsAre("update check failed: " + line));
        EXPECT_THAT(newCalls(), ElementsAre("checking", "failure: " + sentence)) << line;
        EXPECT_EQ(setting("updateFeedSerial"), "none") << line;
        EXPECT_EQ(requestCount(), 1U) << line;
        http.exchanges.clear();
    }
    EXPECT_THAT(installer.handedOver, IsEmpty());
}

TEST_F(UpdateCheckerTests, WhatIsNotSignedIsNeverParsed)
{
    checker->checkForUpdates();
    answer(200, "<!DOCTYPE feed>\n<!-- glimmerwick-signature: " + std::string(88, 'A') + " -->\n");

    EXPECT_THAT(reader.texts, IsEmpty());
    EXPECT_THAT(lines, SizeIs(1));
}

TEST_F(UpdateCheckerTests, ABuildWithoutUpdateServerContactsNobody)
{
    settings.feedAddress.clear();
    makeChecker();

    checker->start();
    pass(std::chrono::hours(48));
    EXPECT_EQ(time.pendingCount(), 0U);

    checker->checkForUpdates();
    EXPECT_THAT(presenter.calls,
                ElementsAre("failure: This build of Glimmerwick has no update server.", "raise"));
    EXPECT_EQ(requestCount(), 0U);
    EXPECT_THAT(lines, IsEmpty());
}

TEST_F(UpdateCheckerTests, ABuildWhoseKeyIsNoneSaysSoOnceAndContactsNobody)
{
    verifier.isKeyValid = false;

    checker->start();
    pass(std::chrono::hours(48));
    checker->checkForUpdates();
    checker->checkForUpdates();

    EXPECT_THAT(lines, ElementsAre("there are no updates: the update key of this build is no Ed25519 key"));
    const std::string sentence = "failure: This build of Glimmerwick has no valid key to check updates with.";
    EXPECT_THAT(presenter.calls, ElementsAre(sentence, "raise", sentence, "raise"));
    EXPECT_EQ(requestCount(), 0U);
}

TEST_F(UpdateCheckerTests, ABuildWithoutAVersionContactsNobody)
{
    settings.installedVersion = "unknown";
    makeChecker();

    checker->checkForUpdates();

    EXPECT_THAT(lines, ElementsAre("there are no updates: the version of this build is no version"));
    EXPECT_EQ(requestCount(), 0U);
}

TEST_F(UpdateCheckerTests, NothingRunsAfterItsEnd)
{
    checker->checkForUpdates();
    auto cancelCheck = presenter.cancel;
    checker.reset();
    EXPECT_TRUE(exchange().cancelled);
    newCalls();
    cancelCheck();
    EXPECT_THAT(newCalls(), IsEmpty());

    makeChecker();
    checkOnRequest();
    auto answerOffer = presenter.answer;
    checker.reset();
    newCalls();
    answerOffer(UpdateAnswer::download);
    EXPECT_THAT(newCalls(), IsEmpty());

    makeChecker();
    download();
    auto cancelDownload = presenter.cancel;
    checker.reset();
    EXPECT_TRUE(exchange().cancelled);
    newCalls();
    answer(200, package);
    cancelDownload();
    EXPECT_THAT(newCalls(), IsEmpty());

    makeChecker();
    checker->start();
    checker->setPickerShown(true);
    checker->setPickerShown(false);
    checker.reset();
    EXPECT_EQ(time.pendingCount(), 0U);
    pass(std::chrono::hours(30));

    EXPECT_EQ(requestCount(), 4U) << "those that were made above, and no other";
    EXPECT_THAT(presenter.calls, IsEmpty());
    EXPECT_THAT(installer.handedOver, IsEmpty());
}

TEST(UpdatesSwitchedOffTests, SaysWhoUpdatesInstead)
{
    fakes::FakeUpdatePresenter presenter;
    UpdatesSwitchedOff updater(presenter);

    updater.start();
    EXPECT_THAT(presenter.calls, IsEmpty());
    updater.checkForUpdates();

    EXPECT_THAT(presenter.calls,
                ElementsAre("message: Glimmerwick is updated together with your system.", "raise"));
}

} // namespace
} // namespace glimmerwick
