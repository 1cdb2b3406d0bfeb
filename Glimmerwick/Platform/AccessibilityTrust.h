#pragma once

namespace glimmerwick {

/// Whether this process may watch and inject keys. Main thread.
class AccessibilityTrust {
public:
    virtual ~AccessibilityTrust() = default;

    virtual bool isTrusted() = 0;

    /// The same answer; when it is no, the user is shown what to do about it.
    virtual bool isTrustedWithPrompt() = 0;

    /// Whether the user could allow it in this session at all. Where not, what would be typed is copied.
    virtual bool canBeGranted() = 0;
};

} // namespace glimmerwick
