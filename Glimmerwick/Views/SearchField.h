#pragma once

#include "Views/SymbolLibrary.h"

#include <QLineEdit>

#include <functional>
#include <string>

namespace glimmerwick {

class IconButton;
struct Platform;

/// The text input of the search bar. Main thread.
///
/// Each edit, by the user in the field or by the window on the user's behalf, is told exactly once. A change
/// made by the program (`setText`, `clear`) is not.
class SearchField : public QLineEdit {
public:
    /// The clear button's and the magnifier's pictures come from the platform's resources folder.
    explicit SearchField(const Platform& platform, QWidget* parent = nullptr);

    /// The text was edited.
    std::function<void()> onTextDidChange;
    /// The field's action: Return in the field, and every edit that the window makes.
    std::function<void()> onAction;
    /// Escape in the field; true when it was handled.
    std::function<bool()> onCancel;

    /// Edits on the user's behalf, of UTF-8 text. Each sends the action, then tells of the change.
    void typeText(const std::string& text);
    void appendText(const std::string& text);
    void deleteBackward();

    /// Puts the caret behind as many UTF-16 units as the text has user-perceived characters, which is ahead
    /// of the end when the text holds characters of several units; that is deliberate. Inside a character it
    /// moves on to that character's end.
    void placeCaretByCharacterCount();

protected:
    bool event(QEvent* event) override;
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void changeEvent(QEvent* event) override;

private:
    void edit(const std::function<void()>& change);
    /// Whether the key was one of those that the field handles itself.
    bool editsWithoutPrimarySelection(const QKeyEvent& event);
    void sendAction();
    void tellOfChange();
    /// Takes over colours and font where they have changed.
    void applyStyle();
    void layOut();

    Symbol m_magnifier;
    IconButton* m_clearButton = nullptr;
    bool m_isEditingForUser = false;
};

} // namespace glimmerwick
