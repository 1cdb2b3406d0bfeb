#include "Managers/RecentEmojisManager.h"

#include "Managers/EmojiDataManager.h"
#include "Platform/Log.h"
#include "Platform/NotificationCenter.h"
#include "Platform/Platform.h"
#include "Platform/UserDefaults.h"

#include <algorithm>
#include <any>
#include <map>
#include <utility>

namespace glimmerwick {

namespace {

const std::string recentEmojisKey = "recentEmojis";
constexpr std::size_t maximumRecents = 30;

} // namespace

const std::string RecentEmojisManager::recentsChangedNotification = "RecentEmojisManager.recentsChanged";

RecentEmojisManager& RecentEmojisManager::shared()
{
    return InstalledPlatform::sharedInstance<RecentEmojisManager>([](const Platform& platform) {
        return std::make_unique<RecentEmojisManager>(platform.userDefaults, platform.notificationCenter,
                                                     platform.log, EmojiDataManager::shared());
    });
}

RecentEmojisManager::RecentEmojisManager(UserDefaults& defaults, NotificationCenter& notificationCenter,
                                         Log& log, const EmojiDataManager& emojiDataManager)
    : m_defaults(defaults), m_notificationCenter(notificationCenter), m_log(log),
      m_emojiDataManager(emojiDataManager), m_recentCodepoints(loadRecents())
{
}

std::vector<std::string> RecentEmojisManager::loadRecents() const
{
    auto recents = m_defaults.stringArray(recentEmojisKey).value_or(std::vector<std::string>());
    m_log.print("RecentEmojisManager: Loaded " + std::to_string(recents.size())
                + " recent emojis from UserDefaults");
    return recents;
}

void RecentEmojisManager::addRecent(const std::string& codepoint)
{
    // A copy: the argument may be an entry of the very list that is rebuilt.
    const std::string added = codepoint;
    std::erase(m_recentCodepoints, added);
    m_recentCodepoints.insert(m_recentCodepoints.begin(), added);
    if (m_recentCodepoints.size() > maximumRecents) {
        m_recentCodepoints.resize(maximumRecents);
    }
    save();
    m_notificationCenter.post({recentsChangedNotification, this,
                               std::map<std::string, std::any>{{"codepoints", m_recentCodepoints}}});
    m_log.print("RecentEmojisManager: Added '" + added
                + "' to recents (total: " + std::to_string(m_recentCodepoints.size()) + ")");
}

std::vector<Emoji> RecentEmojisManager::recentEmojis()
{
    const auto& manifest = m_emojiDataManager.manifest();
    if (!manifest) {
        m_log.print("RecentEmojisManager: Cannot resolve emojis - manifest not loaded");
        return {};
    }
    return recentEmojis(*manifest);
}

std::vector<Emoji> RecentEmojisManager::recentEmojis(const Manifest& manifest)
{
    std::vector<Emoji> resolved;
    std::vector<std::string> kept;
    for (const std::string& codepoint : m_recentCodepoints) {
        if (auto emoji = manifest.emoji(codepoint)) {
            resolved.push_back(std::move(*emoji));
            kept.push_back(codepoint);
        } else {
            m_log.print("RecentEmojisManager: Codepoint '" + codepoint
                        + "' not found in manifest, removing from recents");
        }
    }
    if (kept.size() < m_recentCodepoints.size()) {
        const std::size_t keptCount = kept.size();
        m_recentCodepoints = std::move(kept);
        save();
        // Counted after the replacement, so always 0. Readers of the log know the line that way.
        m_log.print("RecentEmojisManager: Cleaned up " + std::to_string(m_recentCodepoints.size() - keptCount)
                    + " invalid codepoints");
    }
    return resolved;
}

void RecentEmojisManager::save()
{
    m_defaults.setStringArray(recentEmojisKey, m_recentCodepoints);
    m_defaults.synchronize();
}

} // namespace glimmerwick
