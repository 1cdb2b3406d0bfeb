#pragma once

#include <QColor>
#include <QFont>
#include <QString>

/// Colours and fonts of the picker. Everything follows the application's palette and is read when painting.
/// Main thread.
namespace glimmerwick::style {

enum class Appearance { automatic, light, dark };

/// Automatic, the default, takes dark when the palette's windows are dark.
void setAppearance(Appearance appearance);
bool isDark();

/// The family that draws emoji; "Noto Color Emoji" until set.
void setEmojiFontFamily(const QString& family);
/// Never merged with other fonts: merging takes sequences apart.
QFont emojiFont(int pixelSize);
QFont systemFont(int pixelSize, QFont::Weight weight = QFont::Normal);

/// Whether animated changes take time. Tests turn it off, and then they happen at once.
void setAnimationsEnabled(bool enabled);
bool animationsEnabled();

QColor accent(double alpha = 1.0);
QColor label();
QColor secondaryLabel();
QColor tertiaryLabel();
QColor separator();
/// The panel's fill; nearly opaque, so that it needs a compositor. Opaque without one.
QColor panelBackground();
QColor panelBorder();
/// The fill of the search field.
QColor fieldBackground();
/// The fill of popovers and menus inside the panel.
QColor controlBackground();

} // namespace glimmerwick::style
