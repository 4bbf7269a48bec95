// BackendServer: the simulated printer as a spooler backend: requests on standard input,
// answers on the back-channel, SNMP and device queries on the side channel.
#pragma once

#include <cups/sidechannel.h>

#include <string>

#include "DeviceProfile.h"
#include "MibView.h"
#include "SimulatorOptions.h"

class BackendServer {
public:
    // Largest answer packet written at once: hosts read the back-channel 512 bytes at a time.
    static constexpr size_t kDefaultPayload = 512 - 5;

    BackendServer(const DeviceProfile& profile, const SimulatorOptions& options);

    // Serves until |inputFd| reaches its end. Returns 0, or -1 when reading it failed.
    int run(int inputFd);

    // The answer to one side-channel request: status and reply data.
    void answerSideChannel(cups_sc_command_t command, const std::string& data, cups_sc_status_t& status,
                           std::string& reply) const;

    // The device-discovery line for |uri| ("direct URI \"make model\" ...").
    static std::string discoveryLine(const DeviceProfile* profile, const std::string& uri);

private:
    // Writes the packets on the back-channel, one at a time, each once the host has taken
    // the previous one, so that every packet reaches the host in a read of its own.
    void writeBackChannel(const std::vector<std::string>& packets) const;
    // Serves one side-channel message; false once the side channel has gone away.
    bool serveSideChannel() const;

    const DeviceProfile& profile_;
    const SimulatorOptions& options_;
    MibView view_;
};
