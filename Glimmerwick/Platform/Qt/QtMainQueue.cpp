#include "Platform/Qt/QtMainQueue.h"

#include <QCoreApplication>
#include <QEvent>
#include <QObject>
#include <QPointer>
#include <QTimer>

#include <algorithm>
#include <deque>
#include <limits>
#include <mutex>
#include <utility>

namespace glimmerwick {

namespace {

using Work = std::function<void()>;

/// Rounded up: work may come a little late, never early.
std::chrono::milliseconds timerInterval(std::chrono::nanoseconds time)
{
    constexpr std::chrono::milliseconds longest(std::numeric_limits<int>::max());
    return std::clamp(std::chrono::ceil<std::chrono::milliseconds>(time), std::chrono::milliseconds(0),
                      longest);
}

} // namespace

/// Keeps the work and runs it when the event loop hands over an event of its own. Timers only submit work, so
/// that everything runs from one place and in one order.
class QtMainQueue::Receiver : public QObject {
public:
    enum class Repetition { once, always };

    ~Receiver() override
    {
        // What the work holds may submit more when it is destroyed.
        std::deque<Work> dropped;
        {
            const std::lock_guard lock(m_mutex);
            m_isEnding = true;
            dropped.swap(m_waiting);
        }
        qDeleteAll(findChildren<QTimer*>(QString(), Qt::FindDirectChildrenOnly));
    }

    /// Any thread.
    void submit(Work work)
    {
        const std::lock_guard lock(m_mutex);
        if (m_isEnding) {
            return;
        }
        m_waiting.push_back(std::move(work));
        wakeIfNeeded();
    }

    Registration startTimer(std::chrono::nanoseconds interval, Repetition repetition, Work work)
    {
        auto item = std::make_shared<TimedItem>(std::make_shared<const Work>(std::move(work)), repetition);
        QPointer<QTimer> timer;
        if (repetition == Repetition::once && interval.count() <= 0) {
            submit(item);
        } else {
            timer = makeTimer(interval, item);
        }
        return Registration([item, timer] {
            delete timer.data();
            const auto dropped = std::exchange(item->work, nullptr);
        });
    }

    bool event(QEvent* event) override
    {
        if (event->type() != wakeEventType()) {
            return QObject::event(event);
        }
        // Inside other work, whose end will wake this again.
        if (!m_isRunning) {
            runWaiting();
        }
        return true;
    }

private:
    struct TimedItem {
        TimedItem(std::shared_ptr<const Work> itsWork, Repetition itsRepetition)
            : work(std::move(itsWork)), repetition(itsRepetition)
        {
        }

        /// Null when cancelled or done.
        std::shared_ptr<const Work> work;
        const Repetition repetition;
        bool isWaiting = false;

        void run()
        {
            isWaiting = false;
            // The work may cancel itself, so it is held while it runs.
            const auto current = repetition == Repetition::once ? std::exchange(work, nullptr) : work;
            if (current) {
                (*current)();
            }
        }
    };

    QTimer* makeTimer(std::chrono::nanoseconds interval, const std::shared_ptr<TimedItem>& item)
    {
        auto* const timer = new QTimer(this);
        timer->setTimerType(Qt::PreciseTimer);
        timer->setSingleShot(item->repetition == Repetition::once);
        connect(timer, &QTimer::timeout, this, [this, timer, item] {
            if (timer->isSingleShot()) {
                timer->deleteLater();
            }
            submit(item);
        });
        timer->start(timerInterval(interval));
        return timer;
    }

    /// A main thread that was held up gets one turn of a repeating timer, not all it has missed.
    void submit(const std::shared_ptr<TimedItem>& item)
    {
        if (!std::exchange(item->isWaiting, true)) {
            submit([item] { item->run(); });
        }
    }

    void runWaiting()
    {
        m_isRunning = true;
        // What this work submits waits for the next turn, so that the event loop is not starved.
        for (std::size_t left = waitingCount(); left > 0; --left) {
            takeFirst()();
        }
        m_isRunning = false;

        const std::lock_guard lock(m_mutex);
        m_isAwake = false;
        wakeIfNeeded();
    }

    std::size_t waitingCount()
    {
        const std::lock_guard lock(m_mutex);
        return m_waiting.size();
    }

    Work takeFirst()
    {
        const std::lock_guard lock(m_mutex);
        Work work = std::move(m_waiting.front());
        m_waiting.pop_front();
        return work;
    }

    /// Needs the lock.
    void wakeIfNeeded()
    {
        if (!m_waiting.empty() && !std::exchange(m_isAwake, true)) {
            QCoreApplication::postEvent(this, new QEvent(wakeEventType()));
        }
    }

    static QEvent::Type wakeEventType()
    {
        static const auto type = static_cast<QEvent::Type>(QEvent::registerEventType());
        return type;
    }

    std::mutex m_mutex;
    std::deque<Work> m_waiting;
    /// An event is on its way or work is being run.
    bool m_isAwake = false;
    bool m_isEnding = false;

    /// The main thread's own.
    bool m_isRunning = false;
};

QtMainQueue::QtMainQueue() : m_receiver(std::make_unique<Receiver>()) { }

QtMainQueue::~QtMainQueue() = default;

void QtMainQueue::async(std::function<void()> work)
{
    m_receiver->submit(std::move(work));
}

Registration QtMainQueue::asyncAfter(std::chrono::nanoseconds delay, std::function<void()> work)
{
    return m_receiver->startTimer(delay, Receiver::Repetition::once, std::move(work));
}

Registration QtMainQueue::every(std::chrono::nanoseconds interval, std::function<void()> work)
{
    return m_receiver->startTimer(interval, Receiver::Repetition::always, std::move(work));
}

} // namespace glimmerwick
