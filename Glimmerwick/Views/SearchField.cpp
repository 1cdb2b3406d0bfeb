#include "Views/SearchField.h"

#include "Platform/Platform.h"
#include "Platform/Process.h"
#include "Platform/Qt/Text.h"
#include "Views/Accessibility.h"
#include "Views/IconButton.h"
#include "Views/Style.h"
#include "Views/SymbolLibrary.h"

#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QScopedValueRollback>
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
constexpr int textInsetLeft = magnifierInset + magnifierSize + 4;

} // namespace

SearchField::SearchField(const Platform& platform, QWidget* parent) : QLineEdit(parent)
{
    const SymbolLibrary symbols(platform.process.resourcesDirectory);
    m_magnifierPath = symbols.path("magnifyingglass");
    m_clearButton =
        new IconButton(symbols, "xmark.circle.fill", clearSymbolSize, IconButton::HoverFill::none, this);
    m_clearButton->setAccessibleName(QStringLiteral("Clear"));
    m_clearButton->hide();

    accessibility::identify(*this, QStringLiteral("emojiSearchField"));
    setPlaceholderText(QStringLiteral("Search emoji..."));
    setAccessibleName(placeholderText());
    setFrame(false);
    setFont(style::systemFont(fontSize));
    setTextMargins(textInsetLeft, 0, clearButtonSize, 0);
    setMinimumHeight(28);
    // The toolkit's menu is a window of its own, which would take the keyboard away from the panel.
    setContextMenuPolicy(Qt::NoContextMenu);
    applyColors();

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

void SearchField::applyColors()
{
    QPalette colors = palette();
    colors.setColor(QPalette::Base, Qt::transparent);
    colors.setColor(QPalette::Text, style::label());
    colors.setColor(QPalette::PlaceholderText, style::secondaryLabel());
    setPalette(colors);
}

void SearchField::paintEvent(QPaintEvent* event)
{
    {
        QPainter painter(this);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setPen(QPen(style::separator(), 1));
        painter.setBrush(style::fieldBackground());
        painter.drawRoundedRect(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5), cornerRadius, cornerRadius);
        if (!m_magnifierPath.isEmpty()) {
            painter.drawPixmap(magnifierInset, (height() - magnifierSize) / 2,
                               SymbolLibrary::pixmap(m_magnifierPath, magnifierSize, style::secondaryLabel(),
                                                     devicePixelRatioF()));
        }
    }
    QLineEdit::paintEvent(event);
}

void SearchField::resizeEvent(QResizeEvent* event)
{
    QLineEdit::resizeEvent(event);
    m_clearButton->setGeometry(width() - clearButtonSize - 2, (height() - clearButtonSize) / 2,
                               clearButtonSize, clearButtonSize);
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

void SearchField::changeEvent(QEvent* event)
{
    QLineEdit::changeEvent(event);
    if (event->type() == QEvent::ApplicationPaletteChange || event->type() == QEvent::ThemeChange) {
        applyColors();
    }
}

} // namespace glimmerwick
