#pragma once

#include "Platform/Shell.h"

namespace glimmerwick {

class UpdatePresenter;

/// Stands in for the update checker in packages that their distribution updates. Contacts nobody. Main
/// thread.
class UpdatesSwitchedOff : public Updater {
public:
    explicit UpdatesSwitchedOff(UpdatePresenter& presenter);

    void start() override { }
    void checkForUpdates() override;

private:
    UpdatePresenter& m_presenter;
};

} // namespace glimmerwick
