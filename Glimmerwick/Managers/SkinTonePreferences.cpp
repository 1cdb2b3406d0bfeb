#include "Managers/SkinTonePreferences.h"

#include "Platform/NotificationCenter.h"
#include "Platform/Platform.h"
#include "Platform/UserDefaults.h"

namespace glimmerwick {

namespace {

const std::string preferredSkinToneKey = "Glimmerwick.preferredSkinTone";

} // namespace

const std::string SkinTonePreferences::preferredSkinToneDidChangeNotification =
    "SkinTonePreferences.preferredSkinToneDidChange";

SkinTonePreferences& SkinTonePreferences::shared()
{
    return InstalledPlatform::sharedInstance<SkinTonePreferences>([](const Platform& platform) {
        return std::make_unique<SkinTonePreferences>(platform.userDefaults, platform.notificationCenter);
    });
}

SkinTonePreferences::SkinTonePreferences(UserDefaults& defaults, NotificationCenter& notificationCenter)
    : m_defaults(defaults), m_notificationCenter(notificationCenter)
{
}

SkinTone SkinTonePreferences::preferredSkinTone() const
{
    const auto stored = m_defaults.string(preferredSkinToneKey);
    return SkinTone::fromRawValue(stored.value_or("")).value_or(SkinTone::default_);
}

void SkinTonePreferences::setPreferredSkinTone(SkinTone tone)
{
    const SkinTone previous = preferredSkinTone();
    m_defaults.setString(preferredSkinToneKey, std::string(tone.rawValue()));
    if (tone != previous) {
        m_notificationCenter.post({preferredSkinToneDidChangeNotification, this, std::nullopt});
    }
}

std::string SkinTonePreferences::applyPreferredSkinTone(const Emoji& emoji) const
{
    if (!emoji.skinTones) {
        return emoji.char_;
    }
    const SkinTone tone = preferredSkinTone();
    if (tone == SkinTone::default_) {
        return emoji.char_;
    }
    // Without a codepoint of its own the toned text would be the modifier alone.
    if (!SkinTone::codepointToChar(emoji.codepoint)) {
        return emoji.char_;
    }
    return SkinTone::codepointToChar(tone.apply(emoji.codepoint)).value_or(emoji.char_);
}

} // namespace glimmerwick
