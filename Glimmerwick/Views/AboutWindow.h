#pragma once

#include <QPointer>

#include <filesystem>
#include <functional>
#include <string>

namespace glimmerwick {

class DialogWindow;

struct AboutContent {
    std::string version;
    /// Asked whenever the window comes up; empty when no catalogue is loaded.
    std::function<std::string()> catalogueVersion;
    /// A text in UTF-8: where the catalogue's data comes from, and its licences.
    std::filesystem::path licencesFile;
};

/// Tells what the program is, its versions, and under which licences it and what is built into it are. There
/// is at most one such window. Destroying this closes it. Main thread.
class AboutWindow {
public:
    explicit AboutWindow(AboutContent content);
    ~AboutWindow();
    AboutWindow(const AboutWindow&) = delete;
    AboutWindow& operator=(const AboutWindow&) = delete;

    /// Shows the window, or brings the one that is there to the front.
    void show();

private:
    void make();

    const AboutContent m_content;
    QPointer<DialogWindow> m_window;
};

} // namespace glimmerwick
