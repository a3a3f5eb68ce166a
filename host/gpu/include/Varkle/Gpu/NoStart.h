#pragma once

#include "Varkle/Core/Export.h"

namespace Varkle::Graphics
{

/// While one lives, what asks for the GPU does not start it: a device that is there is used, and otherwise GPU objects
/// stay empty. For operators that are made to be asked about themselves and never run. Main thread only.
class VARKLE_API NoStart
{
public:
    NoStart();
    ~NoStart();
    NoStart(const NoStart&) = delete;
    NoStart& operator=(const NoStart&) = delete;
};

} // namespace Varkle::Graphics
