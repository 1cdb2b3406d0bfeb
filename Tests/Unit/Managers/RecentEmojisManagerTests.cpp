#include "Managers/RecentEmojisManager.h"

#include "Fakes/FakePlatform.h"
#include "Fakes/SampleManifest.h"
#include "Managers/EmojiDataManager.h"

#include <gtest/gtest.h>

#include <any>
#include <optional>
#include <string>
#include <vector>

namespace glimmerwick {
namespace {

using Codepoints = std::vector<std::string>;
using Lines = std::vector<std::string>;

const std::string key = "recentEmojis";

Codepoints numbered(int first, int count)
{
    Codepoints result;
    for (int number = first; number < first + count; ++number) {
        result.push_back("1f" + std::to_string(number));
    }
    return result;
}

class RecentEmojisManagerTests : public testing::Test {
protected:
    /// Made on first use, from what is stored by then.
    RecentEmojisManager& manager()
    {
        if (!m_manager) {
            m_manager.emplace(fakes.userDefaults, fakes.notificationCenter, fakes.log, emojiDataManager);
        }
        return *m_manager;
    }

    void store(std::any value) { fakes.userDefaults.values[key] = std::move(value); }

    std::optional<Codepoints> stored() { return fakes.userDefaults.stringArray(key); }

    /// A manager that holds these, with the traces of its making wiped off.
    RecentEmojisManager& managerWith(Codepoints codepoints)
    {
        store(std::move(codepoints));
        manager();
        fakes.log.lines.clear();
        return manager();
    }

    void loadManifest()
    {
        fakes.httpClient.respond = [](const HttpRequest&) {
            return HttpResponse{200, fakes::sampleManifestJson()};
        };
        auto task = emojiDataManager.fetchManifest(true);
        task.start();
        fakes.time.runUntilIdle();
        ASSERT_TRUE(emojiDataManager.manifest());
    }

    fakes::FakePlatform fakes;
    EmojiDataManager emojiDataManager{fakes.process, fakes.log,        fakes.fileSystem, fakes.fileClock,
                                      fakes.time,    fakes.httpClient, fakes.textLayout, fakes.imageCodec};

private:
    std::optional<RecentEmojisManager> m_manager;
};

TEST_F(RecentEmojisManagerTests, LoadTheStoredListOnce)
{
    store(Codepoints{"1f600", "1f601"});
    fakes.log.lines.clear();

    EXPECT_EQ(manager().recentCodepoints(), (Codepoints{"1f600", "1f601"}));
    EXPECT_EQ(fakes.log.lines, Lines{"RecentEmojisManager: Loaded 2 recent emojis from UserDefaults"});
}

TEST_F(RecentEmojisManagerTests, StartEmptyWithNothingStored)
{
    fakes.log.lines.clear();

    EXPECT_TRUE(manager().recentCodepoints().empty());
    EXPECT_EQ(fakes.log.lines, Lines{"RecentEmojisManager: Loaded 0 recent emojis from UserDefaults"});
    EXPECT_EQ(fakes.userDefaults.writeCount, 0);
}

TEST_F(RecentEmojisManagerTests, StartEmptyWhenWhatIsStoredIsNoListOfStrings)
{
    store(std::string("1f600"));

    EXPECT_TRUE(manager().recentCodepoints().empty());
}

TEST_F(RecentEmojisManagerTests, ReadTheStoredListAgainOnDemand)
{
    manager();
    store(Codepoints{"1f600"});
    fakes.log.lines.clear();

    EXPECT_EQ(manager().loadRecents(), Codepoints{"1f600"});
    EXPECT_EQ(fakes.log.lines, Lines{"RecentEmojisManager: Loaded 1 recent emojis from UserDefaults"});
}

TEST_F(RecentEmojisManagerTests, PutAPickInFront)
{
    managerWith({"1f601"}).addRecent("1f600");

    EXPECT_EQ(manager().recentCodepoints(), (Codepoints{"1f600", "1f601"}));
    EXPECT_EQ(stored(), (Codepoints{"1f600", "1f601"}));
}

TEST_F(RecentEmojisManagerTests, MoveAPickThatIsListedToTheFront)
{
    managerWith({"1f601", "1f600", "1f602"}).addRecent("1f600");

    EXPECT_EQ(manager().recentCodepoints(), (Codepoints{"1f600", "1f601", "1f602"}));
}

TEST_F(RecentEmojisManagerTests, RemoveEveryDuplicateOfAPick)
{
    managerWith({"1f600", "1f601", "1f600", "1f600"}).addRecent("1f600");

    EXPECT_EQ(manager().recentCodepoints(), (Codepoints{"1f600", "1f601"}));
}

TEST_F(RecentEmojisManagerTests, CompareCodepointsAsExactStrings)
{
    managerWith({"1f600"}).addRecent("1F600");

    EXPECT_EQ(manager().recentCodepoints(), (Codepoints{"1F600", "1f600"}));
}

TEST_F(RecentEmojisManagerTests, StoreACodepointExactlyAsGiven)
{
    managerWith({}).addRecent(" any thing ");

    EXPECT_EQ(stored(), Codepoints{" any thing "});
}

TEST_F(RecentEmojisManagerTests, TakeAPickFromTheirOwnList)
{
    managerWith({"1f601", "1f602", "1f600"});

    manager().addRecent(manager().recentCodepoints().back());

    EXPECT_EQ(manager().recentCodepoints(), (Codepoints{"1f600", "1f601", "1f602"}));
    EXPECT_EQ(fakes.log.lines, Lines{"RecentEmojisManager: Added '1f600' to recents (total: 3)"});
}

TEST_F(RecentEmojisManagerTests, DropTheOldestBeyondThirty)
{
    managerWith(numbered(100, 30)).addRecent("1f600");

    Codepoints expected{"1f600"};
    const Codepoints kept = numbered(100, 29);
    expected.insert(expected.end(), kept.begin(), kept.end());
    EXPECT_EQ(manager().recentCodepoints(), expected);
    EXPECT_EQ(stored(), expected);
}

TEST_F(RecentEmojisManagerTests, StayAtThirtyWhenAListedOneIsPicked)
{
    managerWith(numbered(100, 30)).addRecent("1f129");

    EXPECT_EQ(manager().recentCodepoints().size(), 30U);
    EXPECT_EQ(manager().recentCodepoints().front(), "1f129");
    EXPECT_EQ(manager().recentCodepoints().back(), "1f128");
}

TEST_F(RecentEmojisManagerTests, KeepALongerStoredListUntilTheNextPick)
{
    managerWith(numbered(100, 50));
    EXPECT_EQ(manager().recentCodepoints().size(), 50U);

    manager().addRecent("1f600");

    EXPECT_EQ(manager().recentCodepoints().size(), 30U);
}

TEST_F(RecentEmojisManagerTests, SaveAPickAtOnce)
{
    managerWith({});

    manager().addRecent("1f600");

    EXPECT_EQ(fakes.userDefaults.writeCount, 1);
    EXPECT_EQ(fakes.userDefaults.synchronizeCount, 1);
}

TEST_F(RecentEmojisManagerTests, AnnounceTheNewListWhenItIsSavedAndBeforeItIsLogged)
{
    managerWith({"1f601"});
    std::vector<Notification> announced;
    std::optional<Codepoints> storedThen;
    Lines linesThen;
    const auto observer = fakes.notificationCenter.addObserver("RecentEmojisManager.recentsChanged",
                                                               [&](const Notification& notification) {
                                                                   announced.push_back(notification);
                                                                   storedThen = stored();
                                                                   linesThen = fakes.log.lines;
                                                               });

    manager().addRecent("1f600");

    ASSERT_EQ(announced.size(), 1U);
    EXPECT_EQ(announced[0].object, &manager());
    ASSERT_TRUE(announced[0].value<Codepoints>("codepoints"));
    EXPECT_EQ(*announced[0].value<Codepoints>("codepoints"), (Codepoints{"1f600", "1f601"}));
    EXPECT_EQ(announced[0].userInfo->size(), 1U);
    EXPECT_EQ(storedThen, (Codepoints{"1f600", "1f601"}));
    EXPECT_EQ(linesThen, Lines{});
    EXPECT_EQ(fakes.log.lines, Lines{"RecentEmojisManager: Added '1f600' to recents (total: 2)"});
}

TEST_F(RecentEmojisManagerTests, AreResolvedInTheirOrderWithoutATraceWhenAllAreKnown)
{
    managerWith({"2764-fe0f", "1f600", "1f44b"});

    const auto emojis = manager().recentEmojis(fakes::sampleManifest());

    ASSERT_EQ(emojis.size(), 3U);
    EXPECT_EQ(emojis[0].name, "red heart");
    EXPECT_EQ(emojis[1].name, "grinning face");
    EXPECT_EQ(emojis[2].name, "waving hand");
    EXPECT_EQ(fakes.log.lines, Lines{});
    EXPECT_EQ(fakes.userDefaults.writeCount, 0);
    EXPECT_EQ(fakes.userDefaults.synchronizeCount, 0);
}

TEST_F(RecentEmojisManagerTests, LoseWhatTheManifestDoesNotKnow)
{
    managerWith({"1f600", "ffff0", "1f601"});
    bool announced = false;
    const auto observer = fakes.notificationCenter.addObserver(
        RecentEmojisManager::recentsChangedNotification, [&](const Notification&) { announced = true; });

    const auto emojis = manager().recentEmojis(fakes::sampleManifest());

    ASSERT_EQ(emojis.size(), 2U);
    EXPECT_EQ(emojis[0].codepoint, "1f600");
    EXPECT_EQ(emojis[1].codepoint, "1f601");
    EXPECT_EQ(manager().recentCodepoints(), (Codepoints{"1f600", "1f601"}));
    EXPECT_EQ(stored(), (Codepoints{"1f600", "1f601"}));
    EXPECT_EQ(fakes.userDefaults.synchronizeCount, 1);
    EXPECT_EQ(fakes.log.lines,
              (Lines{"RecentEmojisManager: Codepoint 'ffff0' not found in manifest, removing from recents",
                     "RecentEmojisManager: Cleaned up 0 invalid codepoints"}));
    EXPECT_FALSE(announced);
}

TEST_F(RecentEmojisManagerTests, ReportEachUnknownCodepointAndCleanUpOnce)
{
    managerWith({"ffff0", "ffff1", "ffff0"});

    EXPECT_TRUE(manager().recentEmojis(fakes::sampleManifest()).empty());

    EXPECT_EQ(fakes.log.lines,
              (Lines{"RecentEmojisManager: Codepoint 'ffff0' not found in manifest, removing from recents",
                     "RecentEmojisManager: Codepoint 'ffff1' not found in manifest, removing from recents",
                     "RecentEmojisManager: Codepoint 'ffff0' not found in manifest, removing from recents",
                     "RecentEmojisManager: Cleaned up 0 invalid codepoints"}));
    EXPECT_EQ(stored(), Codepoints{});
}

TEST_F(RecentEmojisManagerTests, StayUntouchedBeforeTheManifestHasLoaded)
{
    managerWith({"1f600", "ffff0"});

    EXPECT_TRUE(manager().recentEmojis().empty());

    EXPECT_EQ(fakes.log.lines, Lines{"RecentEmojisManager: Cannot resolve emojis - manifest not loaded"});
    EXPECT_EQ(manager().recentCodepoints(), (Codepoints{"1f600", "ffff0"}));
    EXPECT_EQ(fakes.userDefaults.writeCount, 0);
}

TEST_F(RecentEmojisManagerTests, AreResolvedAgainstTheManifestPublishedNow)
{
    managerWith({"1f600", "ffff0"});
    loadManifest();

    const auto emojis = manager().recentEmojis();

    ASSERT_EQ(emojis.size(), 1U);
    EXPECT_EQ(emojis[0].codepoint, "1f600");
    EXPECT_EQ(stored(), Codepoints{"1f600"});
}

TEST_F(RecentEmojisManagerTests, AreThereAgainInTheNextRun)
{
    managerWith({}).addRecent("1f600");
    manager().addRecent("1f601");

    const RecentEmojisManager next(fakes.userDefaults, fakes.notificationCenter, fakes.log, emojiDataManager);

    EXPECT_EQ(next.recentCodepoints(), (Codepoints{"1f601", "1f600"}));
}

TEST(SharedRecentEmojis, AreOneForTheInstalledPlatform)
{
    fakes::FakePlatform fakes;
    const InstalledPlatform installed(fakes.platform);

    RecentEmojisManager::shared().addRecent("1f600");

    EXPECT_EQ(RecentEmojisManager::shared().recentCodepoints(), Codepoints{"1f600"});
    EXPECT_EQ(fakes.userDefaults.stringArray(key), Codepoints{"1f600"});
    EXPECT_EQ(RecentEmojisManager::recentsChangedNotification, "RecentEmojisManager.recentsChanged");
}

} // namespace
} // namespace glimmerwick
