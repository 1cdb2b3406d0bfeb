#pragma once

#include <QColor>
#include <QString>
#include <QWidget>

#include <functional>

namespace glimmerwick {

/// One line of a menu. The mouse goes through it to the menu. Main thread.
class PanelMenuItem : public QWidget {
public:
    static constexpr int lineHeight = 24;

    PanelMenuItem(const QString& title, const QString& keyEquivalent, QWidget* menu);

    /// Assistive technology pressed it.
    std::function<void()> onPress;

    const QString& title() const { return m_title; }
    const QString& keyEquivalent() const { return m_keyEquivalent; }

    void setHighlighted(bool highlighted);
    bool isHighlighted() const { return m_isHighlighted; }
    /// The colour of the title.
    QColor textColor() const;

    /// Wide enough for both texts. Narrower, the title is elided.
    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    QString m_title;
    QString m_keyEquivalent;
    bool m_isHighlighted = false;
};

} // namespace glimmerwick
