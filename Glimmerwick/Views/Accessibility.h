#pragma once

#include "Platform/Registration.h"

#include <QAccessible>
#include <QString>
#include <QWidget>

namespace glimmerwick {

class CollectionViewItem;

/// What assistive technology is told beyond what the toolkit tells by itself. Main thread.
///
/// The panel has the keys without being the active window, so the toolkit reports nothing in it as focused.
/// Screen readers ignore an object that is told to have the focus and does not say so itself.
namespace accessibility {

/// Makes collection views lists and their items buttons that can be selected and pressed. Once is enough.
void install();

/// Gives the view an identifier to find it by. No text that is read to anybody.
void identify(QWidget& view, const QString& identifier);

/// Gives a view of no class of its own a role. To be called before anybody asks the view what it is.
void setRole(QWidget& view, QAccessible::Role role);

/// Whether keys go to the view: its window is shown, has given it the focus, and lends the keys to nothing.
bool hasKeys(const QWidget& view);

/// Says that what lies over a window takes the keys now, until the registration ends. The window's view that
/// gets them back is told to have the focus then.
[[nodiscard]] Registration lendKeys(QWidget& window);

/// Tells that the keys go to this view from now on.
void announceFocus(QWidget& view);
/// Tells which of the window's views the keys go to.
void announceKeys(QWidget& window);

/// Tells that a collection view's item has been selected or deselected.
void announceSelection(CollectionViewItem& item);

} // namespace accessibility

} // namespace glimmerwick
