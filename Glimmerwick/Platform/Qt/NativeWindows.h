#pragma once

#include "Platform/PanelHost.h"

class QWindow;

namespace glimmerwick {

/// The toolkit's window of that identifier; null when there is none, or none any more. Main thread, while
/// there is a QGuiApplication.
QWindow* windowOf(NativeWindow identifier);

} // namespace glimmerwick
