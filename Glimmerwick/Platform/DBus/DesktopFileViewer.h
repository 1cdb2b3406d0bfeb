#pragma once

#include "Platform/Shell.h"

#include <QObject>

#include <filesystem>
#include <functional>
#include <string_view>

namespace glimmerwick {

class SessionBus;

/// Shows folders in the file manager: in the one that offers itself on the session bus, which also brings it
/// to the front, else in the application that the user opens folders with.
class DesktopFileViewer : public FileViewer {
public:
    /// `reportProblem` gets one line, perhaps later than what it is about. The bus need not be connected.
    DesktopFileViewer(const SessionBus& bus, std::filesystem::path home,
                      std::function<void(std::string_view)> reportProblem);

    /// "Applications" below the home folder, or the home folder where that is missing.
    void openApplicationsFolder() override;

private:
    void show(const std::filesystem::path& folder);
    void showInDefaultApplication(const std::filesystem::path& folder);

    const SessionBus& m_bus;
    const std::filesystem::path m_home;
    const std::function<void(std::string_view)> m_reportProblem;
    /// Owns what waits for answers.
    QObject m_pending;
};

} // namespace glimmerwick
