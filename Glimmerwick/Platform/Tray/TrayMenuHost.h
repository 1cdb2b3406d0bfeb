#pragma once

#include "Platform/MenuHost.h"
#include "Platform/Tray/EmbeddingTrays.h"
#include "Platform/Tray/StatusNotifierHosts.h"
#include "Platform/Tray/StatusNotifierTray.h"

#include <QMenu>
#include <QSystemTrayIcon>
#include <QTimer>

#include <filesystem>
#include <functional>
#include <memory>
#include <string_view>
#include <vector>

class QAction;

namespace glimmerwick {

class LoginItem;
class SessionBus;

/// What the tray's host cannot do itself.
struct TrayActions {
    std::function<void()> showAboutPanel;
    std::function<void()> terminate;
    /// The icon itself was clicked.
    std::function<void()> activate;
    /// Gets one line.
    std::function<void(std::string_view)> reportProblem;
};

/// Shows the main menu under an icon in the desktop's tray, with the choice whether the program starts at
/// login.
///
/// There may be no tray, or one that comes long after the program, and none is waited for: the icon goes to
/// those that are there, and to each that comes. Trays on the session bus come first; the older ones, which
/// take windows in, get the icon as long as there is none on the bus. Main thread, while there is a
/// QApplication.
class TrayMenuHost : public MenuHost {
public:
    /// The bus and the login item must outlive it; the bus need not be connected. The drawing is an SVG file
    /// in one colour, used where the icon theme lacks the program's icons.
    TrayMenuHost(const SessionBus& bus, LoginItem& loginItem, std::filesystem::path drawing,
                 TrayActions actions);

    void setMainMenu(std::vector<MenuItem> items) override;
    void showAboutPanel() override { m_actions.showAboutPanel(); }
    void terminate() override { m_actions.terminate(); }

private:
    void chooseTray();
    void showEmbedded();
    void addAction(const MenuItem& item);
    void addLoginItem();
    void refreshLoginItem();
    void setLoginItem(bool isEnabled);

    LoginItem& m_loginItem;
    const std::filesystem::path m_drawing;
    const TrayActions m_actions;
    QMenu m_menu;
    /// Belongs to the menu; null as long as that is empty.
    QAction* m_startAtLogin = nullptr;
    EmbeddingTrays m_embeddingTrays;
    QTimer m_patience;
    StatusNotifierTray m_tray;
    StatusNotifierHosts m_hosts;
    /// In a tray that takes windows in; null while there is one on the bus.
    std::unique_ptr<QSystemTrayIcon> m_embedded;
};

} // namespace glimmerwick
