#include "Platform/DBus/TypeManagerAdaptor.h"

namespace glimmerwick {

TypeManagerAdaptor::TypeManagerAdaptor(QObject& instance) : QDBusAbstractAdaptor(&instance) { }

} // namespace glimmerwick
