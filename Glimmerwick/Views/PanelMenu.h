#pragma once

#include <QRect>
#include <QWidget>

#include <functional>
#include <string>
#include <vector>

namespace glimmerwick {

/// A small menu drawn inside the panel. A menu window of the toolkit would take the keyboard away from the
/// panel. Closes on a click outside it and on a choice, and deletes itself. Main thread.
class PanelMenu : public QWidget {
public:
    struct Item {
        std::string title;
        /// Shown at the right.
        std::string keyEquivalent;
        std::function<void()> action;
    };

    /// Opens in the window of the given view, its top left corner at the point in the view's coordinates,
    /// moved inside the window where needed.
    static PanelMenu* popUp(std::vector<Item> items, QWidget& in, QPoint at);

    const std::vector<Item>& items() const { return m_items; }
    void close();
    void choose(std::size_t index);

    QSize sizeHint() const override;

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void leaveEvent(QEvent* event) override;
    void hideEvent(QHideEvent* event) override;
    void paintEvent(QPaintEvent* event) override;

private:
    PanelMenu(std::vector<Item> items, QWidget* window);

    QRect itemRect(std::size_t index) const;
    int itemAt(QPoint position) const;
    void setHighlighted(int index);

    std::vector<Item> m_items;
    int m_highlighted = -1;
    bool m_isClosed = false;
};

} // namespace glimmerwick
