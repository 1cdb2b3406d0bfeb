#pragma once

#include "Platform/DesktopAppearance.h"
#include "Platform/PanelHost.h"

#include <QColor>
#include <QEasingCurve>
#include <QFont>
#include <QString>

/// Colours and fonts of the picker. Everything follows the application's palette and is read when painting.
/// Main thread.
namespace glimmerwick::style {

/// Gives the application the palette that the desktop asks for, and sends every widget a PaletteChange, also
/// when only colours outside the palette have changed. A desktop without
/// wishes gets the toolkit's palette.
void setDesktopAppearance(const DesktopAppearance& appearance);
/// Whether the palette's windows are dark.
bool isDark();

/// The family that draws emoji; "Noto Color Emoji" until set.
void setEmojiFontFamily(const QString& family);
/// Never merged with other fonts: merging takes sequences apart.
QFont emojiFont(int pixelSize);
QFont systemFont(int pixelSize, QFont::Weight weight = QFont::Normal);

/// Whether animated changes take time, where the desktop does not ask for reduced motion. Tests turn it off,
/// and then they happen at once.
void setAnimationsEnabled(bool enabled);
bool animationsEnabled();
/// The curves of animated changes, cubic splines that begin or end at rest.
QEasingCurve easeOut();
QEasingCurve easeInEaseOut();

QColor accent(double alpha = 1.0);
/// Text on a fill of the accent.
QColor labelOnAccent();
QColor label();
QColor secondaryLabel();
QColor tertiaryLabel();
QColor separator();
/// The panel's fill. What shows through never makes the labels hard to read.
QColor panelBackground(Backdrop backdrop);
QColor panelBorder();
/// The fill of the search field.
QColor fieldBackground();
/// The fill of popovers and menus inside the panel.
QColor controlBackground();

} // namespace glimmerwick::style
