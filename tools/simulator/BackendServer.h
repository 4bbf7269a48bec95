// BackendServer: the simulated printer as a spooler backend: requests on standard input,
// answers on the back-channel, SNMP and device queries on the side channel.
#pragma once

#include <cups/sidechannel.h>

#include <memory>
#include <string>

#include "DeviceProfile.h"
#include "MibView.h"
#include "Responder.h"
#include "SimulatorOptions.h"

class BackendServer {
public:
    // Largest answer packet written at once: hosts read the back-channel 512 bytes at a time.
    static constexpr size_t kDefaultPayload = 512 - 5;

    // Packet requests go to |responder|, or to the printer |profile| describes when it is null;
    // the side channel always answers from |profile|.
    BackendServer(const DeviceProfile& profile, const SimulatorOptions& options, Responder* responder = nullptr);

    // Serves until |inputFd| reaches its end; a copy of every byte read from it goes to
    // |jobCopyFd| unless that is -1. Closes the back-channel once the responder is exhausted.
    // Returns 0, or -1 when reading the job failed.
    int run(int inputFd, int jobCopyFd = -1);

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
    std::unique_ptr<Responder> ownResponder_;
    Responder* responder_;
};
