#include "Views/SearchBarView.h"

#include "Models/Emoji.h"
#include "Platform/MenuHost.h"
#include "Platform/NotificationCenter.h"
#include "Platform/Platform.h"
#include "Platform/Qt/Text.h"
#include "Search/SearchManager.h"
#include "Views/Accessibility.h"
#include "Views/IconButton.h"
#include "Views/SymbolLibrary.h"

#include <QCoreApplication>
#include <QEvent>
#include <QStyle>

#include <any>
#include <map>
#include <utility>
#include <vector>

namespace glimmerwick {

namespace {

constexpr int sideInset = 8;
constexpr int verticalInset = 4;
constexpr int gap = 4;
constexpr int menuButtonSize = 24;
constexpr int menuSymbolSize = 16;

} // namespace

const std::string SearchBarView::searchResultsDidChangeNotification = "SearchBarView.searchResultsDidChange";
const std::string SearchBarView::searchClearedNotification = "SearchBarView.searchCleared";

SearchBarView::SearchBarView(const Platform& platform, QWidget* parent)
    : QWidget(parent), m_platform(platform), m_searchField(new SearchField(platform, this)),
      m_menuButton(new IconButton(SymbolLibrary(platform.process.resourcesDirectory), "ellipsis",
                                  menuSymbolSize, IconButton::HoverFill::rounded, this))
{
    setupViews();
}

SearchBarView::SearchBarView(SearchManager& searchManager, const Platform& platform, QWidget* parent)
    : SearchBarView(platform, parent)
{
    connect(searchManager);
}

void SearchBarView::setupViews()
{
    accessibility::identify(*this, QStringLiteral("searchBarView"));
    accessibility::identify(*m_menuButton, QStringLiteral("menuButton"));
    const QString menuTitle = QCoreApplication::translate("SearchBarView", "Menu");
    m_menuButton->setAccessibleName(menuTitle);
    m_menuButton->setToolTip(menuTitle);
    QObject::connect(m_menuButton, &QAbstractButton::clicked, this, [this] { menuButtonClicked(); });

    m_searchField->onTextDidChange = [this] { performSearch(); };
    m_searchField->onAction = [this] { searchFieldAction(); };
    m_searchField->onCancel = [this] {
        if (m_delegate) {
            m_delegate->didCancel(*this);
        }
        return true;
    };
}

void SearchBarView::connect(SearchManager& searchManager)
{
    m_searchManager = &searchManager;
    m_searchManagerLives = searchManager.watch();
    // The manager may outlive the bar, the notification goes out all the same.
    searchManager.onSearchResults = [&center = m_platform.notificationCenter, this,
                                     alive = m_lifetime.watch()](std::vector<Emoji> results) {
        std::map<std::string, std::any> userInfo;
        userInfo.emplace("results", std::move(results));
        center.post({searchResultsDidChangeNotification, alive ? this : nullptr, std::move(userInfo)});
    };
}

SearchManager* SearchBarView::searchManager() const
{
    return m_searchManagerLives && *m_searchManagerLives ? m_searchManager : nullptr;
}

void SearchBarView::clear()
{
    // Not `clear`, which is an edit like others: the toolkit would keep every word ever typed, to undo it.
    m_searchField->setText({});
    if (SearchManager* manager = searchManager()) {
        manager->cancelPendingSearch();
    }
    if (m_delegate) {
        m_delegate->didChangeText(*this, {});
    }
}

std::string SearchBarView::searchText() const
{
    return toUtf8(m_searchField->text());
}

void SearchBarView::setSearchText(const std::string& text)
{
    m_searchField->setText(toQString(text));
}

void SearchBarView::deactivate()
{
    m_searchField->clearFocus();
}

void SearchBarView::performSearch()
{
    const std::string text = searchText();
    if (m_delegate) {
        m_delegate->didChangeText(*this, text);
    }
    if (!text.empty()) {
        if (SearchManager* manager = searchManager()) {
            manager->searchDebounced(text);
        }
        return;
    }
    if (SearchManager* manager = searchManager()) {
        manager->cancelPendingSearch();
    }
    m_platform.notificationCenter.post({searchClearedNotification, this, std::nullopt});
}

void SearchBarView::searchFieldAction()
{
    if (m_delegate) {
        m_delegate->didSubmit(*this);
    }
}

void SearchBarView::menuButtonClicked()
{
    if (PanelMenu* open = menu()) {
        open->close();
        return;
    }
    MenuHost& menuHost = m_platform.menuHost;
    m_menu = PanelMenu::popUp({{toUtf8(QCoreApplication::translate("SearchBarView", "Quit")), "q",
                                [&menuHost] { menuHost.terminate(); }}},
                              *this, {0, height()});
    m_menu->setAccessibleName(m_menuButton->accessibleName());
}

bool SearchBarView::MenuOverlay::handleKey(std::int64_t keyCode)
{
    PanelMenu* menu = m_searchBar.menu();
    return menu && menu->handleKey(keyCode);
}

void SearchBarView::MenuOverlay::dismiss()
{
    if (PanelMenu* menu = m_searchBar.menu()) {
        menu->close();
    }
}

void SearchBarView::changeEvent(QEvent* event)
{
    QWidget::changeEvent(event);
    if (event->type() == QEvent::LayoutDirectionChange) {
        layOut();
    }
}

void SearchBarView::resizeEvent(QResizeEvent*)
{
    layOut();
}

void SearchBarView::layOut()
{
    const int fieldHeight = height() - 2 * verticalInset;
    const int menuX = width() - sideInset - menuButtonSize;
    const QRect field(sideInset, verticalInset, menuX - gap - sideInset, fieldHeight);
    const QRect button(menuX, (height() - menuButtonSize) / 2, menuButtonSize, menuButtonSize);
    m_searchField->setGeometry(QStyle::visualRect(layoutDirection(), rect(), field));
    m_menuButton->setGeometry(QStyle::visualRect(layoutDirection(), rect(), button));
}

} // namespace glimmerwick
