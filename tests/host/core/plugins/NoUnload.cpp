// Half a plug-in: without the way out it must not be let in.

#include "Varkle/Core/Log.h"

extern "C" VARKLE_API void VarklePluginLoad()
{
    Varkle::LogInfo("This must not be called.");
}
