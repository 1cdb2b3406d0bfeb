#pragma once

#include "Views/SymbolLibrary.h"

#include <QAbstractButton>

#include <string>

namespace glimmerwick {

/// A borderless button that shows a symbol. Never takes the keyboard focus. Main thread.
class IconButton : public QAbstractButton {
public:
    enum class HoverFill { none, rounded };

    IconButton(const SymbolLibrary& symbols, const std::string& symbol, int symbolSize, HoverFill hoverFill,
               QWidget* parent);

    QSize sizeHint() const override { return {24, 24}; }

protected:
    void enterEvent(QEnterEvent* event) override;
    void leaveEvent(QEvent* event) override;
    void hideEvent(QHideEvent* event) override;
    void paintEvent(QPaintEvent* event) override;

private:
    Symbol m_symbol;
    int m_symbolSize;
    HoverFill m_hoverFill;
    bool m_isMouseInside = false;
};

} // namespace glimmerwick
