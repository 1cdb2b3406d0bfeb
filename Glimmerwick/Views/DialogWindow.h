#pragma once

#include "Platform/Attention.h"

#include <QDialog>
#include <QPointer>
#include <QVBoxLayout>

#include <cstddef>
#include <functional>
#include <vector>

namespace glimmerwick {

class DialogButton;

/// A button of a `DialogWindow`.
struct DialogAction {
    enum class Effect {
        /// Closes the window.
        closes,
        /// The window stays, with buttons that can no longer be pressed, until it is given new contents.
        waits,
        /// Nothing by itself; may be pressed again and again.
        none,
    };
    enum class Place {
        /// With the others, in the desktop's order.
        answer,
        /// At the other end of the row.
        apart,
    };

    enum class Tone {
        /// What the window is there for; filled with the accent where it is the first.
        decisive,
        plain,
    };

    QString title;
    /// Runs inside the press, at most once unless the effect is `none`; what it leads to must come later.
    std::function<void()> pressed;
    Effect effect = Effect::closes;
    Place place = Place::answer;
    Tone tone = Tone::decisive;
};

/// A window of the program besides the picker: a body, and a row of buttons beneath it. An ordinary window
/// for the desktop, as large as its contents, which never blocks anything. Deletes itself when it is closed.
/// Follows the desktop's appearance. Main thread.
class DialogWindow : public QDialog {
public:
    explicit DialogWindow(const QString& title);
    ~DialogWindow() override;

    /// Replaces what is shown. The window owns the body. The first action is what Return does; closing the
    /// window does as the action of this index would.
    void setContents(QWidget* body, std::vector<DialogAction> actions, std::size_t closingAction);

    /// Shows the window in the middle of the screen with the pointer; one that is shown already stays where
    /// it is and comes to the front when it was asked for.
    void present(Attention attention);

    /// Fits the window to contents that have changed their size.
    void fit();

    /// Closes the window as if there were no actions.
    void withdraw();

    QWidget* body() const { return m_body; }
    const std::vector<DialogButton*>& buttons() const { return m_buttons; }

    void reject() override;

protected:
    void changeEvent(QEvent* event) override;

private:
    QWidget* makeButtonRow();
    DialogButton* makeButton(std::size_t index, QWidget* row);
    void press(std::size_t index);
    void stopAnswering();
    void applyStyle();
    void moveToPointersScreen();
    void keepInPlace(int centre);

    QVBoxLayout* m_layout;
    QPointer<QWidget> m_body;
    QPointer<QWidget> m_buttonRow;
    std::vector<DialogAction> m_actions;
    /// In the actions' order.
    std::vector<DialogButton*> m_buttons;
    std::size_t m_closingAction = 0;
};

} // namespace glimmerwick
