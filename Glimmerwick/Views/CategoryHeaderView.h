#pragma once

#include "Views/CollectionViewItem.h"

#include <string>

namespace glimmerwick {

/// The title above a section of the grid. Main thread.
class CategoryHeaderView : public CollectionReusableView {
public:
    explicit CategoryHeaderView(QWidget* parent = nullptr);

    /// UTF-8.
    void setTitle(const std::string& title);
    const std::string& title() const { return m_title; }

    void prepareForReuse() override;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    std::string m_title;
};

} // namespace glimmerwick
