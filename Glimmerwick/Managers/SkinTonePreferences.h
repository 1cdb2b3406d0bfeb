#pragma once

#include "Models/Emoji.h"
#include "Models/SkinTone.h"

#include <string>

namespace glimmerwick {

class NotificationCenter;
class UserDefaults;

/// The user's preferred skin tone. Keeps nothing in memory: every read goes to the settings. Main thread.
class SkinTonePreferences {
public:
    /// Posted when a write changed the tone; no user info.
    static const std::string preferredSkinToneDidChangeNotification;

    static SkinTonePreferences& shared();

    SkinTonePreferences(UserDefaults& defaults, NotificationCenter& notificationCenter);

    /// The default tone when nothing, or nothing readable, is stored.
    SkinTone preferredSkinTone() const;
    void setPreferredSkinTone(SkinTone tone);

    /// The text to show or type for the emoji: in the preferred tone when it accepts one, else its own text.
    std::string applyPreferredSkinTone(const Emoji& emoji) const;

private:
    UserDefaults& m_defaults;
    NotificationCenter& m_notificationCenter;
};

} // namespace glimmerwick
