// A Qt application to type into. It writes its text to a file on every change, and every key and focus event
// to a log, one a line. Where the caret, the other end of the selection and the scroll bar are stands in a
// file with ".view" behind the text's name.
//
// usage: glimmerwick-qt-target NAME TEXT-FILE LOG-FILE     NAME is the window's class

#include <QApplication>
#include <QFile>
#include <QKeyEvent>
#include <QKeySequence>
#include <QMouseEvent>
#include <QPlainTextEdit>
#include <QSaveFile>
#include <QScrollBar>

#include <cstdio>

namespace {

/// Notes what the window system tells the window, before any widget has a say.
class EventLog : public QObject {
public:
    EventLog(const QString& path, QWidget& window) : m_file(path), m_window(window)
    {
        m_isOpen = m_file.open(QIODevice::WriteOnly | QIODevice::Truncate | QIODevice::Unbuffered);
    }

    bool isOpen() const { return m_isOpen; }

    bool eventFilter(QObject* receiver, QEvent* event) override
    {
        const bool fromWindowSystem = event->spontaneous();
        if (receiver->isWindowType() && fromWindowSystem) {
            noteKey(event);
            noteButton(event);
        }
        if (receiver == &m_window) {
            noteFocus(event);
        }
        return false;
    }

private:
    void noteKey(const QEvent* event)
    {
        if (event->type() != QEvent::KeyPress && event->type() != QEvent::KeyRelease) {
            return;
        }
        const auto& key = static_cast<const QKeyEvent&>(*event);
        QByteArray modifiers;
        for (const auto& [modifier, name] : {std::pair{Qt::ControlModifier, "ctrl+"},
                                             {Qt::ShiftModifier, "shift+"},
                                             {Qt::AltModifier, "alt+"},
                                             {Qt::MetaModifier, "super+"}}) {
            if (key.modifiers().testFlag(modifier)) {
                modifiers += name;
            }
        }
        const QByteArray kind = event->type() == QEvent::KeyPress ? "press " : "release ";
        write(kind + modifiers + QKeySequence(key.key()).toString().toLower().toUtf8());
    }

    void noteButton(const QEvent* event)
    {
        if (event->type() != QEvent::MouseButtonPress) {
            return;
        }
        switch (static_cast<const QMouseEvent&>(*event).button()) {
        case Qt::LeftButton:
            write("button 1");
            break;
        case Qt::RightButton:
            write("button 3");
            break;
        default:
            break;
        }
    }

    void noteFocus(const QEvent* event)
    {
        if (event->type() == QEvent::WindowActivate) {
            write("focus-in");
        } else if (event->type() == QEvent::WindowDeactivate) {
            write("focus-out");
        }
    }

    void write(const QByteArray& line) { m_file.write(line + '\n'); }

    QFile m_file;
    QWidget& m_window;
    bool m_isOpen = false;
};

bool save(const QString& path, const QString& text)
{
    QSaveFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(text.toUtf8()) >= 0 && file.commit();
}

QString viewOf(const QPlainTextEdit& editor)
{
    const QTextCursor cursor = editor.textCursor();
    return QStringLiteral("%1 %2 %3")
        .arg(cursor.position())
        .arg(cursor.anchor())
        .arg(editor.verticalScrollBar()->value());
}

} // namespace

int main(int argc, char** argv)
{
    QApplication application(argc, argv);
    const QStringList arguments = QApplication::arguments();
    if (arguments.size() != 4) {
        std::fputs("usage: glimmerwick-qt-target NAME TEXT-FILE LOG-FILE\n", stderr);
        return 2;
    }
    const QString name = arguments.at(1);
    const QString textPath = arguments.at(2);
    QApplication::setApplicationName(name);
    QApplication::setDesktopFileName(name);

    QPlainTextEdit editor;
    EventLog log(arguments.at(3), editor);
    const QString viewPath = textPath + ".view";
    if (!log.isOpen() || !save(textPath, {}) || !save(viewPath, viewOf(editor))) {
        std::fputs("glimmerwick-qt-target: cannot write its files\n", stderr);
        return 1;
    }
    application.installEventFilter(&log);
    QObject::connect(&editor, &QPlainTextEdit::textChanged, [&] {
        if (!save(textPath, editor.toPlainText())) {
            std::fputs("glimmerwick-qt-target: cannot save its text\n", stderr);
        }
    });
    const auto saveView = [&] {
        if (!save(viewPath, viewOf(editor))) {
            std::fputs("glimmerwick-qt-target: cannot save its view\n", stderr);
        }
    };
    QObject::connect(&editor, &QPlainTextEdit::cursorPositionChanged, saveView);
    QObject::connect(&editor, &QPlainTextEdit::selectionChanged, saveView);
    QObject::connect(editor.verticalScrollBar(), &QScrollBar::valueChanged, saveView);

    editor.setWindowTitle(name);
    editor.resize(640, 400);
    editor.show();
    return QApplication::exec();
}
