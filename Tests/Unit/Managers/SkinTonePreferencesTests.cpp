#include "Managers/SkinTonePreferences.h"

#include "Fakes/FakePlatform.h"

#include <gtest/gtest.h>

#include <any>
#include <string>
#include <vector>

namespace glimmerwick {
namespace {

const std::string key = "Glimmerwick.preferredSkinTone";

class SkinTonePreferencesTests : public testing::Test {
protected:
    void store(std::any value) { fakes.userDefaults.values[key] = std::move(value); }

    fakes::FakePlatform fakes;
    SkinTonePreferences preferences{fakes.userDefaults, fakes.notificationCenter};
    std::vector<Notification> announced;
    Registration observer = fakes.notificationCenter.addObserver(
        "SkinTonePreferences.preferredSkinToneDidChange",
        [this](const Notification& notification) { announced.push_back(notification); });

    const Emoji wavingHand{"1f44b", "👋", "waving hand", {}, "people", true};
    const Emoji grinningFace{"1f600", "😀", "grinning face", {}, "smileys", false};
};

TEST_F(SkinTonePreferencesTests, NamesItsNotification)
{
    EXPECT_EQ(SkinTonePreferences::preferredSkinToneDidChangeNotification,
              "SkinTonePreferences.preferredSkinToneDidChange");
}

TEST_F(SkinTonePreferencesTests, AreTheDefaultToneWithNothingStored)
{
    EXPECT_EQ(preferences.preferredSkinTone(), SkinTone::default_);
    EXPECT_EQ(preferences.applyPreferredSkinTone(wavingHand), "👋");
    EXPECT_EQ(preferences.applyPreferredSkinTone(grinningFace), "😀");
}

TEST_F(SkinTonePreferencesTests, ReadEveryStoredTone)
{
    for (const SkinTone tone : SkinTone::allCases()) {
        store(std::string(tone.rawValue()));
        EXPECT_EQ(preferences.preferredSkinTone(), tone);
    }
}

TEST_F(SkinTonePreferencesTests, AreTheDefaultToneForUnreadableStoredValues)
{
    for (const std::string stored : {"1F3FD", "medium", "1f3fd ", "1f44b"}) {
        store(stored);
        EXPECT_EQ(preferences.preferredSkinTone(), SkinTone::default_) << stored;
    }
    store(true);
    EXPECT_EQ(preferences.preferredSkinTone(), SkinTone::default_);
    store(std::vector<std::string>{"1f3fd"});
    EXPECT_EQ(preferences.preferredSkinTone(), SkinTone::default_);
}

TEST_F(SkinTonePreferencesTests, KeepNothingInMemory)
{
    preferences.setPreferredSkinTone(SkinTone::dark);

    store(std::string("1f3fb"));

    EXPECT_EQ(preferences.preferredSkinTone(), SkinTone::light);
}

TEST_F(SkinTonePreferencesTests, StoreTheRawValueOfATone)
{
    preferences.setPreferredSkinTone(SkinTone::mediumDark);

    EXPECT_EQ(fakes.userDefaults.string(key), "1f3fe");
    EXPECT_EQ(preferences.preferredSkinTone(), SkinTone::mediumDark);
}

TEST_F(SkinTonePreferencesTests, StoreTheDefaultToneAsAnEmptyString)
{
    preferences.setPreferredSkinTone(SkinTone::dark);

    preferences.setPreferredSkinTone(SkinTone::default_);

    EXPECT_EQ(fakes.userDefaults.string(key), "");
}

TEST_F(SkinTonePreferencesTests, AnnounceAChangeWithThemselvesAsSenderAndNoUserInfo)
{
    preferences.setPreferredSkinTone(SkinTone::medium);

    ASSERT_EQ(announced.size(), 1U);
    EXPECT_EQ(announced[0].object, &preferences);
    EXPECT_EQ(announced[0].userInfo, std::nullopt);
}

TEST_F(SkinTonePreferencesTests, AnnounceTheSameToneOnce)
{
    preferences.setPreferredSkinTone(SkinTone::medium);
    preferences.setPreferredSkinTone(SkinTone::medium);

    EXPECT_EQ(announced.size(), 1U);
    EXPECT_EQ(fakes.userDefaults.writeCount, 2);
}

TEST_F(SkinTonePreferencesTests, AnnounceNothingWhenTheDefaultReplacesAnUnreadableValue)
{
    store(std::string("1F3FD"));

    preferences.setPreferredSkinTone(SkinTone::default_);

    EXPECT_TRUE(announced.empty());
    EXPECT_EQ(fakes.userDefaults.string(key), "");
}

TEST_F(SkinTonePreferencesTests, AnnounceWhenTheNewToneIsStored)
{
    std::optional<SkinTone> seen;
    const auto reader = fakes.notificationCenter.addObserver(
        SkinTonePreferences::preferredSkinToneDidChangeNotification,
        [&](const Notification&) { seen = preferences.preferredSkinTone(); });

    preferences.setPreferredSkinTone(SkinTone::light);

    EXPECT_EQ(seen, SkinTone(SkinTone::light));
}

TEST_F(SkinTonePreferencesTests, GiveAnEmojiInThePreferredTone)
{
    preferences.setPreferredSkinTone(SkinTone::dark);

    EXPECT_EQ(preferences.applyPreferredSkinTone(wavingHand), "👋🏿");
}

TEST_F(SkinTonePreferencesTests, LeaveAnEmojiThatAcceptsNoToneAlone)
{
    preferences.setPreferredSkinTone(SkinTone::dark);

    EXPECT_EQ(preferences.applyPreferredSkinTone(grinningFace), "😀");
}

TEST_F(SkinTonePreferencesTests, BuildTheTextFromTheCodepointStringAndNeverFromTheOwnText)
{
    preferences.setPreferredSkinTone(SkinTone::light);
    const Emoji victoryHand{"270c", "✌️", "victory hand", {}, "people", true};

    EXPECT_EQ(preferences.applyPreferredSkinTone(victoryHand), "✌🏻");
}

TEST_F(SkinTonePreferencesTests, GiveTheOwnTextOfAnEmojiWithAnEmptyOrInvalidCodepoint)
{
    preferences.setPreferredSkinTone(SkinTone::dark);

    for (const std::string codepoint : {"", "-", "zz", "d800", "110000", "1f44b-zz"}) {
        EXPECT_EQ(preferences.applyPreferredSkinTone({codepoint, "own text", "", {}, "", true}), "own text")
            << codepoint;
    }
}

TEST_F(SkinTonePreferencesTests, AreOneForTheInstalledPlatform)
{
    const InstalledPlatform installed(fakes.platform);

    SkinTonePreferences::shared().setPreferredSkinTone(SkinTone::light);

    EXPECT_EQ(fakes.userDefaults.string(key), "1f3fb");
}

} // namespace
} // namespace glimmerwick
