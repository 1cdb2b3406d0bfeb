#pragma once

#include <QByteArray>
#include <QMap>
#include <QString>

namespace glimmerwick {

/// The text of a settings file from which QSettings reads these values. QSettings itself writes such files,
/// too, but on a full disk it takes an empty one for written. Values are JSON texts: without control
/// characters other than white space.
QByteArray iniText(const QMap<QString, QString>& values);

} // namespace glimmerwick
