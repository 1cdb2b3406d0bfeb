#pragma once

#include "Platform/MainQueue.h"

#include <memory>

namespace glimmerwick {

/// The main queue on Qt's event loop. Work never runs inside other work, even if that work spins an event
/// loop of its own: it then runs once the outer work has returned.
///
/// Made, used and destroyed on the thread of the application object, which must exist by the time work is to
/// run. Destroying it drops what waits; the handles it gave may outlive it.
class QtMainQueue : public MainQueue {
public:
    QtMainQueue();
    ~QtMainQueue() override;

    void async(std::function<void()> work) override;
    Registration asyncAfter(std::chrono::nanoseconds delay, std::function<void()> work) override;
    Registration every(std::chrono::nanoseconds interval, std::function<void()> work) override;

private:
    class Receiver;
    std::unique_ptr<Receiver> m_receiver;
};

} // namespace glimmerwick
