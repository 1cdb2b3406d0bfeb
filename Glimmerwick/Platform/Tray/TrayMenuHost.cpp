#include "Platform/Tray/TrayMenuHost.h"

#include "Platform/LoginItem.h"
#include "Platform/Qt/Text.h"
#include "Platform/Tray/TrayIconDrawing.h"

#include <QAction>
#include <QCoreApplication>
#include <QIcon>
#include <QKeySequence>
#include <QString>

#include <chrono>
#include <utility>

namespace glimmerwick {

namespace {

// Panels that offer both kinds of trays bring them one after the other.
constexpr std::chrono::seconds patienceForBus(5);

const QString iconName = QStringLiteral("com.glimmerwick.Glimmerwick");
// Trays on the bus give it the colour of their panel.
const QString symbolicIconName = QStringLiteral("com.glimmerwick.Glimmerwick-symbolic");

/// The name when the icon theme has it, or nothing. A theme that is asked for "a-symbolic" answers with its
/// "a", too; this asks for the very name.
QString themeName(const QString& name)
{
    return QIcon::hasThemeIcon(name) ? name : QString();
}

/// A title as it stands, without the mnemonics that menus read out of it.
QString literal(const std::string& title)
{
    return toQString(title).replace(QLatin1Char('&'), QLatin1String("&&"));
}

} // namespace

TrayMenuHost::TrayMenuHost(const SessionBus& bus, LoginItem& loginItem, std::filesystem::path drawing,
                           TrayActions actions)
    : m_loginItem(loginItem), m_drawing(std::move(drawing)), m_actions(std::move(actions)),
      m_embeddingTrays([this] { chooseTray(); }),
      m_tray(bus, m_menu,
             {iconName, QStringLiteral("Glimmerwick"), [] { return themeName(symbolicIconName); },
              [this] { return trayIconDrawing::pictures(m_drawing); }, m_actions.activate}),
      m_hosts(bus, [this] { chooseTray(); })
{
    QObject::connect(&m_menu, &QMenu::aboutToShow, &m_menu, [this] { refreshLoginItem(); });
    m_patience.setSingleShot(true);
    QObject::connect(&m_patience, &QTimer::timeout, &m_menu, [this] { showEmbedded(); });
    chooseTray();
}

void TrayMenuHost::setMainMenu(std::vector<MenuItem> items)
{
    m_menu.clear();
    m_startAtLogin = nullptr;
    for (const MenuItem& item : items) {
        if (item.kind == MenuItem::Kind::separator) {
            m_menu.addSeparator();
        } else {
            addAction(item);
        }
    }
    addLoginItem();
}

void TrayMenuHost::addAction(const MenuItem& item)
{
    QAction* action = m_menu.addAction(literal(item.title));
    if (!item.keyEquivalent.empty()) {
        action->setShortcut(QKeySequence(QStringLiteral("Ctrl+") + toQString(item.keyEquivalent)));
    }
    QObject::connect(action, &QAction::triggered, &m_menu, item.action);
}

void TrayMenuHost::addLoginItem()
{
    m_menu.addSeparator();
    m_startAtLogin = m_menu.addAction(QCoreApplication::translate("TrayMenuHost", "Start at Login"));
    m_startAtLogin->setCheckable(true);
    QObject::connect(m_startAtLogin, &QAction::triggered, &m_menu,
                     [this](bool isEnabled) { setLoginItem(isEnabled); });
    refreshLoginItem();
}

void TrayMenuHost::refreshLoginItem()
{
    if (m_startAtLogin) {
        m_startAtLogin->setChecked(m_loginItem.isEnabled());
    }
}

void TrayMenuHost::setLoginItem(bool isEnabled)
{
    const auto changed = m_loginItem.setEnabled(isEnabled);
    if (!changed) {
        m_actions.reportProblem("starting at login cannot be changed: " + changed.error());
    }
    refreshLoginItem();
}

void TrayMenuHost::chooseTray()
{
    if (m_hosts.presence() == StatusNotifierHosts::Presence::there) {
        m_patience.stop();
        m_embedded.reset();
    } else if (!m_embedded && !m_patience.isActive() && m_embeddingTrays.isThereOne()) {
        m_patience.start(patienceForBus);
    }
}

void TrayMenuHost::showEmbedded()
{
    // The toolkit would look for a tray on the bus, too, and wait for its answer.
    if (m_hosts.presence() != StatusNotifierHosts::Presence::none) {
        return;
    }
    m_embedded = std::make_unique<QSystemTrayIcon>(
        themeName(iconName).isEmpty() ? trayIconDrawing::icon(m_drawing) : QIcon::fromTheme(iconName));
    m_embedded->setToolTip(QStringLiteral("Glimmerwick"));
    m_embedded->setContextMenu(&m_menu);
    QObject::connect(m_embedded.get(), &QSystemTrayIcon::activated, &m_menu,
                     [this](QSystemTrayIcon::ActivationReason reason) {
                         if (reason == QSystemTrayIcon::Trigger && m_actions.activate) {
                             m_actions.activate();
                         }
                     });
    m_embedded->show();
}

} // namespace glimmerwick
