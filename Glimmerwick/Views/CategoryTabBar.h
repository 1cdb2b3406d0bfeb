#pragma once

#include "Models/EmojiCategory.h"
#include "Views/Animation.h"
#include "Views/CategoryButton.h"
#include "Views/CategoryHeaderView.h"

#include <QVariantAnimation>
#include <QWidget>

#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

namespace glimmerwick {

class CategoryTabBar;
struct Platform;

class CategoryTabBarDelegate {
public:
    virtual ~CategoryTabBarDelegate() = default;

    /// The user clicked the category's tab; it is highlighted already.
    virtual void didSelectCategory(CategoryTabBar& tabBar, const EmojiCategory& category) = 0;
};

/// The strip of category tabs. Scrolls sideways when the tabs do not fit. Main thread.
class CategoryTabBar : public QWidget {
public:
    enum class RecentTab { excluded, included };

    /// The symbols come from the platform's resources folder.
    explicit CategoryTabBar(const Platform& platform, QWidget* parent = nullptr);

    /// Not owned.
    void setDelegate(CategoryTabBarDelegate* delegate) { m_delegate = delegate; }

    /// Rebuilds the tabs and highlights the first one.
    void configure(const std::vector<EmojiCategory>& categories);
    /// As above, with a tab for the recent emoji ahead of the others.
    void configure(const std::vector<EmojiCategory>& categories, RecentTab recentTab);
    /// Shows or hides the tab for the recent emoji, when there is one.
    void setRecentTabVisible(bool visible);

    /// Moves the highlight and brings the tab into view. An identifier without a tab is only recorded.
    void selectCategory(const std::string& id, Animation animation);

    const std::optional<std::string>& selectedCategoryId() const { return m_selectedCategoryId; }
    const std::vector<EmojiCategory>& categories() const { return m_categories; }
    /// The tab of a category, or null.
    CategoryButton* button(const std::string& categoryId) const;
    /// How far the strip is scrolled sideways, away from its first tab.
    double scrollOffset() const { return m_scrollOffset; }

protected:
    void changeEvent(QEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void paintEvent(QPaintEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;

private:
    CategoryButton* createCategoryButton(const EmojiCategory& category);
    void categoryButtonClicked(const CategoryButton& button);
    void scrollButtonIntoView(const CategoryButton& button);
    void layOutButtons();
    void setScrollOffset(double offset);

    const Platform& m_platform;
    CategoryTabBarDelegate* m_delegate = nullptr;
    QWidget* m_container = nullptr;
    std::vector<EmojiCategory> m_categories;
    std::vector<CategoryButton*> m_orderedButtons;
    std::unordered_map<std::string, CategoryButton*> m_categoryButtons;
    std::optional<std::string> m_selectedCategoryId;
    double m_scrollOffset = 0;
    QVariantAnimation m_scrollAnimation{this};
};

} // namespace glimmerwick
