#pragma once

#include "Fakes/FakeTime.h"

#include "Views/DialogButton.h"
#include "Views/DialogLabel.h"
#include "Views/DialogWindow.h"

#include <QApplication>
#include <QKeyEvent>

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

namespace glimmerwick::tests {

/// The windows of the program that are shown, and what is done to them.
class DialogsFixture : public ::testing::Test {
protected:
    ~DialogsFixture() override { QApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete); }

    static std::vector<DialogWindow*> shownWindows()
    {
        std::vector<DialogWindow*> windows;
        for (QWidget* widget : QApplication::topLevelWidgets()) {
            if (auto* window = dynamic_cast<DialogWindow*>(widget); window && window->isVisible()) {
                windows.push_back(window);
            }
        }
        return windows;
    }

    /// Null unless there is exactly one.
    static DialogWindow* shownWindow()
    {
        const auto windows = shownWindows();
        return windows.size() == 1 ? windows.front() : nullptr;
    }

    /// What the labels that can be seen say, from the top.
    static std::vector<std::string> texts(const DialogWindow& window)
    {
        std::vector<DialogLabel*> labels;
        for (QLabel* label : window.findChildren<QLabel*>()) {
            if (auto* own = dynamic_cast<DialogLabel*>(label); own && own->isVisible()) {
                labels.push_back(own);
            }
        }
        std::stable_sort(labels.begin(), labels.end(), [&](const DialogLabel* one, const DialogLabel* other) {
            return one->mapTo(&window, QPoint()).y() < other->mapTo(&window, QPoint()).y();
        });
        std::vector<std::string> found;
        for (const DialogLabel* label : labels) {
            found.push_back(label->plainText().toStdString());
        }
        return found;
    }

    /// In the order of the actions.
    static std::vector<std::string> titles(const DialogWindow& window)
    {
        std::vector<std::string> found;
        for (const DialogButton* button : window.buttons()) {
            found.push_back(button->title().toStdString());
        }
        return found;
    }

    static void press(DialogWindow& window, const std::string& title)
    {
        for (DialogButton* button : window.buttons()) {
            if (button->title().toStdString() == title) {
                button->click();
                return;
            }
        }
        ADD_FAILURE() << "no button " << title;
    }

    static void pressKey(DialogWindow& window, int key)
    {
        ASSERT_NE(window.focusWidget(), nullptr);
        QKeyEvent event(QEvent::KeyPress, key, Qt::NoModifier);
        QApplication::sendEvent(window.focusWidget(), &event);
    }

    fakes::FakeTime time;
};

} // namespace glimmerwick::tests
