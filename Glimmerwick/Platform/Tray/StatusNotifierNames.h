#pragma once

#include <QString>

/// Trays on the session bus: the names by which every desktop that took them up knows them.
namespace glimmerwick::statusNotifier {

inline const QString watcher = QStringLiteral("org.kde.StatusNotifierWatcher");
inline const QString watcherObject = QStringLiteral("/StatusNotifierWatcher");
inline const QString itemObject = QStringLiteral("/StatusNotifierItem");
inline const QString menuObject = QStringLiteral("/StatusNotifierItem/Menu");

} // namespace glimmerwick::statusNotifier
