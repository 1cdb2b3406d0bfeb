#include "Platform/X11/X11Pasteboard.h"

#include "Contract/Eventually.h"

#include <gtest/gtest.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <atomic>
#include <memory>
#include <thread>

namespace glimmerwick::contract {
namespace {

/// Makes the next thread that takes its wake-ups do so only when the next one has come.
enum class Turn { anybodys, readersToArrive, writers };
std::atomic<Turn> turn = Turn::anybodys;

} // namespace
} // namespace glimmerwick::contract

// Stand in for the C library's in this program, to put two threads in an order that they seldom take.
extern "C" int eventfd_read(int descriptor, eventfd_t* value)
{
    using namespace glimmerwick::contract;
    Turn arriving = Turn::readersToArrive;
    if (turn.compare_exchange_strong(arriving, Turn::writers)) {
        eventually([] { return turn == Turn::anybodys; });
    }
    return read(descriptor, value, sizeof *value) == sizeof *value ? 0 : -1;
}

extern "C" int eventfd_write(int descriptor, eventfd_t value)
{
    using namespace glimmerwick::contract;
    const bool isWritten = write(descriptor, &value, sizeof value) == sizeof value;
    Turn writing = Turn::writers;
    turn.compare_exchange_strong(writing, Turn::anybodys);
    return isWritten ? 0 : -1;
}

namespace glimmerwick::contract {
namespace {

TEST(X11PasteboardThreadTest, endsWhenTheWakeUpThatTellsOfTheEndIsTakenWithAnEarlierOne)
{
    struct State {
        std::unique_ptr<X11Pasteboard> pasteboard;
        std::atomic<bool> hasEnded = false;
    };
    // Left to the thread if that never comes to its end.
    const auto state = std::make_shared<State>();
    turn = Turn::readersToArrive;
    state->pasteboard = std::make_unique<X11Pasteboard>(0);
    ASSERT_TRUE(eventually([] { return turn == Turn::writers; }));

    std::thread([state] {
        state->pasteboard.reset();
        state->hasEnded = true;
    }).detach();

    EXPECT_TRUE(eventually([&] { return state->hasEnded.load(); }));
}

} // namespace
} // namespace glimmerwick::contract
