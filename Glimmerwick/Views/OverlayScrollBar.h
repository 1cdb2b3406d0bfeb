#pragma once

#include <QVariantAnimation>
#include <QWidget>

#include <functional>
#include <optional>

namespace glimmerwick {

/// A thin scroll bar that lies over the content, comes with scrolling or the pointer, and fades away. Main
/// thread.
class OverlayScrollBar : public QWidget {
public:
    explicit OverlayScrollBar(QWidget* parent);

    static constexpr int thickness = 8;

    /// Asked for while the user drags the thumb.
    std::function<void(double top)> onScroll;

    /// What part of the content is visible. Takes no room when all of it is.
    void setRange(double top, double visibleHeight, double contentHeight);
    /// Shows the bar for a moment.
    void flash();

protected:
    void enterEvent(QEnterEvent* event) override;
    void leaveEvent(QEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void paintEvent(QPaintEvent* event) override;

private:
    QRectF thumb() const;
    double contentPerPoint() const;

    double m_top = 0;
    double m_visibleHeight = 0;
    double m_contentHeight = 0;
    double m_opacity = 0;
    bool m_isMouseInside = false;
    /// Where in the thumb it is held.
    std::optional<double> m_grip;
    QVariantAnimation m_fade;
};

} // namespace glimmerwick
