#include "Views/Accessibility.h"

#include "Views/CollectionView.h"
#include "Views/SkinToneButton.h"
#include "Views/SkinToneSelectorView.h"

#include <QAccessibleWidget>
#include <QPointer>

#include <algorithm>
#include <vector>

namespace glimmerwick::accessibility {

namespace {

constexpr const char* roleProperty = "glimmerwickAccessibleRole";

/// The windows whose keys something that lies over them takes, once for each of those.
std::vector<const QWidget*>& lendingWindows()
{
    static std::vector<const QWidget*> windows;
    return windows;
}

void endLending(const QWidget* window)
{
    std::vector<const QWidget*>& windows = lendingWindows();
    const auto found = std::find(windows.begin(), windows.end(), window);
    if (found != windows.end()) {
        windows.erase(found);
    }
}

bool lendsKeys(const QWidget& window)
{
    const std::vector<const QWidget*>& windows = lendingWindows();
    return std::find(windows.begin(), windows.end(), &window) != windows.end();
}

CollectionView* collectionView(const QWidget& item)
{
    for (QWidget* parent = item.parentWidget(); parent; parent = parent->parentWidget()) {
        if (auto* view = dynamic_cast<CollectionView*>(parent)) {
            return view;
        }
    }
    return nullptr;
}

class AccessibleItem : public QAccessibleWidget {
public:
    explicit AccessibleItem(CollectionViewItem* item) : QAccessibleWidget(item, QAccessible::Button) { }

    QAccessibleInterface* parent() const override
    {
        CollectionView* list = collectionView(*item());
        return list ? QAccessible::queryAccessibleInterface(list) : QAccessibleWidget::parent();
    }
    QAccessible::State state() const override
    {
        const CollectionView* list = collectionView(*item());
        QAccessible::State state = QAccessibleWidget::state();
        state.selectable = true;
        state.focusable = true;
        state.selected = item()->isSelected();
        state.focused = item()->isSelected() && list && hasKeys(*list);
        state.hasPopup = item()->hasMenu();
        return state;
    }
    QStringList actionNames() const override
    {
        return item()->hasMenu() ? QStringList{pressAction(), showMenuAction()} : QStringList{pressAction()};
    }
    void doAction(const QString& name) override
    {
        if (name == pressAction()) {
            item()->performClick();
        } else if (name == showMenuAction()) {
            item()->showMenu();
        }
    }

private:
    CollectionViewItem* item() const { return static_cast<CollectionViewItem*>(widget()); }
};

/// Its children are the headers and items in sight, from the first to the last. Those that wait to be used
/// again, or stand ready above and below, are nothing to tell of.
class AccessibleCollectionView : public QAccessibleWidget {
public:
    explicit AccessibleCollectionView(CollectionView* view) : QAccessibleWidget(view, QAccessible::List) { }

    int childCount() const override { return static_cast<int>(view()->viewsInSight().size()); }
    QAccessibleInterface* child(int index) const override
    {
        const std::vector<QWidget*> views = view()->viewsInSight();
        return index >= 0 && index < static_cast<int>(views.size())
            ? QAccessible::queryAccessibleInterface(views[static_cast<std::size_t>(index)])
            : nullptr;
    }
    int indexOfChild(const QAccessibleInterface* child) const override
    {
        const std::vector<QWidget*> views = view()->viewsInSight();
        const auto found = std::find(views.begin(), views.end(), child ? child->object() : nullptr);
        return found == views.end() ? -1 : static_cast<int>(found - views.begin());
    }
    QAccessibleInterface* childAt(int x, int y) const override
    {
        const std::vector<QWidget*> views = view()->viewsInSight();
        const auto found = std::find_if(views.begin(), views.end(), [&](const QWidget* candidate) {
            return candidate->rect().contains(candidate->mapFromGlobal(QPoint(x, y)));
        });
        return found == views.end() ? nullptr : QAccessible::queryAccessibleInterface(*found);
    }
    QAccessibleInterface* focusChild() const override
    {
        if (!hasKeys(*view())) {
            return nullptr;
        }
        CollectionViewItem* selected = view()->selectedView();
        return QAccessible::queryAccessibleInterface(selected ? static_cast<QWidget*>(selected) : view());
    }
    QAccessible::State state() const override
    {
        QAccessible::State state = QAccessibleWidget::state();
        state.focused = hasKeys(*view()) && !view()->selectedView();
        return state;
    }

private:
    CollectionView* view() const { return static_cast<CollectionView*>(widget()); }
};

class AccessibleSkinToneButton : public QAccessibleWidget {
public:
    explicit AccessibleSkinToneButton(SkinToneButton* button) : QAccessibleWidget(button, QAccessible::Button)
    {
    }

    QAccessible::State state() const override
    {
        const auto* selector = dynamic_cast<SkinToneSelectorView*>(button()->parentWidget());
        QAccessible::State state = QAccessibleWidget::state();
        state.selectable = true;
        state.focusable = true;
        state.selected = button()->isSelected();
        state.focused = button()->isVisible() && selector && selector->currentButton() == button();
        return state;
    }
    QStringList actionNames() const override { return {pressAction()}; }
    void doAction(const QString& name) override
    {
        if (name == pressAction()) {
            button()->performClick();
        }
    }

private:
    SkinToneButton* button() const { return static_cast<SkinToneButton*>(widget()); }
};

QAccessibleInterface* makeInterface(const QString&, QObject* object)
{
    if (auto* item = dynamic_cast<CollectionViewItem*>(object)) {
        return new AccessibleItem(item);
    }
    if (auto* button = dynamic_cast<SkinToneButton*>(object)) {
        return new AccessibleSkinToneButton(button);
    }
    if (auto* view = dynamic_cast<CollectionView*>(object)) {
        return new AccessibleCollectionView(view);
    }
    const QVariant role = object->property(roleProperty);
    if (object->isWidgetType() && role.isValid()) {
        return new QAccessibleWidget(static_cast<QWidget*>(object),
                                     static_cast<QAccessible::Role>(role.toInt()));
    }
    return nullptr;
}

void tell(QWidget& view, QAccessible::Event kind)
{
    QAccessibleEvent event(&view, kind);
    QAccessible::updateAccessibility(&event);
}

} // namespace

void install()
{
    static const bool isInstalled = [] {
        QAccessible::installFactory(makeInterface);
        return true;
    }();
    static_cast<void>(isInstalled);
}

void identify(QWidget& view, const QString& identifier)
{
    view.setObjectName(identifier);
}

void setRole(QWidget& view, QAccessible::Role role)
{
    install();
    view.setProperty(roleProperty, static_cast<int>(role));
}

bool hasKeys(const QWidget& view)
{
    const QWidget* window = view.window();
    return view.isVisible() && window->focusWidget() == &view && !lendsKeys(*window);
}

Registration lendKeys(QWidget& window)
{
    lendingWindows().push_back(&window);
    return Registration([address = &window, window = QPointer<QWidget>(&window)] {
        endLending(address);
        if (window) {
            announceKeys(*window);
        }
    });
}

void announceFocus(QWidget& view)
{
    tell(view, QAccessible::Focus);
}

void announceKeys(QWidget& window)
{
    QWidget* focused = window.focusWidget();
    if (!focused || !hasKeys(*focused)) {
        return;
    }
    if (auto* collection = dynamic_cast<CollectionView*>(focused)) {
        collection->announceFocus();
    } else {
        announceFocus(*focused);
    }
}

void announceSelection(CollectionViewItem& item)
{
    tell(item, item.isSelected() ? QAccessible::SelectionAdd : QAccessible::SelectionRemove);
    if (CollectionView* list = collectionView(item)) {
        tell(*list, QAccessible::SelectionWithin);
    }
}

} // namespace glimmerwick::accessibility
