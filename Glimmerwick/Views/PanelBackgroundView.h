#pragma once

#include <QWidget>

namespace glimmerwick {

/// The panel's rounded, translucent background, which fills its window. Main thread.
class PanelBackgroundView : public QWidget {
public:
    /// Glass has a content view of its own above it.
    enum class Material { hudWindow, glass };
    enum class Blending { translucent, opaque };

    static constexpr int cornerRadius = 16;

    PanelBackgroundView(Material material, QWidget* window);

    /// Opaque where nothing blends translucent windows.
    void setBlending(Blending blending);

    /// The view that the panel's content goes into.
    QWidget* contentView() const;

protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    QWidget* m_glassContentView = nullptr;
    Blending m_blending = Blending::translucent;
};

} // namespace glimmerwick
