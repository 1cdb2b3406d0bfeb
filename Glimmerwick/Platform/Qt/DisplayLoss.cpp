#include "Platform/Qt/DisplayLoss.h"

#include <QString>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <thread>
#include <utility>

namespace glimmerwick {

namespace {

/// What is watched; taken when the process is to end, which it does once.
std::atomic<const DisplayLoss::Display*> watched = nullptr;

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

/// Returns only when there is nothing to end.
void endProcess(const char* report)
{
    // Whatever is saved may lead back here.
    if (!watched.exchange(nullptr)) {
        return;
    }
    if (saveEverything && std::this_thread::get_id() == mainThread) {
        saveEverything();
    }
    if (report) {
        say(report);
    }
    std::_Exit(EXIT_FAILURE);
}

void handleExit()
{
    if (!saveEverything) {
        return;
    }
    const auto* display = watched.load();
    endProcess(display && display->isLost() ? display->report : nullptr);
}

void handleMessage(QtMsgType type, const QMessageLogContext& context, const QString& message)
{
    const auto* display = watched.load();
    const bool isLost = (display && message.startsWith(QLatin1String(display->lastWords))) || isDisplayLost();
    // Whatever else the toolkit complains of follows from the loss, which is told once. Threads that decode
    // pictures complain too; the main one ends the process when it notices.
    if (isLost && display && std::this_thread::get_id() == mainThread) {
        endProcess(display->report);
    }
    if (const QtMessageHandler handle = earlierMessageHandler; handle && !isLost) {
        handle(type, context, message);
    }
}

} // namespace

DisplayLoss::DisplayLoss(const Display& display)
{
    mainThread = std::this_thread::get_id();
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
    say(report);
}

} // namespace glimmerwick
