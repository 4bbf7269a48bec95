// PrinterResponder: the printer a device profile describes, answering each packet request.
#include "PrinterResponder.h"

#include <chrono>
#include <thread>

#include "SimulatorLog.h"

PrinterResponder::PrinterResponder(const DeviceProfile& profile, const SimulatorOptions& options,
                                   size_t defaultPayload)
    : options_(options),
      builder_(profile),
      payloadSize_(options.splitPayload > 0 ? options.splitPayload : defaultPayload) {}

std::vector<std::string> PrinterResponder::respond(const NpaRequest& request) {
    SimulatorLog::debug("received %s", NpaRequest::kindName(request.kind));
    SimulatorLog::dump("request", reinterpret_cast<const unsigned char*>(request.bytes.data()),
                       request.bytes.size());
    std::string answer;
    std::string error;
    int rc = builder_.answer(request, answer, error);
    if (rc == 1) {
        return {};
    }
    ++requestsSeen_;
    if (requestsSeen_ <= options_.dropRequests) {
        SimulatorLog::debug("dropping request %d", requestsSeen_);
        return {};
    }
    if (rc != 0) {
        SimulatorLog::error("cannot answer the %s: %s", NpaRequest::kindName(request.kind), error.c_str());
        answer = NpaAnswerBuilder::failurePacket(request.bytes);
    }
    if (options_.delayMs > 0) {
        std::this_thread::sleep_for(std::chrono::milliseconds(options_.delayMs));
    }
    if (options_.fail) {
        // A failed command is reported in one short packet, as the printer does.
        return {NpaAnswerBuilder::failurePacket(request.bytes)};
    }
    std::vector<std::string> packets = NpaAnswerBuilder::packetize(answer, payloadSize_, false);
    SimulatorLog::debug("answering with %zu bytes in %zu packet(s)", answer.size(), packets.size());
    return packets;
}
