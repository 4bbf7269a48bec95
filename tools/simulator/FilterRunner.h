// FilterRunner: runs a filter against the simulated backend, wired the way the spooler wires them.
#pragma once

#include <string>
#include <vector>

#include "DeviceProfile.h"
#include "Responder.h"
#include "SimulatorOptions.h"

class FilterRunner {
public:
    // How long the backend may outlive the filter before it is stopped.
    static constexpr int kBackendGraceMs = 3000;

    // The backend answers packet requests through |responder|, or as the printer |profile|
    // describes when it is null.
    FilterRunner(const DeviceProfile& profile, const SimulatorOptions& options, Responder* responder = nullptr)
        : profile_(profile), options_(options), responder_(responder) {}

    // Runs |argv| (program path first). The filter's fd 1 feeds the backend's standard input,
    // fd 3 reads the back-channel and fd 4 is its end of the side channel (all as the spooler
    // leaves them, non-blocking); its standard error is copied to |relayFd|. DEVICE_URI is set
    // to |defaultUri| when the environment lacks it. The backend copies the job it reads to
    // |jobCopyFd| unless that is -1. Returns the filter's exit status, 128 plus the signal
    // number when a signal ended it, or 127 when it could not be started.
    int run(const std::vector<std::string>& argv, const std::string& defaultUri, int relayFd, int jobCopyFd = -1);

private:
    const DeviceProfile& profile_;
    const SimulatorOptions& options_;
    Responder* responder_;
};
