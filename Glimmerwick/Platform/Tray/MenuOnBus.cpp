#include "Platform/Tray/MenuOnBus.h"

#include <QAction>
#include <QActionEvent>
#include <QGuiApplication>
#include <QKeySequence>
#include <QMenu>

namespace glimmerwick {

namespace {

constexpr int root = 0;

/// The first chord as menus on the bus write it: "Control", "Shift", "Alt", "Super", then the key.
bus::Shortcut chord(const QKeySequence& sequence)
{
    const QKeyCombination keys = sequence[0];
    QStringList names;
    const std::pair<Qt::KeyboardModifier, const char*> modifiers[] = {{Qt::ControlModifier, "Control"},
                                                                      {Qt::AltModifier, "Alt"},
                                                                      {Qt::ShiftModifier, "Shift"},
                                                                      {Qt::MetaModifier, "Super"}};
    for (const auto& [modifier, name] : modifiers) {
        if (keys.keyboardModifiers().testFlag(modifier)) {
            names << QString::fromLatin1(name);
        }
    }
    return {names << QKeySequence(keys.key()).toString(QKeySequence::PortableText).toLower()};
}

/// Mnemonics are marked by "_" on the bus and by "&" in the toolkit.
QString label(QString text)
{
    return text.replace(QLatin1Char('_'), QLatin1String("__"))
        .replace(QLatin1String("&&"), QString(QChar::Null))
        .replace(QLatin1Char('&'), QLatin1Char('_'))
        .replace(QChar::Null, QLatin1Char('&'));
}

QVariantMap properties(const QAction& action)
{
    if (action.isSeparator()) {
        return {{QStringLiteral("type"), QStringLiteral("separator")}};
    }
    QVariantMap properties{{QStringLiteral("label"), label(action.text())},
                           {QStringLiteral("enabled"), action.isEnabled()},
                           {QStringLiteral("visible"), action.isVisible()}};
    if (action.isCheckable()) {
        properties[QStringLiteral("toggle-type")] = QStringLiteral("checkmark");
        properties[QStringLiteral("toggle-state")] = action.isChecked() ? 1 : 0;
    }
    if (!action.shortcut().isEmpty()) {
        properties[QStringLiteral("shortcut")] = QVariant::fromValue(chord(action.shortcut()));
    }
    return properties;
}

/// Those that are asked for; all of them when none is named.
QVariantMap selected(QVariantMap properties, const QStringList& wanted)
{
    if (!wanted.isEmpty()) {
        properties.removeIf([&](const auto& property) { return !wanted.contains(property.key()); });
    }
    return properties;
}

QVariantMap rootProperties()
{
    return {{QStringLiteral("children-display"), QStringLiteral("submenu")}};
}

} // namespace

MenuOnBus::MenuOnBus(QObject& object, QMenu& menu) : QDBusAbstractAdaptor(&object), m_menu(menu)
{
    bus::registerTypes();
    m_layoutChange.setSingleShot(true);
    QObject::connect(&m_layoutChange, &QTimer::timeout, this,
                     [this] { emit LayoutUpdated(++m_revision, root); });
    for (QAction* each : m_menu.actions()) {
        add(each);
    }
    m_menu.installEventFilter(this);
}

QString MenuOnBus::textDirection() const
{
    return QGuiApplication::isRightToLeft() ? QStringLiteral("rtl") : QStringLiteral("ltr");
}

bool MenuOnBus::eventFilter(QObject* watched, QEvent* event)
{
    if (event->type() == QEvent::ActionAdded) {
        add(static_cast<QActionEvent*>(event)->action());
        m_layoutChange.start();
    } else if (event->type() == QEvent::ActionRemoved) {
        m_identifiers.remove(static_cast<QActionEvent*>(event)->action());
        m_layoutChange.start();
    } else if (event->type() == QEvent::ActionChanged) {
        const QAction* changed = static_cast<QActionEvent*>(event)->action();
        emit ItemsPropertiesUpdated({{m_identifiers.value(changed), properties(*changed)}}, {});
    }
    return QDBusAbstractAdaptor::eventFilter(watched, event);
}

void MenuOnBus::add(QAction* action)
{
    m_identifiers[action] = ++m_lastIdentifier;
}

QAction* MenuOnBus::action(int identifier) const
{
    for (QAction* each : m_menu.actions()) {
        if (m_identifiers.value(each) == identifier) {
            return each;
        }
    }
    return nullptr;
}

bool MenuOnBus::isKnown(int identifier) const
{
    return identifier == root || action(identifier);
}

uint MenuOnBus::GetLayout(int parent, int depth, const QStringList& wanted, bus::MenuLayout& layout)
{
    layout.identifier = parent;
    if (const QAction* item = action(parent)) {
        layout.properties = selected(properties(*item), wanted);
    } else if (parent == root) {
        layout.properties = selected(rootProperties(), wanted);
        if (depth != 0) {
            for (const QAction* each : m_menu.actions()) {
                const bus::MenuLayout child{
                    m_identifiers.value(each), selected(properties(*each), wanted), {}};
                layout.children << QDBusVariant(QVariant::fromValue(child));
            }
        }
    }
    return m_revision;
}

QList<bus::MenuProperties> MenuOnBus::GetGroupProperties(const QList<int>& identifiers,
                                                         const QStringList& wanted)
{
    QList<bus::MenuProperties> found;
    const auto append = [&](int identifier, const QVariantMap& all) {
        if (identifiers.isEmpty() || identifiers.contains(identifier)) {
            found << bus::MenuProperties{identifier, selected(all, wanted)};
        }
    };
    append(root, rootProperties());
    for (const QAction* each : m_menu.actions()) {
        append(m_identifiers.value(each), properties(*each));
    }
    return found;
}

QDBusVariant MenuOnBus::GetProperty(int identifier, const QString& name)
{
    const auto found = GetGroupProperties({identifier}, {name});
    const QVariant value = found.isEmpty() ? QVariant() : found.first().properties.value(name);
    // Every answer holds something.
    return QDBusVariant(value.isValid() ? value : QVariant(QString()));
}

void MenuOnBus::Event(int identifier, const QString& event, const QDBusVariant&, uint)
{
    if (identifier == root && event == QStringLiteral("opened")) {
        AboutToShow(root);
        return;
    }
    QAction* clicked = event == QStringLiteral("clicked") ? action(identifier) : nullptr;
    if (clicked) {
        // Later, so that whoever draws the menu has the answer by then.
        QMetaObject::invokeMethod(clicked, &QAction::trigger, Qt::QueuedConnection);
    }
}

QList<int> MenuOnBus::EventGroup(const QList<bus::MenuEvent>& events)
{
    QList<int> unknown;
    for (const bus::MenuEvent& each : events) {
        if (isKnown(each.identifier)) {
            Event(each.identifier, each.event, each.data, each.timestamp);
        } else {
            unknown << each.identifier;
        }
    }
    return unknown;
}

bool MenuOnBus::AboutToShow(int identifier)
{
    if (identifier == root) {
        emit m_menu.aboutToShow();
    }
    // What has changed by that has been told of one by one.
    return false;
}

QList<int> MenuOnBus::AboutToShowGroup(const QList<int>& identifiers, QList<int>& unknown)
{
    for (const int identifier : identifiers) {
        AboutToShow(identifier);
        if (!isKnown(identifier)) {
            unknown << identifier;
        }
    }
    return {};
}

} // namespace glimmerwick
