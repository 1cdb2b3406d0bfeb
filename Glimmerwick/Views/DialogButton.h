#pragma once

#include <QPushButton>

namespace glimmerwick {

/// A button of the program's own windows, painted in the picker's colours. Main thread.
class DialogButton : public QPushButton {
public:
    /// The primary one is filled with the accent.
    enum class Emphasis { primary, secondary };

    DialogButton(const QString& title, Emphasis emphasis, QWidget* parent = nullptr);

    /// Unlike `text`, without what keeps an ampersand from marking a letter.
    const QString& title() const { return m_title; }
    Emphasis emphasis() const { return m_emphasis; }
    QColor fillColor() const;
    QColor titleColor() const;

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override { return sizeHint(); }

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    bool showsFocus() const;
    QColor veilColor() const;

    const QString m_title;
    const Emphasis m_emphasis;
};

} // namespace glimmerwick
