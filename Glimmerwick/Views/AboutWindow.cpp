#include "Views/AboutWindow.h"

#include "Views/AboutBody.h"
#include "Views/DialogWindow.h"
#include "Views/PlainTextView.h"

#include <QCoreApplication>

#include <utility>

namespace glimmerwick {

AboutWindow::AboutWindow(AboutContent content) : m_content(std::move(content)) { }

AboutWindow::~AboutWindow()
{
    delete m_window;
}

void AboutWindow::show()
{
    // One that has been closed lives on until the event loop gets to it.
    if (!m_window || !m_window->isVisible()) {
        delete m_window;
        make();
    }
    static_cast<AboutBody*>(m_window->body())->refresh();
    m_window->fit();
    m_window->present(Attention::asked);
}

void AboutWindow::make()
{
    m_window = new DialogWindow(QCoreApplication::translate("AboutWindow", "About Glimmerwick"));
    auto* body = new AboutBody(m_content);
    const auto toggleLicences = [window = m_window.data(), body] {
        body->toggleLicences();
        window->fit();
    };
    m_window->setContents(
        body,
        {{QCoreApplication::translate("AboutWindow", "Close"), nullptr, DialogAction::Effect::closes,
          DialogAction::Place::answer, DialogAction::Tone::plain},
         {QCoreApplication::translate("AboutWindow", "Licences"), toggleLicences, DialogAction::Effect::none,
          DialogAction::Place::apart}},
        0);
}

} // namespace glimmerwick
