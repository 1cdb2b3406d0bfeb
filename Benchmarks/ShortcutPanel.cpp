// The least that showing a panel takes with this toolkit, to compare the picker with: a panel of the picker's
// kind and size in one colour, shown by Ctrl+Super+Space and hidden by Escape. Prints "ready" and runs until
// it is ended.

#include <QAbstractNativeEventFilter>
#include <QApplication>
#include <QCursor>
#include <QPainter>
#include <QWidget>

#include <xcb/xcb.h>

#include <cstdint>
#include <cstdlib>
#include <iostream>

namespace {

class Panel : public QWidget {
public:
    Panel() : QWidget(nullptr, Qt::ToolTip | Qt::BypassWindowManagerHint | Qt::FramelessWindowHint)
    {
        setAttribute(Qt::WA_TranslucentBackground);
        setAttribute(Qt::WA_ShowWithoutActivating);
        setFixedSize(320, 400);
    }

protected:
    void paintEvent(QPaintEvent*) override { QPainter(this).fillRect(rect(), QColor(0xf6, 0xf6, 0xf6)); }
};

class Shortcuts : public QAbstractNativeEventFilter {
public:
    explicit Shortcuts(Panel& panel)
        : m_panel(panel),
          m_connection(qGuiApp->nativeInterface<QNativeInterface::QX11Application>()->connection())
    {
        const xcb_window_t root = xcb_setup_roots_iterator(xcb_get_setup(m_connection)).data->root;
        xcb_grab_key(m_connection, 0, root, XCB_MOD_MASK_CONTROL | XCB_MOD_MASK_4, space, XCB_GRAB_MODE_ASYNC,
                     XCB_GRAB_MODE_ASYNC);
        xcb_grab_key(m_connection, 0, root, 0, escape, XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC);
        // Whatever is asked after the grabs is answered after them.
        std::free(xcb_get_input_focus_reply(m_connection, xcb_get_input_focus(m_connection), nullptr));
    }

    bool nativeEventFilter(const QByteArray& type, void* message, qintptr*) override
    {
        const auto* const event = static_cast<const xcb_generic_event_t*>(message);
        if (type != "xcb_generic_event_t" || event->response_type != XCB_KEY_PRESS) {
            return false;
        }
        const auto key = static_cast<const xcb_key_press_event_t*>(message)->detail;
        if (key == space) {
            m_panel.move(QCursor::pos());
            m_panel.show();
        } else if (key == escape) {
            m_panel.hide();
        }
        return true;
    }

private:
    // Of the keyboard that virtual displays have.
    static constexpr std::uint8_t space = 65;
    static constexpr std::uint8_t escape = 9;

    Panel& m_panel;
    xcb_connection_t* m_connection;
};

} // namespace

int main(int argc, char** argv)
{
    qunsetenv("XDG_CURRENT_DESKTOP");
    QApplication application(argc, argv);
    QApplication::setQuitOnLastWindowClosed(false);
    Panel panel;
    Shortcuts shortcuts(panel);
    application.installNativeEventFilter(&shortcuts);
    std::cout << "ready" << std::endl;
    return QApplication::exec();
}
