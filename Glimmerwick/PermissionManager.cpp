#include "PermissionManager.h"

#include "Platform/AccessibilityTrust.h"
#include "Platform/MainQueue.h"
#include "Platform/Platform.h"

#include <chrono>
#include <memory>

namespace glimmerwick {

namespace {

constexpr std::chrono::seconds pollInterval{1};

} // namespace

PermissionManager& PermissionManager::shared()
{
    return InstalledPlatform::sharedInstance<PermissionManager>([](const Platform& platform) {
        return std::make_unique<PermissionManager>(platform.accessibilityTrust, platform.mainQueue);
    });
}

PermissionManager::PermissionManager(AccessibilityTrust& accessibilityTrust, MainQueue& mainQueue)
    : m_accessibilityTrust(accessibilityTrust), m_mainQueue(mainQueue)
{
}

PermissionManager::~PermissionManager() = default;

bool PermissionManager::isAccessibilityEnabled()
{
    return m_accessibilityTrust.isTrusted();
}

void PermissionManager::requestAccessibilityPermission()
{
    m_accessibilityTrust.isTrustedWithPrompt();
}

void PermissionManager::startPollingForPermission()
{
    if (m_pollTimer) {
        return;
    }
    if (m_accessibilityTrust.isTrusted()) {
        reportPermissionGranted();
        return;
    }
    // The timer is ours and ends with us, so its work needs no other hold on this object.
    m_pollTimer = m_mainQueue.every(pollInterval, [this] { checkPermissionStatus(); });
}

void PermissionManager::stopPollingForPermission()
{
    m_pollTimer.reset();
}

void PermissionManager::checkPermissionStatus()
{
    if (!m_accessibilityTrust.isTrusted()) {
        return;
    }
    m_pollTimer.reset();
    reportPermissionGranted();
}

void PermissionManager::reportPermissionGranted()
{
    // A copy: the callback may replace itself.
    if (const auto callback = onPermissionGranted) {
        callback();
    }
}

} // namespace glimmerwick
