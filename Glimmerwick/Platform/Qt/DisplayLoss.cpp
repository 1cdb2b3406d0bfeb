#include "Platform/Qt/DisplayLoss.h"

#include <QCoreApplication>
#include <QString>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <thread>
#include <utility>

namespace glimmerwick {

namespace {

using namespace std::chrono_literals;

// Settings are stored in milliseconds; a main thread that takes longer waits for the lost display itself.
constexpr auto patienceWithMainThread = 2s;

std::atomic<const DisplayLoss::Display*> watched = nullptr;

/// Set when the process is to end, which it does once.
std::atomic<bool> isEnding = false;
std::atomic<bool> isReported = false;

std::atomic<QtMessageHandler> earlierMessageHandler = nullptr;

/// The main thread's own.
std::function<void()> saveEverything;
std::thread::id mainThread;

void say(const char* report)
{
    std::fprintf(stderr, "glimmerwick: %s\n", report);
}

bool isDisplayLost()
{
    const auto* display = watched.load();
    return display && display->isLost();
}

[[noreturn]] void leave(const char* report)
{
    if (report && !isReported.exchange(true)) {
        say(report);
    }
    std::_Exit(EXIT_FAILURE);
}

/// Returns only when there is nothing to end, and when that is under way already.
void endProcess(const char* report)
{
    // Whatever is saved may lead back here.
    if (!watched.load() || isEnding.exchange(true)) {
        return;
    }
    if (saveEverything && std::this_thread::get_id() == mainThread) {
        saveEverything();
    }
    leave(report);
}

void handleExit()
{
    if (!saveEverything) {
        return;
    }
    const auto* display = watched.load();
    endProcess(display && display->isLost() ? display->report : nullptr);
}

/// Has the main thread end the process, which the caller would do as soon as this returned.
[[noreturn]] void leaveTheEndToMainThread(const char* report)
{
    if (QCoreApplication* const application = QCoreApplication::instance()) {
        QMetaObject::invokeMethod(
            application, [report] { endProcess(report); }, Qt::QueuedConnection);
    }
    std::this_thread::sleep_for(patienceWithMainThread);
    leave(report);
}

void handleMessage(QtMsgType type, const QMessageLogContext& context, const QString& message)
{
    const auto* display = watched.load();
    const bool areLastWords = display && message.startsWith(QLatin1String(display->lastWords));
    const bool isLost = areLastWords || isDisplayLost();
    // Whatever else the toolkit complains of follows from the loss, which is told once. Threads that decode
    // pictures complain too; the main one ends the process when it notices.
    if (isLost && display && std::this_thread::get_id() == mainThread) {
        endProcess(display->report);
    } else if (areLastWords) {
        leaveTheEndToMainThread(display->report);
    }
    if (const QtMessageHandler handle = earlierMessageHandler; handle && !isLost) {
        handle(type, context, message);
    }
}

} // namespace

DisplayLoss::DisplayLoss(const Display& display)
{
    mainThread = std::this_thread::get_id();
    isEnding = false;
    isReported = false;
    watched = &display;
    earlierMessageHandler = qInstallMessageHandler(&handleMessage);
}

DisplayLoss::~DisplayLoss()
{
    qInstallMessageHandler(earlierMessageHandler);
    watched = nullptr;
}

Registration DisplayLoss::saveBy(std::function<void()> save)
{
    saveEverything = std::move(save);
    // As late as can be: what was registered last runs first, and so do the ends of static objects.
    static const bool isRegistered = std::atexit(&handleExit) == 0;
    static_cast<void>(isRegistered);
    return Registration([] { saveEverything = nullptr; });
}

void DisplayLoss::tell(const char* report)
{
    endProcess(report);
    if (!isEnding) {
        say(report);
    }
}

} // namespace glimmerwick
