#include "Unit/Managers/UpdateCheckerFixture.h"

#include <string>
#include <tuple>
#include <utility>
#include <vector>

namespace glimmerwick {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Pair;

class UpdateCheckerDownloadTests : public UpdateCheckerFixture { };

TEST_F(UpdateCheckerDownloadTests, ThePackageIsAskedForAsItStands)
{
    download();

    EXPECT_EQ(presenter.calls.back(), "downloading 0.2.0");
    ASSERT_EQ(requestCount(), 2U);
    EXPECT_EQ(exchange().request.url, "https://updates.example.invalid/glimmerwick/package.deb");
    EXPECT_THAT(exchange().request.headers, ElementsAre(Pair("Accept-Encoding", "identity")));
    EXPECT_EQ(exchange().request.maximumBodySize, package.size());
}

TEST_F(UpdateCheckerDownloadTests, AVerifiedPackageIsHandedOver)
{
    download();
    newCalls();
    answer(200, package);

    EXPECT_THAT(installer.handedOver, ElementsAre(Pair("glimmerwick_0.2.0_amd64.deb", package)));
    EXPECT_THAT(newCalls(), ElementsAre("handed over 0.2.0"));
    EXPECT_THAT(lines, IsEmpty());
    EXPECT_EQ(setting("skippedUpdateVersion"), "none");
}

TEST_F(UpdateCheckerDownloadTests, TheProgressIsShown)
{
    download();
    newCalls();

    exchange().request.progress(4);
    exchange().request.progress(11);

    EXPECT_THAT(newCalls(), ElementsAre("progress 4 of 11", "progress 11 of 11"));
}

TEST_F(UpdateCheckerDownloadTests, ACancelledDownloadEnds)
{
    download();
    newCalls();

    presenter.cancel();

    EXPECT_TRUE(exchange().cancelled);
    EXPECT_THAT(newCalls(), ElementsAre("close"));
    answer(200, package);
    EXPECT_THAT(newCalls(), IsEmpty());
    EXPECT_THAT(installer.handedOver, IsEmpty());
    EXPECT_THAT(lines, IsEmpty());

    checkOnRequest();
    EXPECT_THAT(newCalls(), ElementsAre("checking", "offer 0.2.0"));
}

TEST_F(UpdateCheckerDownloadTests, EachRefusalIsOneLineOneSentenceAndNothingElse)
{
    const std::vector<std::tuple<Result<HttpResponse, TransportError>, std::string, std::string>> refusals{
        {Failure{TransportError{"The request timed out."}}, "The request timed out",
         "The update server gave no usable answer: The request timed out."},
        {HttpResponse{404, package}, "the server answered with status 404",
         "The update server answered with an error (404)."},
        {HttpResponse{std::nullopt, package}, "the address is not an HTTP address",
         "The update server's address is wrong."},
        {HttpResponse{200, ""}, "the package has 0 bytes instead of 11",
         "The new version's package is damaged."},
        {HttpResponse{200, package.substr(1)}, "the package has 10 bytes instead of 11",
         "The new version's package is damaged."},
        {HttpResponse{200, package + "!"}, "the package has 12 bytes instead of 11",
         "The new version's package is damaged."},
        {HttpResponse{200, "the passage"}, "the package is not signed by the key of this program",
         "The new version's package does not come from the makers of Glimmerwick."},
    };

    for (const auto& [result, line, sentence] : refusals) {
        lines.clear();
        download();
        newCalls();
        answer(result);

        EXPECT_THAT(lines, ElementsAre("update download failed: " + line));
        EXPECT_THAT(newCalls(), ElementsAre("failure: " + sentence)) << line;
    }
    EXPECT_THAT(installer.handedOver, IsEmpty());
}

TEST_F(UpdateCheckerDownloadTests, TheSignatureOfAFeedIsNoneOfAPackage)
{
    enclosure().signature = verifier.sign(signedFeedMessage(package));

    download();
    answer(200, package);

    EXPECT_THAT(lines,
                ElementsAre("update download failed: the package is not signed by the key of this program"));
    EXPECT_THAT(installer.handedOver, IsEmpty());
}

TEST_F(UpdateCheckerDownloadTests, AFailedHandOverSaysWhatTheInstallerSays)
{
    installer.error = "Nothing opens packages; the new version is in /home/user/package.deb.";
    download();
    newCalls();
    answer(200, package);

    EXPECT_THAT(
        newCalls(),
        ElementsAre("failure: Nothing opens packages; the new version is in /home/user/package.deb."));
    EXPECT_THAT(lines,
                ElementsAre("update hand-over failed: Nothing opens packages; the new version is in "
                            "/home/user/package.deb"));
}

TEST_F(UpdateCheckerDownloadTests, TheFilesNameIsMadeOfSafePartsAlone)
{
    offer("0.2.0-rc.1");
    settings.installedVersion = "0.1.0-rc.1";
    makeChecker();
    enclosure().url = "https://updates.example.invalid/../../etc/passwd?name=/../x";

    download();
    answer(200, package);

    EXPECT_THAT(installer.handedOver, ElementsAre(Pair("glimmerwick_0.2.0-rc.1_amd64.deb", package)));
}

TEST_F(UpdateCheckerDownloadTests, WhatWasOfferedIsDownloadedThoughTheFeedChangesMeanwhile)
{
    checkOnRequest();
    offer("0.3.0");

    presenter.answer(UpdateAnswer::download);
    answer(200, package);

    EXPECT_THAT(installer.handedOver, ElementsAre(Pair("glimmerwick_0.2.0_amd64.deb", package)));
}

} // namespace
} // namespace glimmerwick
