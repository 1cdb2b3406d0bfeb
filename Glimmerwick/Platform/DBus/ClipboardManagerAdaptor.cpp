#include "Platform/DBus/ClipboardManagerAdaptor.h"

namespace glimmerwick {

ClipboardManagerAdaptor::ClipboardManagerAdaptor(QObject& instance) : QDBusAbstractAdaptor(&instance) { }

} // namespace glimmerwick
