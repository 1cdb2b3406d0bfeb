#include "Views/PlainTextView.h"

#include "Views/DevicePixels.h"
#include "Views/Style.h"

#include <QFontDatabase>
#include <QMouseEvent>
#include <QPainter>
#include <QScrollBar>
#include <QTextDocument>

namespace glimmerwick {

namespace {

constexpr int fontSize = 13;
constexpr int fixedFontSize = 12;
constexpr double cornerRadius = 7;
constexpr double ringWidth = 2;
constexpr int frameInset = 3;
constexpr int textInset = 9;

QString scrollBarSheet()
{
    const auto css = [](const QColor& color) {
        return QStringLiteral("rgba(%1, %2, %3, %4)")
            .arg(color.red())
            .arg(color.green())
            .arg(color.blue())
            .arg(color.alpha());
    };
    return QStringLiteral("QScrollBar:vertical { background: transparent; border: none; width: 13px; margin: "
                          "4px 3px 4px 0; }"
                          "QScrollBar::handle:vertical { background: %1; border-radius: 4px; margin: 0 1px; "
                          "min-height: 28px; }"
                          "QScrollBar::handle:vertical:hover { background: %2; }"
                          "QScrollBar::add-line, QScrollBar::sub-line { height: 0; border: none; }"
                          "QScrollBar::add-page, QScrollBar::sub-page { background: none; }")
        .arg(css(style::tertiaryLabel()), css(style::secondaryLabel()));
}

} // namespace

PlainTextView::PlainTextView(const QString& accessibleName, Pitch pitch, QWidget* parent)
    : QPlainTextEdit(parent), m_pitch(pitch)
{
    setAccessibleName(accessibleName);
    setReadOnly(true);
    setUndoRedoEnabled(false);
    setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    setTabChangesFocus(true);
    setFrameShape(QFrame::NoFrame);
    setWordWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setViewportMargins(frameInset, frameInset, frameInset, frameInset);
    document()->setDocumentMargin(textInset - frameInset);
    // The frame's fill has round corners; the toolkit's would not.
    viewport()->setAutoFillBackground(false);
    applyStyle();
}

QColor PlainTextView::backgroundColor() const
{
    return style::controlBackground();
}

bool PlainTextView::event(QEvent* event)
{
    // What the viewport shows is painted by an event of its own.
    if (event->type() == QEvent::Paint) {
        paintFrame();
        return true;
    }
    return QPlainTextEdit::event(event);
}

void PlainTextView::paintFrame()
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    devicePixels::drawFramed(painter, rect(), cornerRadius, backgroundColor(), style::panelBorder());
    if (hasFocus() && window()->testAttribute(Qt::WA_KeyboardFocusChange)) {
        constexpr double inset = ringWidth / 2;
        painter.setPen(QPen(style::accent(), ringWidth));
        painter.drawRoundedRect(QRectF(rect()).adjusted(inset, inset, -inset, -inset), cornerRadius - inset,
                                cornerRadius - inset);
    }
}

void PlainTextView::changeEvent(QEvent* event)
{
    QPlainTextEdit::changeEvent(event);
    if (event->type() == QEvent::PaletteChange || event->type() == QEvent::ApplicationFontChange) {
        applyStyle();
    }
}

void PlainTextView::applyStyle()
{
    QPalette colors = palette();
    colors.setColor(QPalette::Text, style::label());
    colors.setColor(QPalette::Base, Qt::transparent);
    colors.setColor(QPalette::Highlight, style::accent());
    colors.setColor(QPalette::HighlightedText, style::labelOnAccent());
    if (colors != palette()) {
        setPalette(colors);
    }
    if (const QFont wanted = wantedFont(); wanted != font()) {
        setFont(wanted);
    }
    if (const QString sheet = scrollBarSheet(); sheet != verticalScrollBar()->styleSheet()) {
        verticalScrollBar()->setStyleSheet(sheet);
    }
}

QFont PlainTextView::wantedFont() const
{
    if (m_pitch == Pitch::proportional) {
        return style::systemFont(fontSize);
    }
    QFont font = QFontDatabase::systemFont(QFontDatabase::FixedFont);
    font.setPixelSize(fixedFontSize);
    return font;
}

void PlainTextView::focusInEvent(QFocusEvent* event)
{
    QPlainTextEdit::focusInEvent(event);
    update();
}

void PlainTextView::focusOutEvent(QFocusEvent* event)
{
    QPlainTextEdit::focusOutEvent(event);
    update();
}

// Dragging what is selected would run an event loop in here, in which the window's contents, and this view
// with them, may be replaced.
void PlainTextView::mousePressEvent(QMouseEvent* event)
{
    if (event->button() == Qt::LeftButton && !event->modifiers().testFlag(Qt::ShiftModifier)) {
        QTextCursor cursor = textCursor();
        cursor.clearSelection();
        setTextCursor(cursor);
    }
    QPlainTextEdit::mousePressEvent(event);
}

} // namespace glimmerwick
