#pragma once

#include <QWidget>

#include <functional>

namespace glimmerwick {

/// The modifier key that was held when an item was picked.
enum class SelectionModifier { none, option };

/// A view that a collection view hands out again after it has scrolled out of sight. Main thread.
class CollectionReusableView : public QWidget {
public:
    using QWidget::QWidget;

    /// Forgets what was shown.
    virtual void prepareForReuse() { }
};

/// One item of a collection view. A click is a press and a release of the left button, both inside. Main
/// thread.
class CollectionViewItem : public CollectionReusableView {
public:
    explicit CollectionViewItem(QWidget* parent = nullptr) : CollectionReusableView(parent) { }

    void prepareForReuse() override { setSelected(false); }

    bool isSelected() const { return m_isSelected; }
    virtual void setSelected(bool selected);

    /// Whether the pointer is over the item. The toolkit tells so by entering and leaving, but not what comes
    /// under a pointer that stays where it is.
    virtual void setMouseInside(bool) { }

    /// Whether the item has something to choose from besides picking it.
    virtual bool hasMenu() const { return false; }
    virtual void showMenu() { }

    /// For the collection view.
    std::function<void(CollectionViewItem&, SelectionModifier)> onClick;

    /// Picks the item as a click does; for assistive technology.
    void performClick();

protected:
    void mousePressEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    /// Makes the release that ends the present press no click.
    void cancelClick() { m_isClick = false; }

private:
    bool m_isSelected = false;
    bool m_isClick = false;
};

} // namespace glimmerwick
