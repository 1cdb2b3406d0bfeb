#pragma once

#include "Platform/Registration.h"

#include <chrono>
#include <functional>

namespace glimmerwick {

/// The main thread's queue of work. Work runs in order, never inside the call that submits it.
class MainQueue {
public:
    virtual ~MainQueue() = default;

    /// Runs the work on the main thread as soon as it is free. Any thread.
    virtual void async(std::function<void()> work) = 0;

    /// Runs the work once, after the delay. Main thread. Destroying the handle cancels work that has not
    /// started; `release()` it to let the work run regardless.
    virtual Registration asyncAfter(std::chrono::nanoseconds delay, std::function<void()> work) = 0;

    /// Runs the work at every interval until the handle is destroyed; the work itself may destroy it. Main
    /// thread.
    virtual Registration every(std::chrono::nanoseconds interval, std::function<void()> work) = 0;
};

} // namespace glimmerwick
