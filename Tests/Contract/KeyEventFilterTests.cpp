#include "Platform/Qt/KeyEventFilter.h"

#include "Fakes/FakeTime.h"
#include "Platform/Qt/XkbKeyCodes.h"

#include <QCoreApplication>
#include <QInputMethodEvent>
#include <QKeyEvent>
#include <QWindow>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace glimmerwick::contract {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr quint32 scanCodeA = 38;
constexpr quint32 scanCodeSpace = 65;
constexpr quint32 scanCodeKeypad4 = 83;
constexpr quint32 symbolA = 0x61;
constexpr quint32 capsLockBit = 2;

/// Keeps the events that get as far as a window.
class RecordingWindow : public QWindow {
public:
    std::vector<QEvent::Type> types;

protected:
    bool event(QEvent* event) override
    {
        if (event->type() == QEvent::KeyPress || event->type() == QEvent::KeyRelease) {
            types.push_back(event->type());
            return true;
        }
        return QWindow::event(event);
    }
};

class KeyEventFilterTest : public ::testing::Test {
protected:
    void press(quint32 scanCode, quint32 symbol, const QString& text = {},
               Qt::KeyboardModifiers modifiers = {}, Qt::Key key = Qt::Key_unknown,
               quint32 nativeModifiers = 0)
    {
        QKeyEvent event(QEvent::KeyPress, key, modifiers, scanCode, symbol, nativeModifiers, text);
        QCoreApplication::sendEvent(&window, &event);
    }
    void release(quint32 scanCode, quint32 symbol)
    {
        QKeyEvent event(QEvent::KeyRelease, Qt::Key_unknown, {}, scanCode, symbol, 0);
        QCoreApplication::sendEvent(&window, &event);
    }

    KeyEventFilter::Tap tap(const std::string& name, std::optional<TapDecision> decision)
    {
        return [this, name, decision](const KeyEvent& event) {
            seenBy.push_back(name);
            seen.push_back(event);
            return decision;
        };
    }
    KeyEventFilter::LocalMonitor monitor(MonitorDecision decision)
    {
        return [this, decision](const KeyEvent& event) {
            seenBy.push_back("monitor");
            seen.push_back(event);
            return decision;
        };
    }

    void showWindow()
    {
        window.setFlags(Qt::ToolTip | Qt::BypassWindowManagerHint);
        window.show();
    }

    fakes::FakeTime time;
    KeyEventFilter filter{time};
    RecordingWindow window;
    std::vector<std::string> seenBy;
    std::vector<KeyEvent> seen;
};

TEST_F(KeyEventFilterTest, aSwallowedPressReachesNothingElseAndNeitherDoesItsRelease)
{
    const auto earlier = filter.addTap(tap("earlier", TapDecision::swallow));
    const auto later = filter.addTap(tap("later", TapDecision::swallow));
    const auto local = filter.addLocalMonitor(monitor(MonitorDecision::pass));

    press(scanCodeA, symbolA, "a");
    release(scanCodeA, symbolA);

    EXPECT_THAT(seenBy, ElementsAre("later"));
    EXPECT_THAT(window.types, IsEmpty());
}

TEST_F(KeyEventFilterTest, aPressThatATapPassesGoesToEarlierTapsAndThenToTheWindow)
{
    const auto earlier = filter.addTap(tap("earlier", TapDecision::pass));
    const auto later = filter.addTap(tap("later", TapDecision::pass));
    const auto local = filter.addLocalMonitor(monitor(MonitorDecision::consume));
    showWindow();

    press(scanCodeA, symbolA, "a");
    release(scanCodeA, symbolA);
    time.runUntilIdle();

    EXPECT_THAT(seenBy, ElementsAre("later", "earlier"));
    EXPECT_THAT(window.types, ElementsAre(QEvent::KeyPress, QEvent::KeyRelease));
}

TEST_F(KeyEventFilterTest, aPressThatATapPassesWaitsBehindWhatTheTapReported)
{
    std::vector<std::size_t> deliveredAtReport;
    const auto reporting = filter.addTap([&](const KeyEvent& event) -> std::optional<TapDecision> {
        if (event.keyCode == keyCode::space) {
            return TapDecision::pass;
        }
        time.async([&] { deliveredAtReport.push_back(window.types.size()); });
        return TapDecision::swallow;
    });
    showWindow();

    press(scanCodeA, symbolA, "a");
    press(scanCodeSpace, ' ', " ");
    release(scanCodeSpace, ' ');
    press(scanCodeA, symbolA, "a");
    EXPECT_THAT(window.types, IsEmpty());
    time.runUntilIdle();

    EXPECT_THAT(deliveredAtReport, ElementsAre(0, 2));
    EXPECT_THAT(window.types, ElementsAre(QEvent::KeyPress, QEvent::KeyRelease));
}

TEST_F(KeyEventFilterTest, aPressThatWaitsIsDroppedWhenItsWindowHidesOrGoes)
{
    const auto passing = filter.addTap(tap("tap", TapDecision::pass));
    showWindow();
    press(scanCodeA, symbolA, "a");
    window.hide();
    time.runUntilIdle();
    EXPECT_THAT(window.types, IsEmpty());

    auto other = std::make_unique<RecordingWindow>();
    other->show();
    QKeyEvent event(QEvent::KeyPress, Qt::Key_A, {}, scanCodeA, symbolA, 0, "a");
    QCoreApplication::sendEvent(other.get(), &event);
    EXPECT_EQ(time.pendingCount(), 1U);
    other.reset();
    time.runUntilIdle();
}

TEST_F(KeyEventFilterTest, aPressThatNoTapLooksAtGoesToTheLocalMonitors)
{
    const auto idle = filter.addTap(tap("idle", std::nullopt));
    auto consuming = filter.addLocalMonitor(monitor(MonitorDecision::consume));

    press(scanCodeA, symbolA, "a");
    release(scanCodeA, symbolA);
    EXPECT_THAT(seenBy, ElementsAre("idle", "monitor"));
    EXPECT_THAT(window.types, IsEmpty());

    consuming.reset();
    press(scanCodeA, symbolA, "a");
    EXPECT_THAT(window.types, ElementsAre(QEvent::KeyPress));
}

TEST_F(KeyEventFilterTest, aTapThatIsRemovedByAnotherIsNotCalledAnyMore)
{
    auto earlier = filter.addTap(tap("earlier", TapDecision::swallow));
    const auto later = filter.addTap([&](const KeyEvent&) -> std::optional<TapDecision> {
        earlier.reset();
        return TapDecision::pass;
    });

    press(scanCodeA, symbolA, "a");

    EXPECT_THAT(seenBy, IsEmpty());
}

TEST_F(KeyEventFilterTest, tellsKeyModifiersAndText)
{
    const auto all = filter.addTap(tap("tap", TapDecision::swallow));

    press(scanCodeA, symbolA, "é",
          Qt::ShiftModifier | Qt::ControlModifier | Qt::MetaModifier | Qt::AltModifier, Qt::Key_A,
          capsLockBit);
    press(scanCodeSpace, ' ', " ");

    ASSERT_EQ(seen.size(), 2U);
    EXPECT_EQ(seen[0].type, EventType::keyDown);
    EXPECT_EQ(seen[0].keyCode, 0);
    EXPECT_EQ(seen[0].flags,
              eventFlag::shift | eventFlag::command | eventFlag::control | eventFlag::option
                  | eventFlag::capsLock);
    EXPECT_EQ(seen[0].characters, "é");
    EXPECT_EQ(seen[1].keyCode, keyCode::space);
    EXPECT_EQ(seen[1].flags, 0U);
}

TEST_F(KeyEventFilterTest, aDeadKeysOwnPressHasNoCharacters)
{
    const auto all = filter.addTap(tap("tap", TapDecision::swallow));

    press(34, 0xfe51, {}, {}, Qt::Key_Dead_Acute);

    ASSERT_EQ(seen.size(), 1U);
    EXPECT_EQ(seen[0].characters, std::nullopt);
}

TEST_F(KeyEventFilterTest, modifierKeysAreNoKeyPresses)
{
    const auto all = filter.addTap(tap("tap", TapDecision::swallow));

    for (const Qt::Key key : {Qt::Key_Shift, Qt::Key_Control, Qt::Key_Alt, Qt::Key_Meta, Qt::Key_AltGr,
                              Qt::Key_CapsLock, Qt::Key_NumLock, Qt::Key_Super_L}) {
        press(50, 0xffe1, {}, {}, key);
    }

    EXPECT_THAT(seenBy, IsEmpty());
    EXPECT_EQ(window.types.size(), 8U);
}

TEST(XkbKeyCodesTests, someKeysAreKnownByTheirSymbolWhereverTheyAre)
{
    constexpr std::uint32_t capsLockPosition = 66;

    EXPECT_EQ(xkb::virtualKeyCode(capsLockPosition, 0xff1b), keyCode::escape);
    EXPECT_EQ(xkb::virtualKeyCode(capsLockPosition, 0xff08), keyCode::delete_);
    EXPECT_EQ(xkb::virtualKeyCode(23, 0xfe20), keyCode::tab);
    EXPECT_EQ(xkb::virtualKeyCode(104, 0xff8d), keyCode::keypadEnter);
    EXPECT_EQ(xkb::virtualKeyCode(9, 0xffe5), keyCode::unknown) << "Escape's place with another key on it";
}

TEST(XkbKeyCodesTests, theKeypadsArrowsAreArrowsOnlyWithoutNumLock)
{
    EXPECT_EQ(xkb::virtualKeyCode(scanCodeKeypad4, 0xff96), keyCode::leftArrow);
    EXPECT_EQ(xkb::virtualKeyCode(scanCodeKeypad4, 0xffb4), 86);
}

TEST(XkbKeyCodesTests, otherKeysAreKnownByTheirPlace)
{
    EXPECT_EQ(xkb::virtualKeyCode(55, 0x6d6), keyCode::v) << "a layout without the letter";
    EXPECT_EQ(xkb::virtualKeyCode(250, 0x61), keyCode::unknown);
    EXPECT_EQ(xkb::xkbKeyCode(keyCode::v), 55U);
    EXPECT_EQ(xkb::xkbKeyCode(keyCode::space), std::nullopt);
    EXPECT_EQ(xkb::keySymbol(keyCode::space), 0x20U);
    EXPECT_EQ(xkb::keySymbol(keyCode::v), std::nullopt);
}

} // namespace
} // namespace glimmerwick::contract
