#include "Managers/UpdateManager.h"

#include "Platform/Platform.h"
#include "Platform/Shell.h"

namespace glimmerwick {

UpdateManager& UpdateManager::shared()
{
    return InstalledPlatform::sharedInstance<UpdateManager>(
        [](const Platform& platform) { return std::make_unique<UpdateManager>(platform.updater); });
}

UpdateManager::UpdateManager(Updater& updater) : m_updater(updater)
{
    m_updater.start();
}

void UpdateManager::checkForUpdates()
{
    m_updater.checkForUpdates();
}

} // namespace glimmerwick
