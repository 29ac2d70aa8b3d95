#include "Platform/UnixSignalWatcher.h"

#include "Util/Logging.h"

#include <csignal>
#include <sys/socket.h>
#include <unistd.h>

namespace {

// Written by the signal handler, read by the notifier; one pair per process.
int s_fds[2] = {-1, -1};

void handleSignal(int signalNumber)
{
    const char byte = static_cast<char>(signalNumber);
    [[maybe_unused]] const ssize_t written = ::write(s_fds[0], &byte, 1);
}

} // namespace

UnixSignalWatcher::UnixSignalWatcher(QObject* parent) : QObject(parent)
{
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, s_fds) != 0) {
        qCWarning(lcShell) << "Cannot watch for termination signals";
        return;
    }
    m_notifier = std::make_unique<QSocketNotifier>(s_fds[1], QSocketNotifier::Read);
    connect(m_notifier.get(), &QSocketNotifier::activated, this, [this] {
        char byte = 0;
        if (::read(s_fds[1], &byte, 1) == 1)
            Q_EMIT terminationRequested(byte);
    });
    struct sigaction action = {};
    action.sa_handler = handleSignal;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    ::sigaction(SIGTERM, &action, nullptr);
    ::sigaction(SIGINT, &action, nullptr);
}

UnixSignalWatcher::~UnixSignalWatcher()
{
    ::signal(SIGTERM, SIG_DFL);
    ::signal(SIGINT, SIG_DFL);
    m_notifier.reset();
    for (int& fd : s_fds) {
        if (fd >= 0)
            ::close(fd);
        fd = -1;
    }
}
