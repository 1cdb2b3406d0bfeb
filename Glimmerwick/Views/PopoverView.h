#pragma once

#include "Views/Logic/PopoverPlacement.h"

#include <QPointer>
#include <QSinglePointEvent>
#include <QVariantAnimation>
#include <QWidget>

#include <functional>

namespace glimmerwick {

/// A bubble with an arrow at its anchor, drawn inside the anchor's window. Closes by itself when the user
/// clicks or scrolls outside it and when the anchor goes out of sight, and deletes itself after closing. A
/// click that closes it does nothing else in its window. Main thread.
class PopoverView : public QWidget {
public:
    /// Takes the content, which keeps its size.
    PopoverView(QWidget* content, QWidget& anchor, PopoverEdge preferredEdge);

    /// Called once, when the popover closes for whatever reason, before it has faded away.
    std::function<void()> onClose;

    void close();

    /// From 0 to 1, while it fades in and out.
    double opacity() const;

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;
    void hideEvent(QHideEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void paintEvent(QPaintEvent* event) override;

private:
    void place(PopoverEdge preferredEdge);
    void fade(double from, double to);
    void setOpacity(double opacity);
    bool isOutside(const QWidget* view, const QSinglePointEvent& event) const;

    QWidget* m_content;
    QPointer<QWidget> m_anchor;
    PopoverPlacement m_placement;
    QVariantAnimation m_fade{this};
    bool m_isClosed = false;
};

} // namespace glimmerwick
