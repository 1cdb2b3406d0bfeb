#pragma once

#include "Platform/MainQueue.h"

#include <memory>

namespace glimmerwick {

/// The main queue of a program without a toolkit, whose main thread polls descriptors. Made, run and
/// destroyed on that thread. Destroying it drops what waits; the handles it gave may outlive it.
class PollMainQueue : public MainQueue {
public:
    PollMainQueue();
    ~PollMainQueue() override;
    PollMainQueue(const PollMainQueue&) = delete;
    PollMainQueue& operator=(const PollMainQueue&) = delete;

    void async(std::function<void()> work) override;
    Registration asyncAfter(std::chrono::nanoseconds delay, std::function<void()> work) override;
    Registration every(std::chrono::nanoseconds interval, std::function<void()> work) override;

    /// Can be read while work waits that is not delayed.
    int descriptor() const;
    /// In milliseconds, as poll takes it: until delayed work is due, -1 while there is none.
    int timeUntilDue() const;
    /// Runs what is due, and leaves what that submits for the next time. Not inside work.
    void runDueWork();

private:
    struct State;
    const std::shared_ptr<State> m_state;
};

} // namespace glimmerwick
