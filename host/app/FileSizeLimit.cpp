#include "FileSizeLimit.h"

#include "Command.h"
#include "Console.h"

#include <cerrno>
#include <csignal>
#include <fmt/format.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Varkle
{

namespace
{

volatile pid_t worker = 0;

// What comes from the terminal reaches the child by itself.
void PassOn(int signal, siginfo_t* info, void*)
{
    if (info->si_code != SI_KERNEL)
        kill(worker, signal);
}

void PassSignalsOn()
{
    for (const int signal : {SIGINT, SIGTERM, SIGHUP})
    {
        struct sigaction action = {};
        sigaction(signal, nullptr, &action);
        if (action.sa_handler == SIG_IGN)
            continue;
        action = {};
        action.sa_sigaction = PassOn;
        action.sa_flags = SA_SIGINFO;
        sigaction(signal, &action, nullptr);
    }
}

[[noreturn]] void EndAs(int state, const rlimit& limit)
{
    if (WIFEXITED(state))
        _exit(WEXITSTATUS(state));
    const int signal = WTERMSIG(state);
    if (signal == SIGBUS)
    {
        PrintError(fmt::format("The limit on file sizes (ulimit -f) is {} KiB. A graphics driver that works without a "
                               "GPU counts the memory that it uses in its place against it, and needs more.",
                               limit.rlim_cur >> 10));
        _exit(MachineFailed);
    }
    std::signal(signal, SIG_DFL);
    std::raise(signal);
    _exit(128 + signal);
}

} // namespace

void TellOfFileSizeLimit()
{
    rlimit limit = {};
    if (getrlimit(RLIMIT_FSIZE, &limit) != 0 || limit.rlim_cur == RLIM_INFINITY)
        return;
    worker = fork();
    if (worker == 0)
        prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (worker <= 0)
        return;
    PassSignalsOn();
    int state = 0;
    while (waitpid(worker, &state, 0) == -1 && errno == EINTR)
    {
    }
    EndAs(state, limit);
}

} // namespace Varkle
