#pragma once

#include "Platform/DispatchQueues.h"

#include <memory>
#include <string>

namespace glimmerwick {

/// Queues on threads of this process: a serial queue is one worker thread that carries its label, a
/// concurrent queue a small pool that starts with its first work. Utility quality runs at a lower priority.
///
/// Destroying this object drops what its concurrent queues have not started and waits for what they have. A
/// serial queue belongs to whoever asked for it and must not be destroyed by its own work.
class ThreadDispatchQueues : public DispatchQueues {
public:
    ThreadDispatchQueues();
    ~ThreadDispatchQueues() override;

    std::unique_ptr<SerialQueue> makeSerialQueue(const std::string& label, QualityOfService quality) override;
    ConcurrentQueue& globalQueue(QualityOfService quality) override;

private:
    class ThreadSerialQueue;
    class ThreadPool;

    std::unique_ptr<ThreadPool> m_utilityQueue;
    std::unique_ptr<ThreadPool> m_userInitiatedQueue;
};

} // namespace glimmerwick
