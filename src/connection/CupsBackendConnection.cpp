// CupsBackendConnection: requests on standard output to the backend, answers from its back-channel.
#include "connection/CupsBackendConnection.h"

#include <cups/sidechannel.h>
#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <vector>

#include "support/Logger.h"

namespace {

const int kBackChannelFd = 3;

// One back-channel read: the byte count, 0 when the wait ran out on a blocking
// descriptor, or -1 with errno set.
ssize_t readBackChannel(Logger& logger, unsigned char* buffer, size_t size, double timeout) {
    // The library would loop for ever on a descriptor that is not open (run outside the
    // spooler), so that counts as a failed read.
    int flags = fcntl(kBackChannelFd, F_GETFL);
    if (flags == -1) {
        logger.Log("%s", "No back-channel: file descriptor 3 is not open");
        errno = EBADF;
        return -1;
    }
    if ((flags & O_NONBLOCK) == 0) {
        // The library reads without a time-out once its wait runs out, which blocks for
        // ever on a blocking descriptor; so wait here and read only what has arrived.
        struct pollfd entry;
        entry.fd = kBackChannelFd;
        entry.events = POLLIN;
        entry.revents = 0;
        int milliseconds = timeout < 86400.0 ? static_cast<int>(timeout * 1000.0) : 86400000;
        int ready = poll(&entry, 1, milliseconds);
        if (ready <= 0) {
            if (ready == 0) {
                errno = EAGAIN;
            }
            return -1;
        }
    }
    return cupsBackChannelRead(reinterpret_cast<char*>(buffer), size, timeout);
}

}  // namespace

FILE* CupsBackendConnection::outputStream_ = nullptr;

CupsBackendConnection::CupsBackendConnection() = default;

CupsBackendConnection::~CupsBackendConnection() = default;

int CupsBackendConnection::doOpen() {
    Logger logger("CupsBackendConnection", "doOpen");
    return 0;
}

int CupsBackendConnection::doClose() {
    Logger logger("CupsBackendConnection", "doClose");
    return 0;
}

// Returns 0 when every byte was written, or when a short write was followed by a
// successful drain of the backend's output; -1 otherwise.
int CupsBackendConnection::doWrite(Data* request) {
    Logger logger("CupsBackendConnection", "doWrite");
    if (request == nullptr) {
        logger.Log("%s", "No request to write");
        return -1;
    }
    FILE* stream = outputStream_ != nullptr ? outputStream_ : stdout;
    int size = request->size() > 0 && request->get() != nullptr ? request->size() : 0;
    size_t written = size > 0 ? fwrite(request->get(), 1, static_cast<size_t>(size), stream) : 0;
    if (fflush(stream) != 0) {
        int error = errno;
        clearerr(stream);
        logger.Log("Data Size = %d", size);
        logger.Log("Data Written = %d", 0);
        logger.Log("Write failed: %s", std::strerror(error));
        // The reader of our output is gone (SIGPIPE is ignored): nothing left to drain.
        if (error == EPIPE) {
            return -1;
        }
        written = 0;
    } else {
        logger.Log("Data Size = %d", size);
        logger.Log("Data Written = %d", static_cast<int>(written));
    }
    if (written == static_cast<size_t>(size)) {
        return 0;
    }

    if (fcntl(CUPS_SC_FD, F_GETFD) == -1) {
        logger.Log("%s", "No side channel: file descriptor 4 is not open");
        return -1;
    }
    // The drain reply lands in a scratch copy so the request stays intact.
    std::vector<char> reply(request->get(), request->get() + size);
    int replyLength = size;
    cups_sc_status_t status = cupsSideChannelDoRequest(CUPS_SC_CMD_DRAIN_OUTPUT, reply.data(),
                                                       &replyLength, getTimeoutVal());
    return status == CUPS_SC_STATUS_OK ? 0 : -1;
}

// Returns 0 with the bytes of the first attempt that read any, -1 when neither did.
int CupsBackendConnection::doRead(Data& answer) {
    Logger logger("CupsBackendConnection", "doRead");
    unsigned char buffer[kReadSize];
    std::memset(buffer, 0, sizeof(buffer));

    // A negative time-out would make the library wait without limit.
    double timeout = getTimeoutVal() > 0.0 ? getTimeoutVal() : 0.0;
    ssize_t count = -1;
    int error = 0;
    for (int attempt = 0; attempt < 2; ++attempt) {
        errno = 0;
        count = readBackChannel(logger, buffer, sizeof(buffer), timeout);
        error = errno;
        if (count > 0) {
            // Intended: later reads wait briefly, so the end of a multi-packet answer is
            // found when no further packet follows closely.
            setTimeoutVal(0.2);
            break;
        }
    }

    logger.Log("cupsBackChannelRead Response = %d, 0=%x, 1=%x 2=%x 3=%x 4=%x 5=%x",
               static_cast<int>(count), buffer[0], buffer[1], buffer[2], buffer[3], buffer[4],
               buffer[5]);
    if (count > 0) {
        logger.Log("%s", "cupsBackChannelRead Got Valid response");
        answer.assign(buffer, static_cast<int>(count));
        return 0;
    }
    logger.Log("%s", "----------------Data Size is ZERO ------\n");
    logger.Log("Read Status =  %s", std::strerror(error));
    return -1;
}
