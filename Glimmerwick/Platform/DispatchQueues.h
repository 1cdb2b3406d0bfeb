#pragma once

#include "Platform/Registration.h"

#include <chrono>
#include <functional>
#include <memory>
#include <string>

namespace glimmerwick {

enum class QualityOfService { utility, userInitiated };

/// Runs work one piece after the other on a thread that is not the main one.
///
/// Destroying the queue drops what has not started and waits for what has.
class SerialQueue {
public:
    virtual ~SerialQueue() = default;

    /// Runs the work after the delay. Destroying the handle cancels work that has not started and never waits
    /// for work that has. Any thread, and the handle too.
    virtual Registration asyncAfter(std::chrono::nanoseconds delay, std::function<void()> work) = 0;
};

/// Runs pieces of work side by side on a small pool of threads. Any thread.
class ConcurrentQueue {
public:
    virtual ~ConcurrentQueue() = default;

    virtual void async(std::function<void()> work) = 0;
};

/// Where the queues come from. Main thread.
class DispatchQueues {
public:
    virtual ~DispatchQueues() = default;

    virtual std::unique_ptr<SerialQueue> makeSerialQueue(const std::string& label,
                                                         QualityOfService quality) = 0;

    /// The process-wide concurrent queue of a quality; lives as long as this object.
    virtual ConcurrentQueue& globalQueue(QualityOfService quality) = 0;
};

} // namespace glimmerwick
