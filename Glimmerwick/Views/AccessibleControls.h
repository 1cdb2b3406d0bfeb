#pragma once

class QWidget;

/// What assistive technology is told about the views around the grid. Main thread.
namespace glimmerwick::accessibility {

/// Gives tabs, menus, section titles and messages their roles, states and actions. Once is enough.
void installControls();

/// Tells that a tab has been highlighted, or no longer is.
void announceChecked(QWidget& view);

} // namespace glimmerwick::accessibility
