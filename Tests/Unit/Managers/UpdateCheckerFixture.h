#pragma once

#include "Managers/UpdateChecker.h"

#include "Fakes/FakeServices.h"
#include "Fakes/FakeTime.h"
#include "Fakes/FakeUpdates.h"
#include "Managers/SignedFeed.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace glimmerwick {

/// An update checker for version 0.1.0 on fakes. The random number is 0: a first wait takes ten minutes, and
/// the next check is due after 24 hours.
class UpdateCheckerFixture : public ::testing::Test {
protected:
    using Calls = std::vector<std::string>;

    UpdateCheckerFixture()
    {
        settings.feedAddress = "https://updates.example.invalid/glimmerwick/appcast.xml";
        settings.installedVersion = "0.1.0";
        settings.architecture = "amd64";
        settings.systemVersion = "2.36";
        offer("0.2.0");
        makeChecker();
    }

    void makeChecker()
    {
        checker = std::make_unique<UpdateChecker>(
            UpdateServices{time, fileClock, defaults, http, verifier, reader, presenter, installer}, settings,
            [this](std::uint32_t) { return randomNumber; },
            [this](const std::string& line) { lines.push_back(line); });
    }

    /// Makes it the only release in the feed.
    void offer(const std::string& version)
    {
        reader.feed.serial = 7;
        reader.feed.items = {UpdateItem{*ReleaseVersion::parse(version), std::nullopt, "What is new", {}}};
        reader.feed.items[0].enclosures = {{"https://updates.example.invalid/glimmerwick/package.deb",
                                            package.size(), "amd64",
                                            verifier.sign(signedPackageMessage(package))}};
    }

    UpdateEnclosure& enclosure() { return reader.feed.items.at(0).enclosures.at(0); }

    std::string signedFeed() const
    {
        const std::string content = "the feed\n";
        return content + "<!-- glimmerwick-signature: " + verifier.sign(signedFeedMessage(content))
            + " -->\n";
    }

    /// What was asked for last.
    fakes::FakeHttpClient::Exchange& exchange() { return *http.exchanges.back(); }
    std::size_t requestCount() const { return http.exchanges.size(); }

    void answer(Result<HttpResponse, TransportError> result)
    {
        http.answer(http.exchanges.size() - 1, std::move(result));
        time.runUntilIdle();
    }
    void answer(int status, const std::string& body) { answer(HttpResponse{status, body}); }
    void answerWithFeed() { answer(200, signedFeed()); }

    /// By both clocks, minute by minute.
    void pass(std::chrono::minutes duration)
    {
        for (; duration.count() > 0; duration -= std::chrono::minutes(1)) {
            fileClock.time += std::chrono::minutes(1);
            time.advance(std::chrono::minutes(1));
        }
    }

    void checkOnRequest()
    {
        checker->checkForUpdates();
        answerWithFeed();
    }

    void checkOnSchedule()
    {
        checker->start();
        pass(std::chrono::minutes(10));
        ASSERT_EQ(requestCount(), 1U);
        answerWithFeed();
    }

    void download()
    {
        checkOnRequest();
        presenter.answer(UpdateAnswer::download);
    }

    /// Since this was asked last.
    Calls newCalls() { return std::exchange(presenter.calls, {}); }

    std::string setting(const std::string& key) { return defaults.string(key).value_or("none"); }

    const std::string package = "the package";
    UpdateSettings settings;
    std::uint32_t randomNumber = 0;
    std::vector<std::string> lines;

    fakes::FakeTime time;
    fakes::FakeFileClock fileClock;
    fakes::FakeUserDefaults defaults;
    fakes::FakeHttpClient http{time};
    fakes::FakeSignatureVerifier verifier;
    fakes::FakeUpdateFeedReader reader;
    fakes::FakeUpdatePresenter presenter;
    fakes::FakePackageInstaller installer;
    std::unique_ptr<UpdateChecker> checker;
};

} // namespace glimmerwick
