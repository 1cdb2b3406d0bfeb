// The least that a panel costs with this toolkit, to compare the picker with: an application object made as
// the picker makes its own, and one frameless, translucent panel of the picker's size with nothing in it. The
// panel's native window is there, and hidden. Prints "ready" and sleeps until it is ended.

#include <QApplication>
#include <QWidget>

#include <iostream>

int main(int argc, char** argv)
{
    // Where it names GNOME, the toolkit would load the theme of another toolkit; the picker hides it, too.
    qunsetenv("XDG_CURRENT_DESKTOP");
    QApplication::setApplicationName(QStringLiteral("empty-panel"));
    QApplication::setQuitOnLastWindowClosed(false);
    const QApplication application(argc, argv);

    QWidget panel(nullptr, Qt::ToolTip | Qt::BypassWindowManagerHint | Qt::FramelessWindowHint);
    panel.setAttribute(Qt::WA_TranslucentBackground);
    panel.setAttribute(Qt::WA_ShowWithoutActivating);
    panel.setFixedSize(320, 400);
    panel.winId();

    std::cout << "ready" << std::endl;
    return QApplication::exec();
}
