#pragma once

#include "Platform/Tray/BusTypes.h"

#include <QIcon>

#include <filesystem>

/// The program's icon where the icon theme lacks it: a drawing in one colour that stands out from every
/// panel.
namespace glimmerwick::trayIconDrawing {

/// The drawing is an SVG file; one that cannot be read gives empty pictures.
QIcon icon(const std::filesystem::path& drawing);
QList<bus::Picture> pictures(const std::filesystem::path& drawing);

} // namespace glimmerwick::trayIconDrawing
