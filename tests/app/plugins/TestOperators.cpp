// Operators that do what a test of the program needs and no real one does on demand.

#include "Varkle/Core/Log.h"
#include "Varkle/Core/Operator.h"
#include "Varkle/Core/Parameters.h"
#include "Varkle/Core/TypeLibrary.h"
#include "Varkle/Gpu/Ports.h"

#include <string>

namespace
{

using namespace Varkle;

// Passes a texture on and logs its message.
class Speaker final : public Operator
{
public:
    Speaker() { level.SetPossibleValues({"Info", "Warning", "Error"}, {}); }

    static const ObjectType* Type()
    {
        static const ObjectType type("Test.Speaker", Operator::Type(), [] { return new Speaker; });
        return &type;
    }
    const ObjectType* GetType() const override { return Type(); }
    void Execute(ExecutionContext&) override
    {
        const std::string text = GetKey() + " speaks";
        if (level.Value() == "Info")
            LogInfo(text);
        else if (level.Value() == "Warning")
            LogWarning(text);
        else
            LogError(text);
        output.Activate(input.GetTextureOrDefault());
    }

private:
    TextureInput input{this, "Texture Input"};
    TextureOutput output{this, "Texture Output"};
    EnumParameter level{ParameterScope(this), "Level"};
};

// Takes a texture and has no output.
class Sink final : public Operator
{
public:
    static const ObjectType* Type()
    {
        static const ObjectType type("Test.Sink", Operator::Type(), [] { return new Sink; });
        return &type;
    }
    const ObjectType* GetType() const override { return Type(); }
    void Execute(ExecutionContext&) override { LogInfo(GetKey() + " takes a texture"); }

private:
    TextureInput input{this, "Texture Input"};
};

// Gives a mesh without anything.
class MeshSource final : public Operator
{
public:
    static const ObjectType* Type()
    {
        static const ObjectType type("Test.MeshSource", Operator::Type(), [] { return new MeshSource; });
        return &type;
    }
    const ObjectType* GetType() const override { return Type(); }
    void Execute(ExecutionContext&) override { output.Activate(Mesh()); }

private:
    MeshOutput output{this, "Mesh Output"};
};

constexpr const char* speakerDocument = R"(---
type: Test.Speaker
summary: Passes a texture on and logs a message.
outputs:
  Texture Output:
    type: Texture
    description: The texture.
inputs:
  Texture Input:
    type: Texture
    description: The texture.
parameters:
  Level:
    type: Enum
    values: [Info, Warning, Error]
    description: How serious the message is.
---
)";

constexpr const char* sinkDocument = R"(---
type: Test.Sink
summary: Takes a texture.
inputs:
  Texture Input:
    type: Texture
    description: The texture.
---
)";

constexpr const char* meshSourceDocument = R"(---
type: Test.MeshSource
summary: Gives a mesh.
outputs:
  Mesh Output:
    type: Mesh
    description: The mesh.
---
)";

} // namespace

extern "C" void VarklePluginLoad()
{
    const auto add = [](const ObjectType* type, const char* path, const char* text)
    { TypeLibrary::Get().RegisterOperator(ParseOperatorDoc(type, path, text)); };
    add(Speaker::Type(), "Docs/Operators/Test/Speaker.md", speakerDocument);
    add(Sink::Type(), "Docs/Operators/Test/Sink.md", sinkDocument);
    add(MeshSource::Type(), "Docs/Operators/Test/Mesh Source.md", meshSourceDocument);
}

extern "C" void VarklePluginUnload() {}
