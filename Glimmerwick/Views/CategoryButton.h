#pragma once

#include "Views/Animation.h"
#include "Views/SymbolLibrary.h"

#include <QAbstractButton>
#include <QColor>
#include <QVariantAnimation>

#include <optional>
#include <string>

namespace glimmerwick {

/// One tab: a symbol, or an emoji where there is none, on a rounded highlight. Main thread.
class CategoryButton : public QAbstractButton {
public:
    explicit CategoryButton(QWidget* parent = nullptr);

    /// Shows the first of the two symbols that there is; false, changing nothing, when there is neither.
    bool configureWithSymbol(const SymbolLibrary& symbols, const std::string& symbol,
                             const std::optional<std::string>& fallback, const std::string& categoryId,
                             const std::string& categoryName);
    void configureWithEmoji(const std::string& emoji, const std::string& categoryId,
                            const std::string& categoryName);

    const std::optional<std::string>& categoryId() const { return m_categoryId; }
    /// The symbol shown; empty when the emoji is.
    const Symbol& symbol() const { return m_symbol; }

    void setSelected(bool selected, Animation animation);
    bool isSelected() const { return m_isSelected; }

    QColor backgroundColor() const { return m_backgroundColor; }
    QColor iconTint() const;
    QSize sizeHint() const override { return {28, 28}; }

protected:
    void enterEvent(QEnterEvent* event) override;
    void leaveEvent(QEvent* event) override;
    void hideEvent(QHideEvent* event) override;
    void changeEvent(QEvent* event) override;
    void paintEvent(QPaintEvent* event) override;

private:
    void setCategory(const std::string& categoryId, const std::string& categoryName);
    void updateAppearance(Animation animation);
    QColor wantedBackgroundColor() const;

    std::optional<std::string> m_categoryId;
    Symbol m_symbol;
    bool m_isSelected = false;
    bool m_isMouseInside = false;
    QColor m_backgroundColor = Qt::transparent;
    QVariantAnimation m_backgroundAnimation{this};
};

} // namespace glimmerwick
