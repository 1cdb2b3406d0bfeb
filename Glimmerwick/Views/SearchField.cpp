#include "Views/SearchField.h"

#include "Platform/Platform.h"
#include "Platform/Process.h"
#include "Platform/Qt/Text.h"
#include "Views/Accessibility.h"
#include "Views/DevicePixels.h"
#include "Views/IconButton.h"
#include "Views/Style.h"

#include <QCoreApplication>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QScopedValueRollback>
#include <QStyle>
#include <QTextBoundaryFinder>

#include <algorithm>

namespace glimmerwick {

namespace {

constexpr int fontSize = 14;
constexpr double cornerRadius = 7;
constexpr int magnifierSize = 14;
constexpr int magnifierInset = 8;
constexpr int clearSymbolSize = 14;
constexpr int clearButtonSize = 22;
constexpr int textInset = magnifierInset + magnifierSize + 4;

} // namespace

SearchField::SearchField(const Platform& platform, QWidget* parent) : QLineEdit(parent)
{
    const SymbolLibrary symbols(platform.process.resourcesDirectory);
    m_magnifier = symbols.symbol("magnifyingglass");
    m_clearButton =
        new IconButton(symbols, "xmark.circle.fill", clearSymbolSize, IconButton::HoverFill::none, this);
    m_clearButton->setAccessibleName(QCoreApplication::translate("SearchField", "Clear"));
    m_clearButton->hide();

    accessibility::identify(*this, QStringLiteral("emojiSearchField"));
    setPlaceholderText(QCoreApplication::translate("SearchField", "Search emoji..."));
    setAccessibleName(placeholderText());
    setFrame(false);
    setMinimumHeight(28);
    // The toolkit's menu is a window of its own, which would take the keyboard away from the panel.
    setContextMenuPolicy(Qt::NoContextMenu);
    applyStyle();
    layOut();

    QObject::connect(this, &QLineEdit::textChanged, m_clearButton,
                     [this](const QString& text) { m_clearButton->setVisible(!text.isEmpty()); });
    QObject::connect(this, &QLineEdit::textEdited, this, [this] {
        if (!m_isEditingForUser) {
            tellOfChange();
        }
    });
    QObject::connect(this, &QLineEdit::returnPressed, this, [this] { sendAction(); });
    QObject::connect(m_clearButton, &QAbstractButton::clicked, this, [this] {
        setText({});
        tellOfChange();
    });
}

void SearchField::typeText(const std::string& text)
{
    edit([&] { insert(toQString(text)); });
}

void SearchField::appendText(const std::string& appended)
{
    edit([&] {
        end(false);
        insert(toQString(appended));
    });
}

void SearchField::deleteBackward()
{
    edit([&] { backspace(); });
}

void SearchField::edit(const std::function<void()>& change)
{
    {
        const QScopedValueRollback guard(m_isEditingForUser, true);
        change();
    }
    sendAction();
    tellOfChange();
}

void SearchField::sendAction()
{
    if (onAction) {
        onAction();
    }
}

void SearchField::tellOfChange()
{
    if (onTextDidChange) {
        onTextDidChange();
    }
}

void SearchField::placeCaretByCharacterCount()
{
    const QString content = text();
    QTextBoundaryFinder finder(QTextBoundaryFinder::Grapheme, content);
    int characters = 0;
    while (finder.toNextBoundary() != -1) {
        ++characters;
    }
    finder.setPosition(characters);
    const auto caret = finder.isAtBoundary() ? characters : finder.toNextBoundary();
    setCursorPosition(static_cast<int>(caret));
}

void SearchField::applyStyle()
{
    QPalette colors = palette();
    colors.setColor(QPalette::Base, Qt::transparent);
    colors.setColor(QPalette::Text, style::label());
    colors.setColor(QPalette::PlaceholderText, style::secondaryLabel());
    if (colors != palette()) {
        setPalette(colors);
    }
    if (const QFont wanted = style::systemFont(fontSize); wanted != font()) {
        setFont(wanted);
    }
}

void SearchField::layOut()
{
    const bool isMirrored = layoutDirection() == Qt::RightToLeft;
    setTextMargins(isMirrored ? clearButtonSize : textInset, 0, isMirrored ? textInset : clearButtonSize, 0);
    const QRect clear(width() - clearButtonSize - 2, (height() - clearButtonSize) / 2, clearButtonSize,
                      clearButtonSize);
    m_clearButton->setGeometry(QStyle::visualRect(layoutDirection(), rect(), clear));
}

void SearchField::paintEvent(QPaintEvent* event)
{
    {
        QPainter painter(this);
        painter.setRenderHint(QPainter::Antialiasing);
        devicePixels::drawFramed(painter, rect(), cornerRadius, style::fieldBackground(), style::separator());
        const QRect magnifier(magnifierInset, (height() - magnifierSize) / 2, magnifierSize, magnifierSize);
        SymbolLibrary::draw(painter, QStyle::visualRect(layoutDirection(), rect(), magnifier), m_magnifier,
                            style::secondaryLabel());
    }
    QLineEdit::paintEvent(event);
}

void SearchField::resizeEvent(QResizeEvent* event)
{
    QLineEdit::resizeEvent(event);
    layOut();
}

void SearchField::keyPressEvent(QKeyEvent* event)
{
    if (event->key() == Qt::Key_Escape && onCancel && onCancel()) {
        event->accept();
        return;
    }
    if (editsWithoutPrimarySelection(*event)) {
        return;
    }
    if (event->key() == Qt::Key_Backspace && event->modifiers() == Qt::AltModifier) {
        // The toolkit deletes words with Control alone.
        QKeyEvent deleteWord(event->type(), Qt::Key_Backspace, Qt::ControlModifier);
        QLineEdit::keyPressEvent(&deleteWord);
        return;
    }
    QLineEdit::keyPressEvent(event);
}

// The toolkit makes what is selected in the field the primary selection, and the application in use would
// lose its own.
bool SearchField::editsWithoutPrimarySelection(const QKeyEvent& event)
{
    if (event.matches(QKeySequence::SelectAll)) {
        setSelection(0, static_cast<int>(text().size()));
    } else if (event.matches(QKeySequence::Copy)) {
        copy();
    } else if (event.matches(QKeySequence::Cut)) {
        cut();
    } else {
        return false;
    }
    return true;
}

// For the same reason what the mouse has selected does not become the primary selection.
void SearchField::mouseReleaseEvent(QMouseEvent* event)
{
    if (event->button() != Qt::LeftButton) {
        QLineEdit::mouseReleaseEvent(event);
    }
}

bool SearchField::event(QEvent* event)
{
    const bool isRecognized = QLineEdit::event(event);
    // These reach no change handler.
    if (event->type() == QEvent::ApplicationFontChange || event->type() == QEvent::ApplicationPaletteChange) {
        applyStyle();
    }
    return isRecognized;
}

void SearchField::changeEvent(QEvent* event)
{
    QLineEdit::changeEvent(event);
    switch (event->type()) {
    // Also sent when colours outside the palette have changed, like those of text with high contrast.
    case QEvent::PaletteChange:
    case QEvent::FontChange:
    case QEvent::ThemeChange:
        applyStyle();
        break;
    case QEvent::LayoutDirectionChange:
        layOut();
        break;
    default:
        break;
    }
}

} // namespace glimmerwick
