#include "Interrupts.h"

#include "Command.h"
#include "Console.h"
#include "Varkle/Run/Exporter.h"

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <poll.h>
#include <pthread.h>
#include <sys/eventfd.h>
#include <system_error>
#include <thread>
#include <unistd.h>

namespace Varkle
{

namespace
{

volatile std::sig_atomic_t caughtSignal = 0;
int wakeUp = -1; // counts the signals for the watching thread
std::atomic_flag said;

void NoteSignal(int signal)
{
    const int reason = errno;
    const std::uint64_t one = 1;
    caughtSignal = signal;
    (void)!write(wakeUp, &one, sizeof one);
    errno = reason;
}

// Never destroyed: the watching thread lives as long as the process.
std::stop_source& StopSource()
{
    static std::stop_source& source = *new std::stop_source;
    return source;
}

// Waits for the next signals, -1 for ever. Returns how many came.
std::uint64_t WaitForSignals(int milliseconds)
{
    pollfd entry{wakeUp, POLLIN, 0};
    while (poll(&entry, 1, milliseconds) == -1 && errno == EINTR)
    {
    }
    std::uint64_t count = 0;
    const bool came = (entry.revents & POLLIN) != 0 && read(wakeUp, &count, sizeof count) == sizeof count;
    return came ? count : 0;
}

// Ends the process by force when it takes too long, or the user does not want to wait.
void Watch()
{
    constexpr int patience = 700; // milliseconds: all in all it shall be over within a second
    pthread_setname_np(pthread_self(), "varkle signals");
    while (true)
    {
        const bool twice = WaitForSignals(-1) > 1;
        if (caughtSignal != 0)
            StopSource().request_stop();
        if (!twice)
            WaitForSignals(patience); // by then it is over, or asked for again
        if (caughtSignal == 0)
            continue; // forgotten
        if (!said.test_and_set())
            TryToPrintError("The run was interrupted; the files written so far are complete, and those that were not "
                            "are gone.");
        EndByInterrupt();
    }
}

// Returns false when the system gives no thread: then a second signal must end the process by itself.
bool StartWatching()
{
    static const bool started = []
    {
        wakeUp = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
        try
        {
            std::thread(Watch).detach();
            return wakeUp != -1;
        }
        catch (const std::system_error&)
        {
            return false;
        }
    }();
    return started;
}

} // namespace

void WatchForInterrupts()
{
    const bool watched = StartWatching();
    for (const int signal : {SIGINT, SIGTERM, SIGHUP})
    {
        struct sigaction action = {};
        sigaction(signal, nullptr, &action);
        if (action.sa_handler == SIG_IGN)
            continue;
        action = {};
        action.sa_handler = NoteSignal;
        action.sa_flags = watched ? 0 : int(SA_RESETHAND);
        sigaction(signal, &action, nullptr);
    }
}

bool WasInterrupted()
{
    return caughtSignal != 0;
}

std::stop_token GetInterruptToken()
{
    return StopSource().get_token();
}

int PrintInterrupted(std::string_view message)
{
    return said.test_and_set() ? int(WrongInput) : PrintError(message);
}

void ForgetInterrupt()
{
    caughtSignal = 0;
}

void EndByInterrupt()
{
    Exporter::EndAll();
    const int signal = caughtSignal;
    std::signal(signal, SIG_DFL);
    std::raise(signal);
    std::_Exit(128 + signal);
}

} // namespace Varkle
