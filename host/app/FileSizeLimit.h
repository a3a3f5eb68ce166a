#pragma once

namespace Varkle
{

/// Where the caller limits the size of files (ulimit -f), goes on in a child process, whose end this one then shares:
/// with status 2 and a message when memory that was promised could not be had. Drivers that work without a GPU keep
/// what would be its memory in a file, and the system ends a process that touches what did not fit. To be called
/// before there are threads.
void TellOfFileSizeLimit();

} // namespace Varkle
