#pragma once

#include "Varkle/Core/Result.h"

#include <string>
#include <string_view>

// What reading and writing files has in common. Reasons are errno values.
namespace Varkle
{

constexpr int noReason = 0;

/// Returns the system's words: "No space left on device".
std::string GetReasonText(int reason);

/// True for reasons that lie with the machine and not with the path that was given.
bool IsMachineReason(int reason);

/// Writes and closes, which is where some network file systems tell that the quota is used up.
int WriteAndClose(int file, std::string_view bytes);

/// Returns "could not write PATH: No space left on device." with whose fault that is.
Error MakeWriteError(const std::string& path, int reason);

} // namespace Varkle
