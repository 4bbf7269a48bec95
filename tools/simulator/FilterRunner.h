// FilterRunner: runs a filter against the simulated backend, wired the way the spooler wires them.
#pragma once

#include <string>
#include <vector>

#include "DeviceProfile.h"
#include "SimulatorOptions.h"

class FilterRunner {
public:
    // How long the backend may outlive the filter before it is stopped.
    static constexpr int kBackendGraceMs = 3000;

    FilterRunner(const DeviceProfile& profile, const SimulatorOptions& options) : profile_(profile), options_(options) {}

    // Runs |argv| (program path first). The filter's fd 1 feeds the backend's standard input,
    // fd 3 reads the back-channel and fd 4 is its end of the side channel (all as the spooler
    // leaves them, non-blocking); its standard error is copied to |relayFd|. DEVICE_URI is set
    // to |defaultUri| when the environment lacks it. Returns the filter's exit status, 128 plus
    // the signal number when a signal ended it, or 127 when it could not be started.
    int run(const std::vector<std::string>& argv, const std::string& defaultUri, int relayFd);

private:
    const DeviceProfile& profile_;
    const SimulatorOptions& options_;
};
