#pragma once

#include <stop_token>
#include <string_view>

// Ctrl-C and the other signals that ask the program to end.

namespace Varkle
{

/// Takes note of Ctrl-C, SIGTERM and SIGHUP from now on, so that a run can end by itself, between two frames for
/// instance. One that has not ended most of a second later, or is asked a second time, is ended whatever it waits for:
/// helping programs and files that are not complete go, then the process ends by the signal. A signal that the caller
/// had ignored (nohup) stays ignored.
void WatchForInterrupts();
bool WasInterrupted();
/// Returns what asks a run to stop when the program is interrupted, a moment later.
std::stop_token GetInterruptToken();

/// Prints as an error that the run was interrupted, unless that was said already. Returns the exit status for it; the
/// process should then end by the signal.
int PrintInterrupted(std::string_view message);

/// Forgets a signal that was noted, for runs that are meant to be ended by one: they may take their time to end.
void ForgetInterrupt();

/// Ends the process by the signal that was noted, so that the caller sees what happened. What threads had under way
/// goes.
[[noreturn]] void EndByInterrupt();

} // namespace Varkle
