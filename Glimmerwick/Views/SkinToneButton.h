#pragma once

#include "Models/SkinTone.h"

#include <QColor>
#include <QWidget>

#include <functional>
#include <string>

namespace glimmerwick {

/// One tone of the chooser. Main thread.
class SkinToneButton : public QWidget {
public:
    enum class Pressed { no, yes };

    explicit SkinToneButton(SkinTone tone, QWidget* parent = nullptr);

    SkinTone skinTone() const { return m_skinTone; }

    /// Sent on a click that begins and ends on the button.
    std::function<void(SkinToneButton&)> action;

    /// The emoji in this tone, UTF-8.
    void setEmojiText(const std::string& text);
    const std::string& emojiText() const { return m_emojiText; }

    /// Whether this is the preferred tone.
    void setSelected(bool selected);
    bool isSelected() const { return m_isSelected; }

    /// Whether the keyboard points here, which the button shows and tells assistive technology.
    void setMarked(bool marked);
    bool isMarked() const { return m_isMarked; }

    void updateAppearance(Pressed pressed);
    QColor backgroundColor() const { return m_backgroundColor; }

    /// Sends the action as a click does.
    void performClick();

    QSize sizeHint() const override;

protected:
    void enterEvent(QEnterEvent* event) override;
    void leaveEvent(QEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void changeEvent(QEvent* event) override;
    void paintEvent(QPaintEvent* event) override;

private:
    SkinTone m_skinTone;
    std::string m_emojiText;
    bool m_isSelected = false;
    bool m_isMarked = false;
    bool m_isMouseInside = false;
    Pressed m_pressed = Pressed::no;
    QColor m_backgroundColor = Qt::transparent;
};

} // namespace glimmerwick
