#include "Views/DialogWindow.h"

#include "Views/Accessibility.h"
#include "Views/DialogButton.h"
#include "Views/ProgramIcon.h"
#include "Views/Style.h"

#include <QCursor>
#include <QEvent>
#include <QGuiApplication>
#include <QHBoxLayout>
#include <QScreen>

#include <algorithm>
#include <utility>

namespace glimmerwick {

namespace {

constexpr QMargins margins(24, 24, 24, 20);
constexpr int buttonGap = 8;
constexpr int buttonRowGap = 22;
constexpr int apartGap = 24;

enum class ButtonOrder { defaultFirst, defaultLast };

/// The toolkit would tell, had the program not kept the desktop's name from it.
ButtonOrder desktopsButtonOrder()
{
    const QList<QByteArray> names = qgetenv("XDG_CURRENT_DESKTOP").toUpper().split(':');
    return names.contains("KDE") || names.contains("LXQT") ? ButtonOrder::defaultFirst
                                                           : ButtonOrder::defaultLast;
}

void remove(QLayout& layout, QPointer<QWidget>& widget)
{
    if (widget) {
        layout.removeWidget(widget);
        widget->hide();
        // A press of one of its buttons may be what has led here.
        widget->deleteLater();
        widget.clear();
    }
}

} // namespace

DialogWindow::DialogWindow(const QString& title)
    : QDialog(nullptr,
              Qt::Window | Qt::CustomizeWindowHint | Qt::WindowTitleHint | Qt::WindowSystemMenuHint
                  | Qt::WindowCloseButtonHint),
      m_layout(new QVBoxLayout(this))
{
    accessibility::setRole(*this, QAccessible::Dialog);
    setWindowTitle(title);
    setWindowIcon(ProgramIcon::icon());
    setAttribute(Qt::WA_DeleteOnClose);
    setAttribute(Qt::WA_QuitOnClose, false);
    m_layout->setContentsMargins(margins);
    m_layout->setSpacing(buttonRowGap);
    m_layout->setSizeConstraint(QLayout::SetFixedSize);
    applyStyle();
}

DialogWindow::~DialogWindow() = default;

void DialogWindow::setContents(QWidget* body, std::vector<DialogAction> actions, std::size_t closingAction)
{
    remove(*m_layout, m_body);
    remove(*m_layout, m_buttonRow);
    m_actions = std::move(actions);
    m_closingAction = closingAction;
    m_body = body;
    m_layout->addWidget(body);
    m_buttonRow = makeButtonRow();
    m_layout->addWidget(m_buttonRow);
    // To a window that is shown already they are added hidden.
    body->show();
    m_buttonRow->show();
    if (!m_buttons.empty()) {
        m_buttons.front()->setDefault(true);
        m_buttons.front()->setFocus(Qt::OtherFocusReason);
    }
    fit();
}

DialogButton* DialogWindow::makeButton(std::size_t index, QWidget* row)
{
    const DialogAction& action = m_actions[index];
    const bool isPrimary = index == 0 && action.tone == DialogAction::Tone::decisive;
    auto* button = new DialogButton(
        action.title, isPrimary ? DialogButton::Emphasis::primary : DialogButton::Emphasis::secondary, row);
    QObject::connect(button, &QPushButton::clicked, this, [this, index] { press(index); });
    return button;
}

QWidget* DialogWindow::makeButtonRow()
{
    auto* row = new QWidget(this);
    auto* layout = new QHBoxLayout(row);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(buttonGap);
    std::vector<std::size_t> answers;
    std::vector<std::size_t> apart;
    for (std::size_t index = 0; index < m_actions.size(); ++index) {
        (m_actions[index].place == DialogAction::Place::apart ? apart : answers).push_back(index);
    }
    if (desktopsButtonOrder() == ButtonOrder::defaultLast) {
        std::reverse(answers.begin(), answers.end());
    }
    m_buttons.assign(m_actions.size(), nullptr);
    // Made as they stand, so that Tab goes that way.
    const auto add = [&](std::size_t index) {
        m_buttons[index] = makeButton(index, row);
        layout->addWidget(m_buttons[index]);
    };
    std::for_each(apart.begin(), apart.end(), add);
    layout->addSpacing(apart.empty() ? 0 : apartGap);
    layout->addStretch();
    std::for_each(answers.begin(), answers.end(), add);
    return row;
}

void DialogWindow::press(std::size_t index)
{
    if (index >= m_actions.size()) {
        return;
    }
    const DialogAction action = m_actions[index];
    switch (action.effect) {
    case DialogAction::Effect::closes:
        withdraw();
        break;
    case DialogAction::Effect::waits:
        stopAnswering();
        break;
    case DialogAction::Effect::none:
        break;
    }
    if (action.pressed) {
        action.pressed();
    }
}

void DialogWindow::stopAnswering()
{
    m_actions.clear();
    for (DialogButton* button : m_buttons) {
        button->setEnabled(false);
    }
}

void DialogWindow::withdraw()
{
    m_actions.clear();
    QDialog::reject();
}

// Escape and the title bar's button end up here.
void DialogWindow::reject()
{
    if (m_closingAction < m_actions.size()) {
        press(m_closingAction);
    } else {
        withdraw();
    }
}

void DialogWindow::present(Attention attention)
{
    const bool isAsked = attention == Attention::asked;
    if (!isVisible()) {
        fit();
        moveToPointersScreen();
        setAttribute(Qt::WA_ShowWithoutActivating, !isAsked);
        show();
    }
    if (isAsked) {
        // A minimised window counts as visible, and is neither raised nor activated.
        setWindowState(windowState() & ~Qt::WindowMinimized);
        raise();
        activateWindow();
    }
}

void DialogWindow::fit()
{
    for (QWidget* part : {m_body.data(), m_buttonRow.data()}) {
        if (part && part->layout()) {
            part->layout()->activate();
        }
    }
    const int centre = geometry().center().x();
    m_layout->invalidate();
    m_layout->activate();
    if (isVisible()) {
        keepInPlace(centre);
    }
}

void DialogWindow::moveToPointersScreen()
{
    const QScreen* screen = QGuiApplication::screenAt(QCursor::pos());
    if (!screen) {
        screen = QGuiApplication::primaryScreen();
    }
    if (screen) {
        const QRect area = screen->availableGeometry();
        move(area.center() - QPoint(width() / 2, height() / 2));
    }
}

/// Contents that replace smaller ones grow downwards, and to both sides.
void DialogWindow::keepInPlace(int centre)
{
    const QRect area = screen()->availableGeometry();
    const int above = std::max(0, frameGeometry().bottom() - area.bottom());
    const QPoint wanted(pos().x() + centre - geometry().center().x(),
                        std::max(area.top(), pos().y() - above));
    if (wanted != pos()) {
        move(wanted);
    }
}

void DialogWindow::changeEvent(QEvent* event)
{
    QDialog::changeEvent(event);
    if (event->type() == QEvent::PaletteChange) {
        applyStyle();
    }
}

void DialogWindow::applyStyle()
{
    QPalette colors = palette();
    colors.setColor(QPalette::Window, style::panelBackground(Backdrop::opaque));
    colors.setColor(QPalette::WindowText, style::label());
    colors.setColor(QPalette::Highlight, style::accent());
    colors.setColor(QPalette::HighlightedText, style::labelOnAccent());
    if (colors != palette()) {
        setPalette(colors);
    }
}

} // namespace glimmerwick
