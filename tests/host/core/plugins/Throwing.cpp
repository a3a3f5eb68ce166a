// A plug-in whose load gives up after it has registered a type.

#include "Varkle/Core/Log.h"
#include "Varkle/Core/Operator.h"
#include "Varkle/Core/TypeLibrary.h"

#include <stdexcept>

namespace
{

// Thrown with its code in the plug-in, so that nobody may hold it when the library is gone.
struct NoFish : std::runtime_error
{
    NoFish() : std::runtime_error("there is no fish") {}
};

} // namespace

extern "C" VARKLE_API void VarklePluginLoad()
{
    using namespace Varkle;
    static const ObjectType type("Test.Throwing", Operator::Type(), {});
    TypeLibrary::Get().RegisterOperator(ParseOperatorDoc(&type, "Docs/Operators/Test/Throwing.md", ""));
    throw NoFish();
}

extern "C" VARKLE_API void VarklePluginUnload()
{
    Varkle::LogInfo("The throwing plug-in is unloaded.");
}
