#pragma once

namespace glimmerwick {

class Updater;

/// Starts the software-update machinery and checks on request. Main thread.
class UpdateManager {
public:
    static UpdateManager& shared();

    /// Starts checking automatically.
    explicit UpdateManager(Updater& updater);

    void checkForUpdates();

private:
    Updater& m_updater;
};

} // namespace glimmerwick
