#include "Managers/UpdatesSwitchedOff.h"

#include "Platform/UpdatePresenter.h"

namespace glimmerwick {

UpdatesSwitchedOff::UpdatesSwitchedOff(UpdatePresenter& presenter) : m_presenter(presenter) { }

void UpdatesSwitchedOff::checkForUpdates()
{
    m_presenter.showMessage("Glimmerwick is updated together with your system.");
    m_presenter.raise();
}

} // namespace glimmerwick
