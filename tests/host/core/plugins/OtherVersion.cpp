// A plug-in that states, in a note, a version of the interface that does not exist.

#include "Varkle/Core/Log.h"

__asm__(".pushsection .note.varkle, \"a\", %note\n.balign 4\n.long 7, 5, 1\n"
        ".asciz \"Varkle\"\n.balign 4\n.asciz \"99.3\"\n.balign 4\n.popsection\n");

namespace
{

const bool s_noise = (Varkle::LogInfo("The constructors of another version's plug-in run."), true);

} // namespace

extern "C" VARKLE_API void VarklePluginLoad()
{
    Varkle::LogInfo(s_noise ? "This must not be called." : "");
}

extern "C" VARKLE_API void VarklePluginUnload() {}
