#pragma once

#include "Varkle/Gpu/Buffer.h"

namespace Varkle
{

struct BufferAccess
{
    /// Returns what lives as long as a handle of the buffer does: caches tell buffers apart by it, since the GPU object
    /// goes on to another handle then.
    static std::shared_ptr<const void> Identity(const Buffer& buffer) { return buffer.storage; }

    /// True for a buffer that belongs to the device that there is now.
    static bool IsCurrent(const Buffer& buffer);
};

} // namespace Varkle
