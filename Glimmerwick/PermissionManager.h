#pragma once

#include "Platform/Registration.h"

#include <functional>

namespace glimmerwick {

class AccessibilityTrust;
class MainQueue;

/// Answers whether this process may watch and inject keys, and waits for the permission by polling once a
/// second. Main thread.
class PermissionManager {
public:
    static PermissionManager& shared();

    PermissionManager(AccessibilityTrust& accessibilityTrust, MainQueue& mainQueue);
    ~PermissionManager();

    /// Runs once per polling run, when permission is seen. Never cleared by this class.
    std::function<void()> onPermissionGranted;

    bool isAccessibilityEnabled();
    /// Makes the system show the user what to do.
    void requestAccessibilityPermission();
    /// Runs the callback at once when permission is there already, else polls. A second call while polling
    /// does nothing.
    void startPollingForPermission();
    void stopPollingForPermission();

private:
    void checkPermissionStatus();
    void reportPermissionGranted();

    AccessibilityTrust& m_accessibilityTrust;
    MainQueue& m_mainQueue;
    Registration m_pollTimer;
};

} // namespace glimmerwick
