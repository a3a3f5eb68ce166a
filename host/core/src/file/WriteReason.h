#pragma once

#include "Varkle/Core/Result.h"

#include <string>
#include <string_view>

// What writing files has in common. Reasons are errno values.
namespace Varkle
{

constexpr int noReason = 0;

/// Writes and closes, which is where some network file systems tell that the quota is used up.
int WriteAndClose(int file, std::string_view bytes);

/// Returns "could not write PATH: No space left on device." with whose fault that is.
Error MakeWriteError(const std::string& path, int reason);

} // namespace Varkle
