// FilterRunner: runs a filter against the simulated backend, wired the way the spooler wires them.
#include "FilterRunner.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <chrono>
#include <cstdlib>
#include <thread>

#include "BackendServer.h"
#include "SimulatorLog.h"

namespace {

// Descriptors are made above 10 first, so that placing them on 3 and 4 cannot clobber each other.
int lift(int fd) {
    int lifted = fcntl(fd, F_DUPFD_CLOEXEC, 10);
    close(fd);
    return lifted;
}

void setNonBlocking(int fd) {
    fcntl(fd, F_SETFL, fcntl(fd, F_GETFL) | O_NONBLOCK);
}

// Places |from| on |to| in a child, keeping it open across exec.
void place(int from, int to) {
    dup2(from, to);
    fcntl(to, F_SETFD, 0);
}

}  // namespace

int FilterRunner::run(const std::vector<std::string>& argv, const std::string& defaultUri, int relayFd,
                      int jobCopyFd) {
    if (argv.empty()) {
        return 127;
    }
    int job[2];
    int backChannel[2];
    int sideChannel[2];
    int errors[2];
    if (pipe(job) != 0 || pipe(backChannel) != 0 || socketpair(AF_LOCAL, SOCK_STREAM, 0, sideChannel) != 0 ||
        pipe(errors) != 0) {
        SimulatorLog::error("cannot create the channels: %s", strerror(errno));
        return 127;
    }
    for (int* fd : {&job[0], &job[1], &backChannel[0], &backChannel[1], &sideChannel[0], &sideChannel[1],
                    &errors[0], &errors[1]}) {
        *fd = lift(*fd);
    }
    for (int fd : {backChannel[0], backChannel[1], sideChannel[0], sideChannel[1]}) {
        setNonBlocking(fd);
    }
    pid_t backend = fork();
    if (backend == 0) {
        // The copy's descriptor may be one of 0 to 4, which the channels take over.
        int copy = jobCopyFd >= 0 ? fcntl(jobCopyFd, F_DUPFD_CLOEXEC, 10) : -1;
        int null = open("/dev/null", O_WRONLY | O_CLOEXEC);
        place(job[0], 0);
        place(null, 1);
        place(backChannel[1], 3);
        place(sideChannel[1], 4);
        // Only the placed copies stay open, so that closing fd 3 ends the host's reads.
        for (int fd : {job[0], job[1], backChannel[0], backChannel[1], sideChannel[0], sideChannel[1], errors[0],
                       errors[1]}) {
            close(fd);
        }
        BackendServer server(profile_, options_, responder_);
        _exit(server.run(0, copy) == 0 ? 0 : 1);
    }

    pid_t filter = fork();
    if (filter == 0) {
        signal(SIGPIPE, SIG_DFL);
        if (getenv("DEVICE_URI") == nullptr) {
            setenv("DEVICE_URI", defaultUri.c_str(), 1);
        }
        place(job[1], 1);
        place(errors[1], 2);
        place(backChannel[0], 3);
        place(sideChannel[0], 4);
        std::vector<char*> args;
        for (const std::string& arg : argv) {
            args.push_back(const_cast<char*>(arg.c_str()));
        }
        args.push_back(nullptr);
        execv(args[0], args.data());
        dprintf(2, "ERROR: cffsim: cannot run %s: %s\n", args[0], strerror(errno));
        _exit(127);
    }
    for (int fd : {job[0], job[1], backChannel[0], backChannel[1], sideChannel[0], sideChannel[1], errors[1]}) {
        close(fd);
    }

    char buffer[4096];
    for (;;) {
        ssize_t got = read(errors[0], buffer, sizeof(buffer));
        if (got < 0 && errno == EINTR) {
            continue;
        }
        if (got <= 0) {
            break;
        }
        for (ssize_t written = 0; written < got;) {
            ssize_t n = write(relayFd, buffer + written, static_cast<size_t>(got - written));
            if (n <= 0) {
                break;
            }
            written += n;
        }
    }
    close(errors[0]);

    int status = 0;
    int result = 127;
    if (filter > 0 && waitpid(filter, &status, 0) == filter) {
        result = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    }
    if (backend > 0) {
        // The backend ends when the filter's output closes; one that hangs is stopped.
        for (int waited = 0; waited < kBackendGraceMs; waited += 10) {
            if (waitpid(backend, &status, WNOHANG) == backend) {
                backend = -1;
                break;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        if (backend > 0) {
            kill(backend, SIGTERM);
            waitpid(backend, &status, 0);
        }
    }
    return result;
}
