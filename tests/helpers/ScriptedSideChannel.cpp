#include "helpers/ScriptedSideChannel.h"

#include <cups/sidechannel.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <thread>

namespace cfftest {

namespace {

// The arcs of a dotted OID; a leading dot, as backends write them, is skipped.
std::vector<unsigned long> arcs(const std::string& oid) {
    std::vector<unsigned long> result;
    for (const char* text = oid.c_str() + (oid[0] == '.'); *text != '\0';) {
        char* end = nullptr;
        result.push_back(std::strtoul(text, &end, 10));
        if (end == text) break;
        text = *end == '.' ? end + 1 : end;
    }
    return result;
}

// The child: serves fd 4 until the other end closes, recording each request on fd 5.
int serve(const ScriptedSideChannel::Script& script) {
    std::vector<char> buffer(65540);
    for (;;) {
        pollfd entry = {4, POLLIN, 0};
        char probe;
        if (poll(&entry, 1, -1) < 0) return 1;
        if (recv(4, &probe, 1, MSG_PEEK) <= 0) return 0;
        cups_sc_command_t command = CUPS_SC_CMD_NONE;
        cups_sc_status_t status = CUPS_SC_STATUS_NONE;
        int length = static_cast<int>(buffer.size()) - 1;
        if (cupsSideChannelRead(&command, &status, buffer.data(), &length, 1.0) != 0) return 2;
        int header[2] = {command, length};
        (void)!write(5, header, sizeof(header));
        (void)!write(5, buffer.data(), static_cast<size_t>(std::max(length, 0)));

        std::string answer;
        if (command == CUPS_SC_CMD_SNMP_GET_NEXT) {
            auto asked = arcs(std::string(buffer.data(), static_cast<size_t>(length)).c_str());
            const SnmpObject* next = nullptr;
            for (const SnmpObject& object : script.objects) {
                if (asked < arcs(object.oid) && (next == nullptr || arcs(object.oid) < arcs(next->oid))) next = &object;
            }
            answer = next != nullptr ? next->oid + '\0' + next->value : std::string("0", 2);
        }
        auto given = script.statuses.find(command);
        std::this_thread::sleep_for(std::chrono::milliseconds(script.replyDelayMs));
        if (cupsSideChannelWrite(command,
                                 static_cast<cups_sc_status_t>(given != script.statuses.end() ? given->second
                                                                                              : CUPS_SC_STATUS_OK),
                                 answer.data(), static_cast<int>(answer.size()), 1.0) != 0) {
            return 3;
        }
    }
}

}  // namespace

ScriptedSideChannel::ScriptedSideChannel(Script script) : slot_(4) {
    int pair[2];
    char path[] = "/tmp/cff-sidechannel-XXXXXX";
    int reportWrite = moveAboveTen(mkstemp(path));
    unlink(path);
    report_ = fcntl(reportWrite, F_DUPFD_CLOEXEC, 10);
    if (reportWrite < 0 || socketpair(AF_LOCAL, SOCK_STREAM, 0, pair) != 0) return;
    int ours = moveAboveTen(pair[0]);
    int theirs = moveAboveTen(pair[1]);
    // Non-blocking on both ends, as cupsd makes them.
    for (int fd : {ours, theirs}) fcntl(fd, F_SETFL, fcntl(fd, F_GETFL) | O_NONBLOCK);
    bool started = peer_.start({{theirs, 4}, {reportWrite, 5}}, [script] { return serve(script); });
    close(theirs);
    close(reportWrite);
    ok_ = started && slot_.place(ours);
    if (!started) close(ours);
}

std::vector<SideChannelRequest> ScriptedSideChannel::stop() {
    if (stopped_) return requests_;
    stopped_ = true;
    slot_.restore();  // closing our end ends the peer's loop
    peer_.wait();
    if (report_ < 0) return requests_;
    std::string recorded;
    char chunk[4096];
    for (ssize_t count; (count = pread(report_, chunk, sizeof(chunk), static_cast<off_t>(recorded.size()))) > 0;) {
        recorded.append(chunk, static_cast<size_t>(count));
    }
    close(report_);
    int header[2];
    for (size_t at = 0; at + sizeof(header) <= recorded.size();) {
        std::memcpy(header, recorded.data() + at, sizeof(header));
        at += sizeof(header);
        size_t length = header[1] > 0 ? static_cast<size_t>(header[1]) : 0;
        if (at + length > recorded.size()) break;
        requests_.push_back({header[0], recorded.substr(at, length)});
        at += length;
    }
    return requests_;
}

}  // namespace cfftest
