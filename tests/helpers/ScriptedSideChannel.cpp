// ScriptedSideChannel: a backend peer that answers side-channel requests on fd 4 from a script.
#include "helpers/ScriptedSideChannel.h"

#include <cups/sidechannel.h>
#include <fcntl.h>
#include <poll.h>
#include <stdlib.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <cstring>
#include <thread>

namespace cfftest {

namespace {

std::vector<unsigned long> oidArcs(const std::string& oid) {
    std::vector<unsigned long> arcs;
    const char* text = oid.c_str();
    // Backends write identifiers with a leading dot (".1.3.6..."); both forms sort alike.
    if (*text == '.') {
        ++text;
    }
    while (*text != '\0') {
        char* end = nullptr;
        arcs.push_back(std::strtoul(text, &end, 10));
        if (end == text) {
            break;
        }
        text = *end == '.' ? end + 1 : end;
    }
    return arcs;
}

// Appends one request record (command, length, data) to the report file.
void report(int fd, int command, const char* data, int length) {
    int header[2] = {command, length};
    (void)!write(fd, header, sizeof(header));
    if (length > 0) {
        (void)!write(fd, data, static_cast<size_t>(length));
    }
}

// The child: serves fd 4 until the other end closes.
int serve(const ScriptedSideChannel::Script& script) {
    const int kReport = 5;
    std::vector<char> buffer(65540);
    for (;;) {
        struct pollfd entry = {4, POLLIN, 0};
        if (poll(&entry, 1, -1) < 0) {
            return 1;
        }
        char probe;
        if (recv(4, &probe, 1, MSG_PEEK) <= 0) {
            return 0;
        }
        cups_sc_command_t command = CUPS_SC_CMD_NONE;
        cups_sc_status_t status = CUPS_SC_STATUS_NONE;
        int length = static_cast<int>(buffer.size()) - 1;
        if (cupsSideChannelRead(&command, &status, buffer.data(), &length, 1.0) != 0) {
            return 2;
        }
        report(kReport, command, buffer.data(), length);
        std::string asked(buffer.data(), static_cast<size_t>(length > 0 ? length : 0));
        asked = asked.c_str();

        auto given = script.statuses.find(command);
        auto answerStatus = static_cast<cups_sc_status_t>(
            given != script.statuses.end() ? given->second : CUPS_SC_STATUS_OK);
        std::string answer;
        if (command == CUPS_SC_CMD_SNMP_GET_NEXT) {
            const SnmpObject* next = nullptr;
            for (const SnmpObject& object : script.objects) {
                if (oidLess(asked, object.oid) && (next == nullptr || oidLess(object.oid, next->oid))) {
                    next = &object;
                }
            }
            answer = next != nullptr ? next->oid + std::string(1, '\0') + next->value
                                     : std::string("0") + std::string(1, '\0');
        } else if (command == CUPS_SC_CMD_SNMP_GET) {
            answerStatus = CUPS_SC_STATUS_NO_RESPONSE;
            for (const SnmpObject& object : script.objects) {
                if (object.oid == asked) {
                    answer = object.oid + std::string(1, '\0') + object.value;
                    answerStatus = given != script.statuses.end()
                                       ? static_cast<cups_sc_status_t>(given->second)
                                       : CUPS_SC_STATUS_OK;
                }
            }
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(script.replyDelayMs));
        if (cupsSideChannelWrite(command, answerStatus, answer.data(),
                                 static_cast<int>(answer.size()), 1.0) != 0) {
            return 3;
        }
    }
}

}  // namespace

bool oidLess(const std::string& a, const std::string& b) {
    std::vector<unsigned long> left = oidArcs(a);
    std::vector<unsigned long> right = oidArcs(b);
    return left < right;
}

ScriptedSideChannel::ScriptedSideChannel(Script script) : slot_(4) {
    int pair[2];
    if (socketpair(AF_LOCAL, SOCK_STREAM, 0, pair) != 0) {
        return;
    }
    int ours = moveAboveTen(pair[0]);
    int theirs = moveAboveTen(pair[1]);
    char path[] = "/tmp/cff-sidechannel-XXXXXX";
    int reportWrite = mkstemp(path);
    if (reportWrite >= 0) {
        unlink(path);
        reportWrite = moveAboveTen(reportWrite);
        report_ = fcntl(reportWrite, F_DUPFD_CLOEXEC, 10);
    }
    // Non-blocking on both ends, as cupsd makes them.
    fcntl(ours, F_SETFL, fcntl(ours, F_GETFL) | O_NONBLOCK);
    fcntl(theirs, F_SETFL, fcntl(theirs, F_GETFL) | O_NONBLOCK);
    bool started = reportWrite >= 0 &&
                   peer_.start({{theirs, 4}, {reportWrite, 5}},
                               [script]() { return serve(script); });
    close(theirs);
    if (reportWrite >= 0) {
        close(reportWrite);
    }
    ok_ = started && slot_.place(ours);
    if (!ok_ && !started) {
        close(ours);
    }
}

ScriptedSideChannel::~ScriptedSideChannel() { stop(); }

std::vector<SideChannelRequest> ScriptedSideChannel::stop() {
    if (stopped_) {
        return requests_;
    }
    stopped_ = true;
    // Closing our end ends the peer's loop.
    slot_.restore();
    peer_.wait();
    if (report_ >= 0) {
        std::string recorded;
        char chunk[4096];
        ssize_t count;
        lseek(report_, 0, SEEK_SET);
        while ((count = read(report_, chunk, sizeof(chunk))) > 0) {
            recorded.append(chunk, static_cast<size_t>(count));
        }
        close(report_);
        report_ = -1;
        size_t position = 0;
        while (position + 2 * sizeof(int) <= recorded.size()) {
            int header[2];
            std::memcpy(header, recorded.data() + position, sizeof(header));
            position += sizeof(header);
            size_t length = header[1] > 0 ? static_cast<size_t>(header[1]) : 0;
            if (position + length > recorded.size()) {
                break;
            }
            requests_.push_back({header[0], recorded.substr(position, length)});
            position += length;
        }
    }
    return requests_;
}

}  // namespace cfftest
