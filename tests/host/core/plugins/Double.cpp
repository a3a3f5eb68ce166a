// A plug-in with a type and an importer of its own, and a type that the good plug-in has too.

#include "Varkle/Core/FileImportRegistry.h"
#include "Varkle/Core/Log.h"
#include "Varkle/Core/Operator.h"
#include "Varkle/Core/TypeLibrary.h"

extern "C" VARKLE_API void VarklePluginLoad()
{
    using namespace Varkle;
    static const ObjectType own("Test.Own", Operator::Type(), {});
    static const ObjectType good("Test.Good", Operator::Type(), {});
    TypeLibrary::Get().RegisterOperator(ParseOperatorDoc(&own, "Docs/Operators/Test/Own.md", ""));
    TypeLibrary::Get().RegisterOperator(ParseOperatorDoc(&good, "Docs/Operators/Test/Good.md", ""));
    FileImportRegistry::Get().RegisterImporter({".own"}, &own, {});
}

extern "C" VARKLE_API void VarklePluginUnload()
{
    Varkle::LogInfo("The plug-in with a type too many is unloaded.");
}
