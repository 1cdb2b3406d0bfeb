#include "Views/AlertWindow.h"

#include "Views/DialogsFixture.h"
#include "Views/MessageBody.h"

#include <QAccessible>
#include <QCursor>
#include <QPointer>
#include <QScreen>

#include <gmock/gmock.h>

#include <optional>
#include <stdexcept>

namespace glimmerwick {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class AlertWindowTests : public tests::DialogsFixture {
protected:
    ~AlertWindowTests() override
    {
        if (desktop.isNull()) {
            qunsetenv("XDG_CURRENT_DESKTOP");
        } else {
            qputenv("XDG_CURRENT_DESKTOP", desktop);
        }
    }

    DialogWindow& show(std::vector<std::string> buttons = {"Move", "Ask Later", "Stay"})
    {
        const auto before = shownWindows();
        alert->show({"Move it?", "First line.\nSecond <b>line</b> & more.", std::move(buttons)},
                    [this](std::size_t button) { answers.push_back(button); });
        for (DialogWindow* window : shownWindows()) {
            if (std::find(before.begin(), before.end(), window) == before.end()) {
                return *window;
            }
        }
        throw std::runtime_error("no window");
    }

    const QByteArray desktop = qgetenv("XDG_CURRENT_DESKTOP");
    std::optional<AlertWindow> alert{time};
    std::vector<std::size_t> answers;
};

TEST_F(AlertWindowTests, showsItsTextsAsTheyAre)
{
    const DialogWindow& window = show();

    EXPECT_THAT(texts(window), ElementsAre("Move it?", "First line.\nSecond <b>line</b> & more."));
    EXPECT_THAT(titles(window), ElementsAre("Move", "Ask Later", "Stay"));
    for (const QLabel* label : window.findChildren<QLabel*>()) {
        EXPECT_EQ(label->textFormat(), Qt::PlainText);
    }
    const auto& body = static_cast<const MessageBody&>(*window.body());
    EXPECT_TRUE(body.heading().font().bold());
    EXPECT_FALSE(body.text()->font().bold());
}

TEST_F(AlertWindowTests, isAnOrdinaryWindowInTheMiddleOfThePointersScreen)
{
    const DialogWindow& window = show();

    EXPECT_EQ(window.windowType(), Qt::Window);
    EXPECT_FALSE(window.isModal());
    EXPECT_EQ(window.windowTitle(), "Glimmerwick");
    EXPECT_FALSE(window.windowIcon().isNull());
    EXPECT_FALSE(window.testAttribute(Qt::WA_ShowWithoutActivating));
    EXPECT_FALSE(window.testAttribute(Qt::WA_QuitOnClose));
    const QScreen* screen = QGuiApplication::screenAt(QCursor::pos());
    ASSERT_NE(screen, nullptr);
    const QPoint off = window.geometry().center() - screen->availableGeometry().center();
    // The frame that a window manager may add counts, too.
    EXPECT_LE(std::abs(off.x()), 8);
    EXPECT_LE(std::abs(off.y()), 40);
}

TEST_F(AlertWindowTests, returnPressesTheFirstButton)
{
    DialogWindow& window = show();
    EXPECT_TRUE(window.buttons()[0]->isDefault());
    EXPECT_EQ(window.focusWidget(), window.buttons()[0]);

    pressKey(window, Qt::Key_Return);
    time.runUntilIdle();

    EXPECT_THAT(answers, ElementsAre(0U));
}

TEST_F(AlertWindowTests, returnPressesTheButtonThatTabHasGoneTo)
{
    DialogWindow& window = show();
    window.buttons()[1]->setFocus(Qt::TabFocusReason);

    pressKey(window, Qt::Key_Return);
    time.runUntilIdle();

    EXPECT_THAT(answers, ElementsAre(1U));
}

TEST_F(AlertWindowTests, escapeAndClosingAnswerWithTheLastButton)
{
    pressKey(show(), Qt::Key_Escape);
    time.runUntilIdle();
    EXPECT_THAT(answers, ElementsAre(2U));

    show({"Yes", "No"}).close();
    time.runUntilIdle();
    EXPECT_THAT(answers, ElementsAre(2U, 1U));
}

TEST_F(AlertWindowTests, tellsTheAnswerOnceAndLaterWithTheWindowGone)
{
    QPointer<DialogWindow> window = &show();

    press(*window, "Ask Later");
    EXPECT_FALSE(window->isVisible());
    window->close();
    window->reject();
    EXPECT_THAT(answers, IsEmpty()) << "not inside the press";
    time.runUntilIdle();

    EXPECT_THAT(answers, ElementsAre(1U));
    QApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    EXPECT_TRUE(window.isNull());
}

TEST_F(AlertWindowTests, eachAlertHasAWindowAndAnAnswerOfItsOwn)
{
    DialogWindow& first = show();
    DialogWindow& second = show({"Yes", "No"});

    press(second, "Yes");
    time.runUntilIdle();
    EXPECT_TRUE(first.isVisible());
    press(first, "Stay");
    time.runUntilIdle();
    press(show(), "Ask Later");
    time.runUntilIdle();

    EXPECT_THAT(answers, ElementsAre(0U, 2U, 1U));
}

TEST_F(AlertWindowTests, nothingIsToldOnceItIsDestroyed)
{
    press(show(), "Move");
    QPointer<DialogWindow> open = &show();

    alert.reset();
    time.runUntilIdle();

    EXPECT_TRUE(open.isNull());
    EXPECT_THAT(shownWindows(), IsEmpty());
    EXPECT_THAT(answers, IsEmpty());
}

TEST_F(AlertWindowTests, anAlertWithoutACompletionIsClosedAllTheSame)
{
    alert->show({"Done", "", {"OK"}}, nullptr);

    press(*shownWindow(), "OK");
    time.runUntilIdle();

    EXPECT_THAT(shownWindows(), IsEmpty());
}

TEST_F(AlertWindowTests, withoutButtonsThereIsOneThatSaysOk)
{
    DialogWindow& window = show({});
    EXPECT_THAT(titles(window), ElementsAre("OK"));

    pressKey(window, Qt::Key_Escape);
    time.runUntilIdle();

    EXPECT_THAT(answers, ElementsAre(0U));
}

TEST_F(AlertWindowTests, buttonsStandInTheDesktopsOrderAtTheRight)
{
    const struct {
        const char* desktop;
        bool isDefaultLast;
    } desktops[] = {
        {"GNOME", true}, {"ubuntu:GNOME", true}, {"XFCE", true}, {"", true}, {"KDE", false}, {"LXQt", false},
    };
    for (const auto& each : desktops) {
        SCOPED_TRACE(each.desktop);
        qputenv("XDG_CURRENT_DESKTOP", each.desktop);
        DialogWindow& window = show();
        std::vector<DialogButton*> row = window.buttons();
        if (each.isDefaultLast) {
            std::reverse(row.begin(), row.end());
        }

        for (std::size_t index = 1; index < row.size(); ++index) {
            EXPECT_LT(row[index - 1]->geometry().right(), row[index]->geometry().left());
            EXPECT_EQ(row[index - 1]->nextInFocusChain(), row[index]) << "Tab goes as they stand";
        }
        const int right = row.back()->mapTo(&window, QPoint(row.back()->width(), 0)).x();
        EXPECT_EQ(right, window.width() - 24);
        window.close();
    }
}

TEST_F(AlertWindowTests, screenReadersAreToldOfAnAlertWithItsTexts)
{
    DialogWindow& window = show();

    QAccessibleInterface* accessible = QAccessible::queryAccessibleInterface(&window);
    ASSERT_NE(accessible, nullptr);
    EXPECT_EQ(accessible->role(), QAccessible::AlertMessage);
    EXPECT_EQ(accessible->text(QAccessible::Name), "Move it?");
    EXPECT_EQ(accessible->text(QAccessible::Description), "First line.\nSecond <b>line</b> & more.");
    QAccessibleInterface* button = QAccessible::queryAccessibleInterface(window.buttons()[0]);
    EXPECT_EQ(button->role(), QAccessible::Button);
    EXPECT_EQ(button->text(QAccessible::Name), "Move");
}

TEST_F(AlertWindowTests, anAmpersandInATitleIsShown)
{
    DialogWindow& window = show({"Stop & Go"});

    EXPECT_THAT(titles(window), ElementsAre("Stop & Go"));
    EXPECT_TRUE(window.buttons()[0]->shortcut().isEmpty());
    EXPECT_EQ(window.buttons()[0]->accessibleName(), "Stop & Go");
}

} // namespace
} // namespace glimmerwick
