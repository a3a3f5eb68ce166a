// Operators that do what a test of the program needs and no real one does on demand.

#include "Varkle/Core/Log.h"
#include "Varkle/Core/Operator.h"
#include "Varkle/Core/Parameters.h"
#include "Varkle/Core/TypeLibrary.h"
#include "Varkle/Gpu/Graphics.h"
#include "Varkle/Gpu/Ports.h"

#include <chrono>
#include <cmath>
#include <map>
#include <string>
#include <thread>
#include <utility>

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

// Logs its value and what another operator's output parameters say, each when it is new, as "key: Name value".
class Reporter final : public Operator
{
public:
    static const ObjectType* Type()
    {
        static const ObjectType type("Test.Reporter", Operator::Type(), [] { return new Reporter; });
        return &type;
    }
    const ObjectType* GetType() const override { return Type(); }
    bool Outdated() const override { return true; }
    void Execute(ExecutionContext&) override
    {
        Report(value);
        const auto* const op = dynamic_cast<const Operator*>(reported.Value());
        if (!op)
            return;
        for (const Parameter* const parameter : op->GetParameters())
        {
            if (parameter->HasFlag(ParameterFlag::Output))
                Report(*parameter);
        }
    }

private:
    void Report(const Parameter& parameter)
    {
        const std::string text = GetKey() + ": " + parameter.GetName() + " " + TextOf(parameter);
        if (std::exchange(said[parameter.GetName()], text) != text)
            LogInfo(text);
    }

    static std::string TextOf(const Parameter& parameter)
    {
        if (const auto* const number = dynamic_cast<const FloatParameter*>(&parameter))
            return std::to_string(std::lround(number->Value()));
        if (const auto* const flag = dynamic_cast<const BoolParameter*>(&parameter))
            return flag->Value() ? "true" : "false";
        if (const auto* const pair = dynamic_cast<const Vector2IntParameter*>(&parameter))
            return std::to_string(pair->Value().x) + " " + std::to_string(pair->Value().y);
        return "?";
    }

    FloatParameter value{ParameterScope(this), "Value", 0.0};
    PtrParameter reported{ParameterScope(this), "Operator", nullptr};
    std::map<std::string, std::string> said;
};

// Passes a texture on, slowly and on every frame.
class Sleeper final : public Operator
{
public:
    static const ObjectType* Type()
    {
        static const ObjectType type("Test.Sleeper", Operator::Type(), [] { return new Sleeper; });
        return &type;
    }
    const ObjectType* GetType() const override { return Type(); }
    bool Outdated() const override { return true; }
    void Execute(ExecutionContext&) override
    {
        std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds.Value()));
        output.Activate(input.GetTextureOrDefault());
    }

private:
    TextureInput input{this, "Texture Input"};
    TextureOutput output{this, "Texture Output"};
    IntParameter milliseconds{ParameterScope(this), "Milliseconds", 0};
};

// Passes a texture on and makes the process lose its GPU device once. When the graph is built anew after that the next
// one does so, too, so many times in all.
class Breaker final : public Operator
{
public:
    static const ObjectType* Type()
    {
        static const ObjectType type("Test.Breaker", Operator::Type(), [] { return new Breaker; });
        return &type;
    }
    const ObjectType* GetType() const override { return Type(); }
    void Execute(ExecutionContext&) override
    {
        static long long s_losses = 0;
        if (s_losses < losses.Value() && !std::exchange(broke, true))
        {
            ++s_losses;
            Graphics::GetDevice().ForceLoss(wgpu::DeviceLostReason::Unknown, "someone stumbled over a cable");
        }
        output.Activate(input.GetTextureOrDefault());
    }

private:
    TextureInput input{this, "Texture Input"};
    TextureOutput output{this, "Texture Output"};
    IntParameter losses{ParameterScope(this), "Losses", 0};
    bool broke = false;
};

// Logs whether it gets a model.
class ModelSink final : public Operator
{
public:
    static const ObjectType* Type()
    {
        static const ObjectType type("Test.ModelSink", Operator::Type(), [] { return new ModelSink; });
        return &type;
    }
    const ObjectType* GetType() const override { return Type(); }
    void Execute(ExecutionContext&) override
    {
        LogInfo(GetKey() + (input.GetModel().GetRootNode() ? " takes a model" : " takes nothing"));
    }

private:
    ModelInput input{this, "Model Input"};
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

How serious a message can be:

| Level   | Meaning | Lines |
|---------|:-------:|------:|
| Info    | all is *well* | 1 |
| Warning | see [the sink](op:Test/Sink) or `a \| b` | 10 |
| Error   | größer als 3 | 100 |

1. The next: [Mesh Source](<op:Test/Mesh Source>), or [nobody](op:Test/Nobody).
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

constexpr const char* reporterDocument = R"(---
type: Test.Reporter
summary: Logs numbers that are new.
parameters:
  Value:
    type: Float
    description: A number to log.
  Operator:
    type: Reference
    description: The operator whose output parameters are logged.
---
)";

constexpr const char* sleeperDocument = R"(---
type: Test.Sleeper
summary: Passes a texture on, slowly.
outputs:
  Texture Output:
    type: Texture
    description: The texture.
inputs:
  Texture Input:
    type: Texture
    description: The texture.
parameters:
  Milliseconds:
    type: Int
    description: How long it takes.
---
)";

constexpr const char* breakerDocument = R"(---
type: Test.Breaker
summary: Passes a texture on and loses the device.
outputs:
  Texture Output:
    type: Texture
    description: The texture.
inputs:
  Texture Input:
    type: Texture
    description: The texture.
parameters:
  Losses:
    type: Int
    description: How often the process loses its device.
---
)";

constexpr const char* modelSinkDocument = R"(---
type: Test.ModelSink
summary: Takes a model.
inputs:
  Model Input:
    type: Model
    description: The model.
---
)";

} // namespace

extern "C" VARKLE_API void VarklePluginLoad()
{
    const auto add = [](const ObjectType* type, const char* path, const char* text)
    { TypeLibrary::Get().RegisterOperator(ParseOperatorDoc(type, path, text)); };
    add(Speaker::Type(), "Docs/Operators/Test/Speaker.md", speakerDocument);
    add(Sink::Type(), "Docs/Operators/Test/Sink.md", sinkDocument);
    add(MeshSource::Type(), "Docs/Operators/Test/Mesh Source.md", meshSourceDocument);
    add(Reporter::Type(), "Docs/Operators/Test/Reporter.md", reporterDocument);
    add(Sleeper::Type(), "Docs/Operators/Test/Sleeper.md", sleeperDocument);
    add(Breaker::Type(), "Docs/Operators/Test/Breaker.md", breakerDocument);
    add(ModelSink::Type(), "Docs/Operators/Test/Model Sink.md", modelSinkDocument);
}

extern "C" VARKLE_API void VarklePluginUnload() {}
