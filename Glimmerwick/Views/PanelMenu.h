#pragma once

#include "Platform/Registration.h"

#include <QWidget>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace glimmerwick {

class PanelMenuItem;

/// A small menu drawn inside the panel. A menu window of the toolkit would take the keyboard away from the
/// panel. Closes on a click outside it and on a choice, and deletes itself. A press inside the window that
/// closes it does nothing else there. Main thread.
class PanelMenu : public QWidget {
public:
    struct Item {
        /// UTF-8, in the user's language.
        std::string title;
        /// The key that does the same with Command, shown at the end of the line; empty for none.
        std::string keyEquivalent;
        std::function<void()> action;
    };

    /// Opens in the window of the given view, its top left corner at the point in the view's coordinates,
    /// moved inside the window where needed; mirrored where the layout runs from the right.
    static PanelMenu* popUp(std::vector<Item> items, QWidget& in, QPoint at);

    const std::vector<Item>& items() const { return m_items; }
    const std::vector<PanelMenuItem*>& itemViews() const { return m_itemViews; }
    void close();
    void choose(std::size_t index);

    bool isShown() const { return !m_isClosed; }
    /// The arrows up and down move the highlight, Return chooses what is highlighted, Escape closes. True
    /// when the key, a code of `keyCode`, was one of these.
    bool handleKey(std::int64_t code);

    QSize sizeHint() const override;

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;
    void leaveEvent(QEvent* event) override;
    void hideEvent(QHideEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void paintEvent(QPaintEvent* event) override;

private:
    PanelMenu(std::vector<Item> items, QWidget* window);

    void addItemViews();
    /// -1 where there is none.
    int itemAt(QPoint position) const;
    void setHighlighted(int index);
    void highlightNext(int step);

    std::vector<Item> m_items;
    std::vector<PanelMenuItem*> m_itemViews;
    int m_highlighted = -1;
    Registration m_lentKeys;
    bool m_isClosed = false;
};

} // namespace glimmerwick
