// The two functions that the library exports.

#include "Registration.h"
#include "core/ShaderCache.h"

extern "C" __attribute__((visibility("default"))) void VarklePluginLoad()
{
    Varkle::RegisterOperatorsAndImporters();
}

extern "C" __attribute__((visibility("default"))) void VarklePluginUnload()
{
    Varkle::ShaderCache::Clear();
}
