#pragma once

#include "Platform/Lifetime.h"
#include "Views/KeyOverlay.h"
#include "Views/PanelMenu.h"
#include "Views/SearchField.h"

#include <QPointer>
#include <QWidget>

#include <cstdint>
#include <optional>
#include <string>

namespace glimmerwick {

class IconButton;
class SearchBarView;
class SearchManager;
struct Platform;

class SearchBarViewDelegate {
public:
    virtual ~SearchBarViewDelegate() = default;

    virtual void didChangeText(SearchBarView& searchBar, const std::string& text) = 0;
    virtual void didSubmit(SearchBarView& searchBar) = 0;
    virtual void didCancel(SearchBarView& searchBar) = 0;
};

/// The strip with the search field and the menu button. Every edit of the field starts a debounced search or,
/// when it empties the field, ends searching; both are broadcast. Main thread.
class SearchBarView : public QWidget {
public:
    /// Object: the search bar. User info: "results" (std::vector<Emoji>).
    static const std::string searchResultsDidChangeNotification;
    /// Object: the search bar. No user info.
    static const std::string searchClearedNotification;

    explicit SearchBarView(const Platform& platform, QWidget* parent = nullptr);
    SearchBarView(SearchManager& searchManager, const Platform& platform, QWidget* parent = nullptr);

    /// Not owned.
    void setDelegate(SearchBarViewDelegate* delegate) { m_delegate = delegate; }

    /// Searches with this manager from now on and broadcasts its results. The manager is held weakly: without
    /// one, typing only changes the field.
    void connect(SearchManager& searchManager);

    /// Empties the field and cancels a search still waiting. Posts nothing.
    void clear();

    /// UTF-8, untrimmed. Setting it is no edit: nothing is searched.
    std::string searchText() const;
    void setSearchText(const std::string& text);

    SearchField* internalSearchField() const { return m_searchField; }
    /// Gives up the field's keyboard focus.
    void deactivate();

    /// The menu's claim to keys while it is open.
    KeyOverlay& menuOverlay() { return m_menuOverlay; }
    /// The open menu, or null.
    PanelMenu* menu() const { return m_menu && m_menu->isShown() ? m_menu.data() : nullptr; }

protected:
    void changeEvent(QEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    class MenuOverlay : public KeyOverlay {
    public:
        explicit MenuOverlay(const SearchBarView& searchBar) : m_searchBar(searchBar) { }

        bool isShown() const override { return m_searchBar.menu() != nullptr; }
        bool handleKey(std::int64_t keyCode) override;
        void dismiss() override;

    private:
        const SearchBarView& m_searchBar;
    };

    void setupViews();
    SearchManager* searchManager() const;
    void performSearch();
    void searchFieldAction();
    void menuButtonClicked();
    void layOut();

    const Platform& m_platform;
    SearchBarViewDelegate* m_delegate = nullptr;
    /// Only to be used through `searchManager()`.
    SearchManager* m_searchManager = nullptr;
    std::optional<Lifetime::Watch> m_searchManagerLives;
    SearchField* m_searchField = nullptr;
    IconButton* m_menuButton = nullptr;
    QPointer<PanelMenu> m_menu;
    MenuOverlay m_menuOverlay{*this};
    Lifetime m_lifetime;
};

} // namespace glimmerwick
