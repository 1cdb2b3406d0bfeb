#include "Platform/Qt/NativeWindows.h"

#include <QGuiApplication>
#include <QWindow>

#include <algorithm>

namespace glimmerwick {

QWindow* windowOf(NativeWindow identifier)
{
    const QWindowList windows = QGuiApplication::allWindows();
    const auto found = std::ranges::find_if(windows, [identifier](const QWindow* window) {
        return window->handle() && NativeWindow{window->winId()} == identifier;
    });
    return found == windows.end() ? nullptr : *found;
}

} // namespace glimmerwick
