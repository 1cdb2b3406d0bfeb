#pragma once

#include "Platform/AccessibilityTrust.h"

#include <functional>

namespace glimmerwick {

class InjectedKeyboard;
class PortalKeyboard;
class UserNotice;

/// In sessions in which keys are pressed by a keyboard of the program's own, or not at all: typing is allowed
/// while that keyboard is ready. It is asked often, and answers from what the keyboard knows.
class PasteTrust : public AccessibilityTrust {
public:
    /// A keyboard that the user is never asked about; null where there is none.
    PasteTrust(InjectedKeyboard* keyboard, UserNotice& userNotice);
    /// A keyboard that the user has to agree to, and how they are asked.
    PasteTrust(PortalKeyboard& keyboard, UserNotice& userNotice, std::function<void()> ask);

    bool isTrusted() override;
    /// The portal asks the user, where there is one; else a notice explains, once.
    bool isTrustedWithPrompt() override;
    bool canBeGranted() override;

private:
    void explain();

    InjectedKeyboard* m_keyboard;
    /// Null where nobody can be asked.
    PortalKeyboard* m_portalKeyboard;
    const std::function<void()> m_ask;
    UserNotice& m_userNotice;
    bool m_isExplained = false;
};

} // namespace glimmerwick
