// BackendServer: the simulated printer as a spooler backend: requests on standard input,
// answers on the back-channel, SNMP and device queries on the side channel.
#include "BackendServer.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <chrono>
#include <thread>

#include "NpaRequest.h"
#include "NpaStreamReader.h"
#include "PrinterResponder.h"
#include "SimulatorLog.h"

namespace {

constexpr int kBackChannelFd = 3;
constexpr int kSideChannelFd = 4;
// How long a packet may wait in the back-channel for the host before the next one follows.
constexpr int kDrainWaitMs = 2000;

bool isOpen(int fd) {
    return fcntl(fd, F_GETFD) != -1;
}

}  // namespace

BackendServer::BackendServer(const DeviceProfile& profile, const SimulatorOptions& options, Responder* responder)
    : profile_(profile),
      options_(options),
      view_(profile),
      ownResponder_(responder ? nullptr : new PrinterResponder(profile, options, kDefaultPayload)),
      responder_(responder ? responder : ownResponder_.get()) {}

std::string BackendServer::discoveryLine(const DeviceProfile* profile, const std::string& uri) {
    if (profile == nullptr) {
        return "direct simusb \"Unknown\" \"Printer simulator (USB)\"";
    }
    std::string makeModel = profile->manufacturer + " " + profile->model;
    return "direct " + uri + " \"" + makeModel + "\" \"" + makeModel + " (simulated USB)\" \"" +
           profile->deviceIdString() + "\" \"\"";
}

void BackendServer::writeBackChannel(const std::vector<std::string>& packets) const {
    if (!isOpen(kBackChannelFd)) {
        SimulatorLog::error("no back-channel on fd 3; the answer is lost");
        return;
    }
    for (size_t i = 0; i < packets.size(); ++i) {
        std::string packet = packets[i];
        if (i == 0 && options_.noise) {
            packet.insert(packet.begin(), '\0');
        }
        SimulatorLog::dump("answer packet", reinterpret_cast<const unsigned char*>(packet.data()), packet.size());
        if (cupsBackChannelWrite(packet.data(), packet.size(), 5.0) != static_cast<ssize_t>(packet.size())) {
            SimulatorLog::error("back-channel write failed: %s", strerror(errno));
            return;
        }
        if (i + 1 == packets.size()) {
            break;
        }
        for (int waited = 0; waited < kDrainWaitMs; waited += 2) {
            int queued = 0;
            if (ioctl(kBackChannelFd, FIONREAD, &queued) != 0 || queued == 0) {
                break;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
        }
    }
}

void BackendServer::answerSideChannel(cups_sc_command_t command, const std::string& data,
                                      cups_sc_status_t& status, std::string& reply) const {
    status = CUPS_SC_STATUS_OK;
    reply.clear();
    switch (command) {
        case CUPS_SC_CMD_SOFT_RESET:
        case CUPS_SC_CMD_DRAIN_OUTPUT:
            break;
        case CUPS_SC_CMD_GET_BIDI:
            reply.push_back(static_cast<char>(CUPS_SC_BIDI_SUPPORTED));
            break;
        case CUPS_SC_CMD_GET_DEVICE_ID:
            reply = profile_.deviceIdString();
            break;
        case CUPS_SC_CMD_GET_STATE:
            reply.push_back(static_cast<char>(CUPS_SC_STATE_ONLINE));
            break;
        case CUPS_SC_CMD_GET_CONNECTED:
            reply.push_back(1);
            break;
        case CUPS_SC_CMD_SNMP_GET:
        case CUPS_SC_CMD_SNMP_GET_NEXT: {
            MibView::Oid oid;
            std::string text(data.c_str());
            if (!MibView::parseOid(text, oid)) {
                status = CUPS_SC_STATUS_BAD_MESSAGE;
                break;
            }
            const ProfileSnmpValue* value = nullptr;
            if (command == CUPS_SC_CMD_SNMP_GET) {
                value = view_.find(oid);
            } else if (!view_.next(oid, oid, value)) {
                // Past the last object: an empty name, which is under no subtree, ends any walk
                // without turning it into a failure.
                reply.push_back('\0');
                break;
            }
            if (value == nullptr) {
                status = CUPS_SC_STATUS_NO_RESPONSE;
                break;
            }
            reply = MibView::oidText(oid);
            reply.push_back('\0');
            reply += MibView::valueText(*value);
            break;
        }
        default:
            status = CUPS_SC_STATUS_NOT_IMPLEMENTED;
            break;
    }
}

bool BackendServer::serveSideChannel() const {
    cups_sc_command_t command = CUPS_SC_CMD_NONE;
    cups_sc_status_t status = CUPS_SC_STATUS_NONE;
    char data[2048];
    int length = sizeof(data) - 1;
    if (cupsSideChannelRead(&command, &status, data, &length, 1.0) != 0) {
        return false;
    }
    std::string request(data, static_cast<size_t>(length > 0 ? length : 0));
    std::string reply;
    answerSideChannel(command, request, status, reply);
    SimulatorLog::debug("side channel: command %d \"%s\" -> status %d, %zu bytes", static_cast<int>(command),
                        request.c_str(), static_cast<int>(status), reply.size());
    if (options_.delayMs > 0) {
        std::this_thread::sleep_for(std::chrono::milliseconds(options_.delayMs));
    }
    cupsSideChannelWrite(command, status, reply.data(), static_cast<int>(reply.size()), 1.0);
    return true;
}

int BackendServer::run(int inputFd, int jobCopyFd) {
    NpaStreamReader reader;
    bool sideChannel = isOpen(kSideChannelFd);
    for (;;) {
        if (responder_->exhausted() && isOpen(kBackChannelFd)) {
            close(kBackChannelFd);
        }
        struct pollfd fds[2] = {{inputFd, POLLIN, 0}, {kSideChannelFd, POLLIN, 0}};
        int count = poll(fds, sideChannel ? 2 : 1, -1);
        if (count < 0) {
            if (errno == EINTR) {
                continue;
            }
            SimulatorLog::error("poll failed: %s", strerror(errno));
            return -1;
        }
        if (sideChannel && (fds[1].revents & (POLLIN | POLLHUP | POLLERR))) {
            sideChannel = serveSideChannel();
        }
        if (fds[0].revents & (POLLIN | POLLHUP | POLLERR)) {
            char buffer[4096];
            ssize_t got = read(inputFd, buffer, sizeof(buffer));
            if (got < 0 && (errno == EINTR || errno == EAGAIN)) {
                continue;
            }
            if (got < 0) {
                SimulatorLog::error("reading the job failed: %s", strerror(errno));
                return -1;
            }
            if (got == 0) {
                SimulatorLog::debug("end of job; %zu stray bytes skipped", reader.discarded());
                return 0;
            }
            if (jobCopyFd >= 0 && write(jobCopyFd, buffer, static_cast<size_t>(got)) != got) {
                SimulatorLog::error("copying the job failed: %s", strerror(errno));
            }
            for (const std::string& packet : reader.add(buffer, static_cast<size_t>(got))) {
                std::vector<std::string> packets = responder_->respond(NpaRequest::classify(packet));
                if (!packets.empty()) {
                    writeBackChannel(packets);
                }
            }
        }
    }
}
