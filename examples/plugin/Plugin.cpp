// The two functions that a plug-in exports.

#include <Varkle/Core/Export.h>
#include <Varkle/Kit/Registration.h>
#include <Varkle/Kit/ShaderCache.h>

// Called once when the plug-in is loaded: makes its operators known, in the order of their lines in CMakeLists.txt.
extern "C" VARKLE_API void VarklePluginLoad()
{
    Varkle::RegisterOperators();
}

// Called when no operator of the plug-in is left. The program has forgotten their types already.
extern "C" VARKLE_API void VarklePluginUnload()
{
    Varkle::ShaderCache::Clear();
}
