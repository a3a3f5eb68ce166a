// A plug-in that needs a function that nobody has.

#include "Varkle/Core/Export.h"

extern "C" void VarkleTestMissingFunction();

extern "C" VARKLE_API void VarklePluginLoad()
{
    VarkleTestMissingFunction();
}

extern "C" VARKLE_API void VarklePluginUnload() {}
