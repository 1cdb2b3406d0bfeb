#pragma once

#include "Platform/AccessibilityTrust.h"

namespace glimmerwick {

class X11Connection;

/// X11 lets every client watch and inject keys, as long as the server offers the extensions for it.
class X11AccessibilityTrust : public AccessibilityTrust {
public:
    explicit X11AccessibilityTrust(X11Connection& display);

    bool isTrusted() override;
    /// Names what is missing on standard error.
    bool isTrustedWithPrompt() override;
    /// Always: a server that lacks what it takes is told about when typing fails.
    bool canBeGranted() override { return true; }

private:
    X11Connection& m_display;
};

} // namespace glimmerwick
