#pragma once

#include <QAbstractButton>
#include <QString>

#include <string>

namespace glimmerwick {

class SymbolLibrary;

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
    QString m_symbolPath;
    int m_symbolSize;
    HoverFill m_hoverFill;
    bool m_isMouseInside = false;
};

} // namespace glimmerwick
