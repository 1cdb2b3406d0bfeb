#include "Views/Accessibility.h"

#include "Views/CollectionView.h"
#include "Views/SkinToneButton.h"

#include <QAccessible>
#include <QAccessibleWidget>

namespace glimmerwick::accessibility {

namespace {

class AccessibleItem : public QAccessibleWidget {
public:
    explicit AccessibleItem(CollectionViewItem* item) : QAccessibleWidget(item, QAccessible::Button) { }

    QAccessible::State state() const override
    {
        QAccessible::State state = QAccessibleWidget::state();
        state.selectable = true;
        state.selected = item()->isSelected();
        return state;
    }
    QStringList actionNames() const override { return {pressAction()}; }
    void doAction(const QString& name) override
    {
        if (name == pressAction()) {
            item()->performClick();
        }
    }

private:
    CollectionViewItem* item() const { return static_cast<CollectionViewItem*>(widget()); }
};

class AccessibleSkinToneButton : public QAccessibleWidget {
public:
    explicit AccessibleSkinToneButton(SkinToneButton* button) : QAccessibleWidget(button, QAccessible::Button)
    {
    }

    QAccessible::State state() const override
    {
        QAccessible::State state = QAccessibleWidget::state();
        state.selectable = true;
        state.selected = button()->isSelected();
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
    if (auto* grid = dynamic_cast<CollectionView*>(object)) {
        return new QAccessibleWidget(grid, QAccessible::List);
    }
    return nullptr;
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
    view.setAccessibleDescription(identifier);
}

void announceSelection(CollectionViewItem& item)
{
    QAccessibleEvent selected(&item, QAccessible::Selection);
    QAccessible::updateAccessibility(&selected);
    QAccessibleEvent focused(&item, QAccessible::Focus);
    QAccessible::updateAccessibility(&focused);
}

} // namespace glimmerwick::accessibility
