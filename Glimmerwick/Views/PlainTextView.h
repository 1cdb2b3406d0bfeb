#pragma once

#include <QPlainTextEdit>

namespace glimmerwick {

/// A long text to read, scroll and select. Nothing in it is markup or a link. Main thread.
class PlainTextView : public QPlainTextEdit {
public:
    /// Texts with columns need a fixed pitch.
    enum class Pitch { proportional, fixed };

    PlainTextView(const QString& accessibleName, Pitch pitch, QWidget* parent = nullptr);

    QColor backgroundColor() const;

protected:
    bool event(QEvent* event) override;
    void changeEvent(QEvent* event) override;
    void focusInEvent(QFocusEvent* event) override;
    void focusOutEvent(QFocusEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;

private:
    QFont wantedFont() const;
    void applyStyle();
    void paintFrame();

    const Pitch m_pitch;
};

} // namespace glimmerwick
