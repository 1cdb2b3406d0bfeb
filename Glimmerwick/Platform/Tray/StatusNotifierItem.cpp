#include "Platform/Tray/StatusNotifierItem.h"

#include "Platform/Tray/StatusNotifierNames.h"

#include <utility>

namespace glimmerwick {

StatusNotifierItem::StatusNotifierItem(QObject& object, StatusNotifierContent content)
    : QDBusAbstractAdaptor(&object), m_content(std::move(content))
{
    bus::registerTypes();
}

QDBusObjectPath StatusNotifierItem::menu() const
{
    return QDBusObjectPath(statusNotifier::menuObject);
}

void StatusNotifierItem::Activate(int, int)
{
    if (m_content.activate) {
        m_content.activate();
    }
}

} // namespace glimmerwick
