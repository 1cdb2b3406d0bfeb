#include "Platform/X11/X11DisplayLoss.h"

#include "Platform/X11/X11Platform.h"

#include <QGuiApplication>
#include <QString>

#include <xcb/xcb.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <thread>
#include <utility>

namespace glimmerwick {

namespace {

// What the toolkit says right before it calls std::exit.
constexpr auto lastWords = "The X11 connection broke";

/// Whether the process is to end here, which it does once.
std::atomic<bool> isWatched = false;

/// The toolkit's while it is known. Messages ask for it on any thread.
std::atomic<xcb_connection_t*> toolkitsConnection = nullptr;

std::atomic<QtMessageHandler> earlierMessageHandler = nullptr;

/// The main thread's own.
std::function<void()> saveEverything;
std::thread::id mainThread;

enum class Cause { displayLost, unknown };

Cause likelyCause()
{
    xcb_connection_t* const connection = toolkitsConnection;
    const bool isLost =
        connection ? xcb_connection_has_error(connection) != 0 : !X11Platform::isDisplayReachable();
    return isLost ? Cause::displayLost : Cause::unknown;
}

void report()
{
    std::fprintf(stderr, "glimmerwick: the connection to the X11 display is lost\n");
}

/// Returns only when there is nothing to end.
void endProcess(Cause cause)
{
    // Whatever is saved may lead back here.
    if (!isWatched.exchange(false)) {
        return;
    }
    if (saveEverything && std::this_thread::get_id() == mainThread) {
        saveEverything();
    }
    if (cause == Cause::displayLost) {
        report();
    }
    std::_Exit(EXIT_FAILURE);
}

void handleExit()
{
    if (saveEverything) {
        endProcess(likelyCause());
    }
}

void handleMessage(QtMsgType type, const QMessageLogContext& context, const QString& message)
{
    const bool isLost = message.startsWith(lastWords) || likelyCause() == Cause::displayLost;
    // Whatever else the toolkit complains of follows from the loss, which is told once. Threads that decode
    // pictures complain too; the main one ends the process when it notices.
    if (isLost && std::this_thread::get_id() == mainThread) {
        endProcess(Cause::displayLost);
    }
    if (const QtMessageHandler handle = earlierMessageHandler; handle && !isLost) {
        handle(type, context, message);
    }
}

} // namespace

X11DisplayLoss::X11DisplayLoss()
{
    mainThread = std::this_thread::get_id();
    isWatched = true;
    earlierMessageHandler = qInstallMessageHandler(&handleMessage);
}

X11DisplayLoss::~X11DisplayLoss()
{
    qInstallMessageHandler(earlierMessageHandler);
    isWatched = false;
}

Registration X11DisplayLoss::saveBy(std::function<void()> save)
{
    saveEverything = std::move(save);
    const auto* interface = qGuiApp->nativeInterface<QNativeInterface::QX11Application>();
    toolkitsConnection = interface ? interface->connection() : nullptr;
    // As late as can be: what was registered last runs first, and so do the ends of static objects.
    static const bool isRegistered = std::atexit(&handleExit) == 0;
    static_cast<void>(isRegistered);
    return Registration([] {
        saveEverything = nullptr;
        toolkitsConnection = nullptr;
    });
}

void X11DisplayLoss::tell()
{
    endProcess(Cause::displayLost);
    report();
}

} // namespace glimmerwick
