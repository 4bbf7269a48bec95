// PrinterResponder: the printer a device profile describes, answering each packet request.
#pragma once

#include <string>
#include <vector>

#include "DeviceProfile.h"
#include "NpaAnswerBuilder.h"
#include "NpaRequest.h"
#include "Responder.h"
#include "SimulatorOptions.h"

class PrinterResponder : public Responder {
public:
    // |defaultPayload| is the payload size per packet when the options do not set one.
    PrinterResponder(const DeviceProfile& profile, const SimulatorOptions& options, size_t defaultPayload);

    // The packets that answer |request|, in sending order; empty when it gets no answer
    // (mode command, loopback, or one of the requests to drop). Waits for the configured
    // delay before returning a non-empty answer.
    std::vector<std::string> respond(const NpaRequest& request) override;
    int requestsSeen() const { return requestsSeen_; }

private:
    const SimulatorOptions& options_;
    NpaAnswerBuilder builder_;
    size_t payloadSize_;
    int requestsSeen_ = 0;
};
