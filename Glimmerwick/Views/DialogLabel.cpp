#include "Views/DialogLabel.h"

#include "Views/Style.h"

#include <QEvent>
#include <QTextBoundaryFinder>

namespace glimmerwick {

namespace {

/// Longer ones are no words but addresses and the like.
constexpr int longestWord = 30;
constexpr QChar breakHere(0x200b);

/// The toolkit's labels break lines between words alone and cut off the rest of what is longer than a line.
QString withBreaks(const QString& text)
{
    QString result;
    QTextBoundaryFinder finder(QTextBoundaryFinder::Grapheme, text);
    qsizetype start = 0;
    int run = 0;
    for (qsizetype end = finder.toNextBoundary(); end != -1; end = finder.toNextBoundary()) {
        run = text[start].isSpace() ? 0 : run + 1;
        if (run > longestWord) {
            result += breakHere;
        }
        result += text.mid(start, end - start);
        start = end;
    }
    return result;
}

QFont fontOf(DialogLabel::Kind kind)
{
    switch (kind) {
    case DialogLabel::Kind::title:
        return style::systemFont(22, QFont::Bold);
    case DialogLabel::Kind::heading:
        return style::systemFont(15, QFont::Bold);
    case DialogLabel::Kind::text:
        return style::systemFont(13);
    case DialogLabel::Kind::secondary:
        return style::systemFont(12);
    }
    return {};
}

} // namespace

DialogLabel::DialogLabel(Kind kind, const QString& text, Selection selection, QWidget* parent)
    : QLabel(parent), m_kind(kind)
{
    setTextFormat(Qt::PlainText);
    if (selection == Selection::possible) {
        setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    }
    setPlainText(text);
    applyStyle();
}

void DialogLabel::setPlainText(const QString& text)
{
    setAccessibleName(text);
    setText(wordWrap() ? withBreaks(text) : text);
}

void DialogLabel::changeEvent(QEvent* event)
{
    QLabel::changeEvent(event);
    if (event->type() == QEvent::PaletteChange || event->type() == QEvent::ApplicationFontChange) {
        applyStyle();
    }
}

void DialogLabel::applyStyle()
{
    QPalette colors = palette();
    colors.setColor(QPalette::WindowText,
                    m_kind == Kind::secondary ? style::secondaryLabel() : style::label());
    if (colors != palette()) {
        setPalette(colors);
    }
    if (const QFont wanted = fontOf(m_kind); wanted != font()) {
        setFont(wanted);
    }
}

} // namespace glimmerwick
