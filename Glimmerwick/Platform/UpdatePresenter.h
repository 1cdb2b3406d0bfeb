#pragma once

#include "Platform/Attention.h"

#include <cstdint>
#include <functional>
#include <string>

namespace glimmerwick {

struct UpdateOffer {
    std::string installedVersion;
    std::string version;
    /// Plain text, several lines; may be empty.
    std::string notes;
    /// In bytes.
    std::uint64_t downloadSize = 0;
};

enum class UpdateAnswer { download, later, skipThisVersion };

/// Shows how looking for a new version goes: one small window, whose contents each call replaces. No call
/// blocks. Callbacks run at most once, later, on the main thread; one that belongs to contents already
/// replaced or closed by `close` never runs. The window closes with every answer except `download`, which
/// leaves it to be told what comes next. Main thread.
class UpdatePresenter {
public:
    virtual ~UpdatePresenter() = default;

    /// Comes to the front: somebody has asked just now.
    virtual void showChecking(std::function<void()> cancelled) = 0;
    virtual void showUpToDate(const std::string& installedVersion) = 0;
    /// Closing the window counts as `later`.
    virtual void showOffer(const UpdateOffer& offer, Attention attention,
                           std::function<void(UpdateAnswer)> answered) = 0;
    virtual void showDownloading(const std::string& version, std::function<void()> cancelled) = 0;
    /// Of what `showDownloading` shows; bytes.
    virtual void setProgress(std::uint64_t received, std::uint64_t total) = 0;
    /// The new version is in the hands of the system's package installer.
    virtual void showHandedOver(const std::string& version) = 0;
    /// One readable sentence about what went wrong.
    virtual void showFailure(const std::string& problem) = 0;
    /// One readable sentence about what is no failure.
    virtual void showMessage(const std::string& text) = 0;
    /// Brings the window to the front, when there is one.
    virtual void raise() = 0;
    virtual void close() = 0;
};

} // namespace glimmerwick
