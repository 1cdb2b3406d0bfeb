#include "Views/AlertWindow.h"

#include "Platform/MainQueue.h"
#include "Platform/Qt/Text.h"
#include "Views/Accessibility.h"
#include "Views/DialogWindow.h"
#include "Views/MessageBody.h"

#include <QCoreApplication>

#include <utility>

namespace glimmerwick {

namespace {

/// Screen readers read out alerts as they appear, from the name and the description.
void announce(DialogWindow& window, const AlertContent& content)
{
    window.setAccessibleName(toQString(content.messageText));
    window.setAccessibleDescription(toQString(content.informativeText));
    QAccessibleEvent event(&window, QAccessible::Alert);
    QAccessible::updateAccessibility(&event);
}

} // namespace

AlertWindow::AlertWindow(MainQueue& mainQueue) : m_mainQueue(mainQueue) { }

AlertWindow::~AlertWindow()
{
    for (const QPointer<DialogWindow>& window : m_windows) {
        delete window;
    }
}

void AlertWindow::show(AlertContent content, std::function<void(std::size_t)> completion)
{
    std::erase_if(m_windows, [](const QPointer<DialogWindow>& window) { return window.isNull(); });
    if (content.buttons.empty()) {
        content.buttons.push_back(toUtf8(QCoreApplication::translate("AlertWindow", "OK")));
    }
    std::vector<DialogAction> actions;
    for (std::size_t index = 0; index < content.buttons.size(); ++index) {
        actions.push_back(
            {toQString(content.buttons[index]), [this, completion, index] { complete(completion, index); }});
    }
    auto* window = new DialogWindow(QStringLiteral("Glimmerwick"));
    accessibility::setRole(*window, QAccessible::AlertMessage);
    m_windows.emplace_back(window);
    window->setContents(new MessageBody(toQString(content.messageText), toQString(content.informativeText)),
                        std::move(actions), content.buttons.size() - 1);
    announce(*window, content);
    window->present(Attention::asked);
}

void AlertWindow::complete(const std::function<void(std::size_t)>& completion, std::size_t button)
{
    m_mainQueue.async([alive = m_lifetime.watch(), completion, button] {
        if (alive && completion) {
            completion(button);
        }
    });
}

} // namespace glimmerwick
