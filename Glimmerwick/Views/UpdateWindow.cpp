#include "Views/UpdateWindow.h"

#include "Platform/MainQueue.h"
#include "Platform/Qt/Text.h"
#include "Views/DialogLabel.h"
#include "Views/DialogWindow.h"
#include "Views/MessageBody.h"
#include "Views/PlainTextView.h"
#include "Views/ProgressBar.h"

#include <QCoreApplication>
#include <QLocale>
#include <QVBoxLayout>

#include <algorithm>
#include <limits>
#include <utility>

namespace glimmerwick {

namespace {

constexpr int notesHeight = 170;
constexpr int progressGap = 8;

QString translated(const char* source)
{
    return QCoreApplication::translate("UpdateWindow", source);
}

QString sizeText(std::uint64_t bytes)
{
    const auto shown = static_cast<qint64>(
        std::min<std::uint64_t>(bytes, static_cast<std::uint64_t>(std::numeric_limits<qint64>::max())));
    return QLocale().formattedDataSize(shown, 1, QLocale::DataSizeSIFormat);
}

QString progressText(std::uint64_t received, std::uint64_t total)
{
    return total == 0 ? sizeText(received)
                      : translated(QT_TRANSLATE_NOOP("UpdateWindow", "%1 of %2"))
                            .arg(sizeText(std::min(received, total)), sizeText(total));
}

QString offerText(const UpdateOffer& offer)
{
    const QString installed = toQString(offer.installedVersion);
    return offer.downloadSize == 0
        ? translated(QT_TRANSLATE_NOOP("UpdateWindow", "You have %1. Download it now?")).arg(installed)
        : translated(QT_TRANSLATE_NOOP("UpdateWindow", "You have %1. Download it now? (%2)"))
              .arg(installed, sizeText(offer.downloadSize));
}

PlainTextView* notesView(const std::string& notes)
{
    auto* view = new PlainTextView(translated(QT_TRANSLATE_NOOP("UpdateWindow", "What is new")),
                                   PlainTextView::Pitch::proportional);
    view->setFixedSize(MessageBody::columnWidth, notesHeight);
    view->setPlainText(toQString(notes));
    return view;
}

} // namespace

struct UpdateWindow::Contents {
    MessageBody* body;
    std::vector<DialogAction> actions;
    std::size_t closingAction = 0;
};

UpdateWindow::UpdateWindow(MainQueue& mainQueue) : m_mainQueue(mainQueue) { }

UpdateWindow::~UpdateWindow()
{
    delete m_window;
}

std::function<void()> UpdateWindow::answer(std::function<void()> callback)
{
    // These contents get the next number when they are shown.
    return [this, number = m_contentsNumber + 1, callback = std::move(callback)] {
        m_mainQueue.async([this, alive = m_lifetime.watch(), number, callback] {
            if (alive && number == m_contentsNumber && callback) {
                callback();
            }
        });
    };
}

DialogAction UpdateWindow::cancelAction(std::function<void()> cancelled)
{
    return {translated(QT_TRANSLATE_NOOP("UpdateWindow", "Cancel")), answer(std::move(cancelled)),
            DialogAction::Effect::closes, DialogAction::Place::answer, DialogAction::Tone::plain};
}

void UpdateWindow::show(Contents contents, Attention attention)
{
    ++m_contentsNumber;
    m_progressBar.clear();
    m_progressText.clear();
    const bool isNew = !m_window || !m_window->isVisible();
    if (isNew) {
        // One that has been closed lives on until the event loop gets to it.
        delete m_window;
        m_window = new DialogWindow(translated(QT_TRANSLATE_NOOP("UpdateWindow", "Glimmerwick Update")));
    }
    m_window->setContents(contents.body, std::move(contents.actions), contents.closingAction);
    if (isNew) {
        m_window->present(attention);
    }
}

void UpdateWindow::showNews(const QString& heading, const QString& text)
{
    show({new MessageBody(heading, text), {{translated(QT_TRANSLATE_NOOP("UpdateWindow", "OK")), nullptr}}},
         Attention::asked);
}

void UpdateWindow::showChecking(std::function<void()> cancelled)
{
    const QString heading = translated(QT_TRANSLATE_NOOP("UpdateWindow", "Looking for a new version…"));
    show({new MessageBody(heading, {}, new ProgressBar(heading)), {cancelAction(std::move(cancelled))}},
         Attention::asked);
    raise();
}

void UpdateWindow::showUpToDate(const std::string& installedVersion)
{
    showNews(translated(QT_TRANSLATE_NOOP("UpdateWindow", "You're up to date")),
             translated(QT_TRANSLATE_NOOP("UpdateWindow", "Glimmerwick %1 is the newest version."))
                 .arg(toQString(installedVersion)));
}

void UpdateWindow::showOffer(const UpdateOffer& offer, Attention attention,
                             std::function<void(UpdateAnswer)> answered)
{
    const auto answering = [&](UpdateAnswer which) {
        return answer([answered, which] {
            if (answered) {
                answered(which);
            }
        });
    };
    const QString heading = translated(QT_TRANSLATE_NOOP("UpdateWindow", "Glimmerwick %1 is available"))
                                .arg(toQString(offer.version));
    constexpr std::size_t later = 1;
    show({new MessageBody(heading, offerText(offer), offer.notes.empty() ? nullptr : notesView(offer.notes)),
          {{translated(QT_TRANSLATE_NOOP("UpdateWindow", "Download")), answering(UpdateAnswer::download),
            DialogAction::Effect::waits},
           {translated(QT_TRANSLATE_NOOP("UpdateWindow", "Later")), answering(UpdateAnswer::later)},
           {translated(QT_TRANSLATE_NOOP("UpdateWindow", "Skip This Version")),
            answering(UpdateAnswer::skipThisVersion)}},
          later},
         attention);
}

void UpdateWindow::showDownloading(const std::string& version, std::function<void()> cancelled)
{
    const QString heading =
        translated(QT_TRANSLATE_NOOP("UpdateWindow", "Downloading Glimmerwick %1…")).arg(toQString(version));
    auto* progress = new QWidget;
    auto* column = new QVBoxLayout(progress);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(progressGap);
    auto* bar = new ProgressBar(heading);
    // A space: the line is to be there before there is anything to say.
    auto* amount = new DialogLabel(DialogLabel::Kind::secondary, QStringLiteral(" "));
    column->addWidget(bar);
    column->addWidget(amount);
    show({new MessageBody(heading, {}, progress), {cancelAction(std::move(cancelled))}}, Attention::asked);
    m_progressBar = bar;
    m_progressText = amount;
}

void UpdateWindow::setProgress(std::uint64_t received, std::uint64_t total)
{
    if (m_progressBar && m_progressText) {
        m_progressBar->setProgress(received, total);
        m_progressText->setPlainText(progressText(received, total));
    }
}

void UpdateWindow::showHandedOver(const std::string& version)
{
    showNews(
        translated(QT_TRANSLATE_NOOP("UpdateWindow", "Glimmerwick %1 has been downloaded"))
            .arg(toQString(version)),
        translated(QT_TRANSLATE_NOOP("UpdateWindow",
                                     "The new version is in your system's package installer.\nWhen it is "
                                     "installed, quit Glimmerwick and start it again.")));
}

void UpdateWindow::showFailure(const std::string& problem)
{
    showNews(translated(QT_TRANSLATE_NOOP("UpdateWindow", "Updating did not work")), toQString(problem));
}

void UpdateWindow::showMessage(const std::string& text)
{
    showNews(translated(QT_TRANSLATE_NOOP("UpdateWindow", "Updates")), toQString(text));
}

void UpdateWindow::raise()
{
    if (m_window && m_window->isVisible()) {
        m_window->present(Attention::asked);
    }
}

void UpdateWindow::close()
{
    ++m_contentsNumber;
    if (m_window) {
        m_window->withdraw();
    }
}

} // namespace glimmerwick
