// The two functions that the library exports.

#include "Registration.h"
#include "Varkle/Kit/ShaderCache.h"

extern "C" VARKLE_API void VarklePluginLoad()
{
    Varkle::RegisterOperatorsAndImporters();
}

extern "C" VARKLE_API void VarklePluginUnload()
{
    Varkle::ShaderCache::Clear();
}
