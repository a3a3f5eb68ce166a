// A plug-in with one operator type, one importer for it, and one for the type that all operators derive from.

#include "Varkle/Core/FileImportRegistry.h"
#include "Varkle/Core/Log.h"
#include "Varkle/Core/Operator.h"
#include "Varkle/Core/Parameters.h"
#include "Varkle/Core/TypeLibrary.h"

namespace
{

using namespace Varkle;

class GoodOperator final : public Operator
{
public:
    static const ObjectType* Type()
    {
        static const ObjectType type("Test.Good", Operator::Type(), [] { return new GoodOperator; });
        return &type;
    }
    const ObjectType* GetType() const override { return Type(); }
    void Execute(ExecutionContext&) override {}

    StringParameter path{ParameterScope(this), "Path", ""};
};

} // namespace

extern "C" VARKLE_API void VarklePluginLoad()
{
    TypeLibrary::Get().RegisterOperator(ParseOperatorDoc(GoodOperator::Type(), "Docs/Operators/Test/Good.md", ""));
    FileImportRegistry::Get().RegisterImporter({".good"}, GoodOperator::Type(),
                                               [](Operator& op, const std::filesystem::path& file)
                                               { static_cast<GoodOperator&>(op).path.SetValue(file.string()); });
    FileImportRegistry::Get().RegisterImporter({".better"}, Operator::Type(),
                                               [](Operator&, const std::filesystem::path&) {});
    LogInfo("The good plug-in is loaded.");
}

extern "C" VARKLE_API void VarklePluginUnload()
{
    if (!TypeLibrary::Get().Find("Test.Good") && FileImportRegistry::Get().GetExtensions().empty())
        LogInfo("The good plug-in is unloaded, after its types and importers.");
}
