// Standard input, and the one that waits for it: the main thread, which a search can wake.

#include <cerrno>

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include "base/platform.h"

namespace {

// A pipe of our own: what is written to it ends a wait. Without one (-1) waits run their time.
struct WakePipe {
    int out = -1, in = -1; // the ends to read and to write, both without blocking
};

} // namespace

static WakePipe open_wake_pipe() {
    int ends[2];
    if (pipe(ends) != 0) return {};
    for (int end : ends) {
        fcntl(end, F_SETFL, O_NONBLOCK);
        fcntl(end, F_SETFD, FD_CLOEXEC);
    }
    return {ends[0], ends[1]};
}

// Opened by whichever thread asks first.
static const WakePipe& wake_pipe() {
    static const WakePipe pipe = open_wake_pipe();
    return pipe;
}

void wake_main_thread() {
    // A full pipe wakes as well, so that nothing has to be done about a failure.
    [[maybe_unused]] ssize_t written = write(wake_pipe().in, "", 1);
}

// Waits for the pipe, and for standard input if it is `heard`.
static void wait_for_any(bool heard, int milliseconds) {
    pollfd sources[2] = {{wake_pipe().out, POLLIN, 0}, {STDIN_FILENO, POLLIN, 0}};
    if (poll(sources, heard ? 2 : 1, milliseconds) <= 0 || !sources[0].revents) return;
    char taken[64];
    while (read(sources[0].fd, taken, sizeof taken) > 0) {
    }
}

void wait_for_input(int milliseconds) { wait_for_any(true, milliseconds); }

void wait_for_wake(int milliseconds) { wait_for_any(false, milliseconds); }

bool input_waiting() {
    pollfd input = {STDIN_FILENO, POLLIN, 0};
    return poll(&input, 1, 0) > 0;
}

int read_input(char* buffer, size_t size) {
    ssize_t count = read(STDIN_FILENO, buffer, size);
    if (count >= 0) return static_cast<int>(count);
    // A closed descriptor or a lost terminal is the end of input; anything else may pass.
    return errno == EINTR || errno == EAGAIN ? -1 : 0;
}
