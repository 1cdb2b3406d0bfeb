#include "Views/AccessibleControls.h"

#include "Views/CategoryButton.h"
#include "Views/CategoryHeaderView.h"
#include "Views/CategoryTabBar.h"
#include "Views/IconButton.h"
#include "Views/NoResultsLabel.h"
#include "Views/PanelMenu.h"
#include "Views/PanelMenuItem.h"
#include "Views/ToastView.h"

#include <QAbstractButton>
#include <QAccessible>
#include <QAccessibleWidget>

namespace glimmerwick::accessibility {

namespace {

/// Unlike the toolkit's, it is pressed at once.
class AccessibleButton : public QAccessibleWidget {
public:
    explicit AccessibleButton(QAbstractButton* button) : QAccessibleWidget(button, QAccessible::Button) { }

    QAccessible::State state() const override
    {
        QAccessible::State state = QAccessibleWidget::state();
        state.pressed = button()->isDown();
        return state;
    }
    /// Without the tool tip, which says the name once more.
    QString text(QAccessible::Text kind) const override
    {
        return kind == QAccessible::Description ? button()->accessibleDescription()
                                                : QAccessibleWidget::text(kind);
    }
    QStringList actionNames() const override { return {pressAction()}; }
    void doAction(const QString& name) override
    {
        if (name == pressAction()) {
            button()->click();
        }
    }

private:
    QAbstractButton* button() const { return static_cast<QAbstractButton*>(widget()); }
};

class AccessibleTab : public AccessibleButton {
public:
    explicit AccessibleTab(CategoryButton* button) : AccessibleButton(button) { }

    QAccessible::State state() const override
    {
        QAccessible::State state = AccessibleButton::state();
        state.checkable = true;
        state.checked = static_cast<CategoryButton*>(widget())->isSelected();
        return state;
    }
};

class AccessibleMenuItem : public QAccessibleWidget {
public:
    explicit AccessibleMenuItem(PanelMenuItem* item) : QAccessibleWidget(item, QAccessible::MenuItem) { }

    QAccessible::State state() const override
    {
        QAccessible::State state = QAccessibleWidget::state();
        state.focusable = true;
        state.focused = item()->isHighlighted();
        return state;
    }
    QString text(QAccessible::Text kind) const override
    {
        return kind == QAccessible::Accelerator ? item()->keyEquivalent() : QAccessibleWidget::text(kind);
    }
    QStringList actionNames() const override { return {pressAction()}; }
    void doAction(const QString& name) override
    {
        if (name == pressAction() && item()->onPress) {
            item()->onPress();
        }
    }

private:
    PanelMenuItem* item() const { return static_cast<PanelMenuItem*>(widget()); }
};

QAccessibleInterface* makeInterface(const QString&, QObject* object)
{
    if (auto* button = dynamic_cast<CategoryButton*>(object)) {
        return new AccessibleTab(button);
    }
    if (auto* button = dynamic_cast<IconButton*>(object)) {
        return new AccessibleButton(button);
    }
    if (auto* tabBar = dynamic_cast<CategoryTabBar*>(object)) {
        return new QAccessibleWidget(tabBar, QAccessible::ToolBar);
    }
    if (auto* header = dynamic_cast<CategoryHeaderView*>(object)) {
        return new QAccessibleWidget(header, QAccessible::Heading);
    }
    if (auto* menu = dynamic_cast<PanelMenu*>(object)) {
        return new QAccessibleWidget(menu, QAccessible::PopupMenu);
    }
    if (auto* item = dynamic_cast<PanelMenuItem*>(object)) {
        return new AccessibleMenuItem(item);
    }
    if (auto* toast = dynamic_cast<ToastView*>(object)) {
        return new QAccessibleWidget(toast, QAccessible::AlertMessage);
    }
    // Screen readers speak notifications as they appear.
    if (auto* label = dynamic_cast<NoResultsLabel*>(object)) {
        return new QAccessibleWidget(label, QAccessible::Notification);
    }
    return nullptr;
}

} // namespace

void installControls()
{
    static const bool isInstalled = [] {
        QAccessible::installFactory(makeInterface);
        return true;
    }();
    static_cast<void>(isInstalled);
}

void announceChecked(QWidget& view)
{
    QAccessible::State changed;
    changed.checked = true;
    QAccessibleStateChangeEvent event(&view, changed);
    QAccessible::updateAccessibility(&event);
}

} // namespace glimmerwick::accessibility
