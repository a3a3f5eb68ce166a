// An operator that carries nothing whenever a test wants it to.

#include "Varkle/Core/Operator.h"
#include "Varkle/Core/Parameters.h"
#include "Varkle/Core/TypeLibrary.h"
#include "Varkle/Gpu/Ports.h"

namespace
{

using namespace Varkle;

// Passes a texture on while it is open, else carries nothing.
class Gate final : public Operator
{
public:
    static const ObjectType* Type()
    {
        static const ObjectType type("Test.Gate", Operator::Type(), [] { return new Gate; });
        return &type;
    }
    const ObjectType* GetType() const override { return Type(); }
    void Execute(ExecutionContext&) override
    {
        if (open.Value())
            output.Activate(input.GetTextureOrDefault());
        else
            output.Clear();
    }

private:
    TextureInput input{this, "Texture Input"};
    TextureOutput output{this, "Texture Output"};
    BoolParameter open{ParameterScope(this), "Open", true};
};

constexpr const char* document = R"(---
type: Test.Gate
summary: Passes a texture on or carries nothing.
outputs:
  Texture Output:
    type: Texture
    description: The texture.
inputs:
  Texture Input:
    type: Texture
    description: The texture.
parameters:
  Open:
    type: Bool
    description: Passes it on.
---
)";

} // namespace

extern "C" VARKLE_API void VarklePluginLoad()
{
    TypeLibrary::Get().RegisterOperator(ParseOperatorDoc(Gate::Type(), "Docs/Operators/Test/Gate.md", document));
}

extern "C" VARKLE_API void VarklePluginUnload() {}
