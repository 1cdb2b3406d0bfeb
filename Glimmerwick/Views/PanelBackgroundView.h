#pragma once

#include "Platform/PanelHost.h"

#include <QWidget>

namespace glimmerwick {

/// The panel's rounded, translucent background, which fills its window. Main thread.
class PanelBackgroundView : public QWidget {
public:
    /// Glass has a content view of its own above it.
    enum class Material { hudWindow, glass };

    static constexpr int cornerRadius = 16;

    PanelBackgroundView(Material material, QWidget* window);

    void setBackdrop(Backdrop backdrop);

    /// The view that the panel's content goes into.
    QWidget* contentView() const;

protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    QRegion withoutEdges() const;

    QWidget* m_glassContentView = nullptr;
    Backdrop m_backdrop = Backdrop::translucent;
};

} // namespace glimmerwick
