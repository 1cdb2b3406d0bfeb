#pragma once

#include "Platform/Lifetime.h"
#include "Platform/UpdatePresenter.h"

#include <QPointer>

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

class QString;

namespace glimmerwick {

class DialogLabel;
class DialogWindow;
class MainQueue;
class ProgressBar;
struct DialogAction;

/// One window for everything about updates. It comes with the first contents, stays while they are replaced,
/// and goes with the answer. Destroying this closes it; callbacks then never run. Main thread.
class UpdateWindow : public UpdatePresenter {
public:
    /// The queue runs the callbacks.
    explicit UpdateWindow(MainQueue& mainQueue);
    ~UpdateWindow() override;
    UpdateWindow(const UpdateWindow&) = delete;
    UpdateWindow& operator=(const UpdateWindow&) = delete;

    void showChecking(std::function<void()> cancelled) override;
    void showUpToDate(const std::string& installedVersion) override;
    /// A window that is shown already stays as it is in front or behind, whoever asked.
    void showOffer(const UpdateOffer& offer, Attention attention,
                   std::function<void(UpdateAnswer)> answered) override;
    void showDownloading(const std::string& version, std::function<void()> cancelled) override;
    /// A total of zero is an unknown one. Nothing unless a download is shown.
    void setProgress(std::uint64_t received, std::uint64_t total) override;
    void showHandedOver(const std::string& version) override;
    void showFailure(const std::string& problem) override;
    void showMessage(const std::string& text) override;
    void raise() override;
    void close() override;

private:
    struct Contents;

    void show(Contents contents, Attention attention);
    void showNews(const QString& heading, const QString& text);
    DialogAction cancelAction(std::function<void()> cancelled);
    /// What runs the callback later, unless other contents have come by then.
    std::function<void()> answer(std::function<void()> callback);

    MainQueue& m_mainQueue;
    QPointer<DialogWindow> m_window;
    QPointer<ProgressBar> m_progressBar;
    QPointer<DialogLabel> m_progressText;
    /// Of the contents shown last.
    std::uint64_t m_contentsNumber = 0;
    Lifetime m_lifetime;
};

} // namespace glimmerwick
