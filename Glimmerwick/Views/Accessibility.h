#pragma once

#include <QString>
#include <QWidget>

namespace glimmerwick {

class CollectionViewItem;

/// What assistive technology is told beyond what the toolkit tells by itself. Main thread.
namespace accessibility {

/// Makes collection views lists and their items buttons that can be selected and pressed. Once is enough.
void install();

/// Gives the view an identifier to find it by; the toolkit passes none on, so that it is the description too.
void identify(QWidget& view, const QString& identifier);

/// Tells that a collection view's item has been selected by the keyboard.
void announceSelection(CollectionViewItem& item);

} // namespace accessibility

} // namespace glimmerwick
