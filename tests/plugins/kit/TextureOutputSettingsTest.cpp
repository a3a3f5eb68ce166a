#include "Varkle/Kit/TextureOutputSettings.h"
#include "support/Catch.h"
#include "support/OperatorRunner.h"

using namespace Varkle;
using namespace Varkle::Testing;

namespace
{

template<int InputCount>
class Settings final : public Operator
{
public:
    static const ObjectType* Type()
    {
        static const ObjectType type("Test.Settings" + std::to_string(InputCount), Operator::Type(),
                                     [] { return new Settings; });
        return &type;
    }
    const ObjectType* GetType() const override { return Type(); }
    void Execute(ExecutionContext&) override
    {
        settings.Update();
        ++updates;
    }

    static std::vector<TextureInput*> First(std::vector<TextureInput*> inputs)
    {
        inputs.resize(std::size_t(InputCount));
        return inputs;
    }

    TextureInput a{this, "A"};
    TextureInput b{this, "B"};
    TextureInput c{this, "C"};
    TextureInput d{this, "D"};
    TextureOutput output{this, "Output"};
    TextureOutputSettings settings{this, First({&a, &b, &c, &d})};
    int updates = 0;
};

using Names = std::vector<std::string>;

} // namespace

TEST_CASE("The names of the output format follow from the number of inputs, eight at most")
{
    CHECK(GetTextureSettingNames(0).empty());
    CHECK(GetTextureSettingNames(1) == Names{"Copy Input", "Manual"});
    CHECK(GetTextureSettingNames(2) == Names{"Copy Input A", "Copy Input B", "Manual"});
    CHECK(GetTextureSettingNames(4) == Names{"Copy Input A", "Copy Input B", "Copy Input C", "Copy Input D", "Manual"});
    CHECK(GetTextureSettingNames(9) == GetTextureSettingNames(8));
    CHECK(GetTextureSettingNames(8).size() == 9);
    CHECK(GetTextureSettingNames(8)[7] == "Copy Input H");
}

TEST_CASE("Texture settings create output format, texture type and texture size with their defaults")
{
    OperatorRunner<Settings<1>> runner;
    const auto& parameters = runner.Get().GetParameters();
    REQUIRE(parameters.size() == 3);
    CHECK(parameters[0]->GetName() == "Output Format");
    CHECK(parameters[1]->GetName() == "Texture Type");
    CHECK(parameters[2]->GetName() == "Texture Size");
    CHECK(runner.Parameter<EnumParameter>("Output Format").Value() == "Copy Input");
    const auto& type = runner.Parameter<EnumParameter>("Texture Type");
    CHECK(type.Value() == "RGBA8Unorm");
    CHECK(type.GetPossibleValues() == Names{"R8Unorm", "RG8Unorm", "RGBA8Unorm"});
    CHECK(type.GetLabels() == Names{"R (u8)", "RG (u8)", "RGBA (u8)"});
    CHECK(runner.Parameter<Vector2IntParameter>("Texture Size").Value() == glm::ivec2(1024, 1024));
}

TEST_CASE("Without inputs to follow there is no output format")
{
    OperatorRunner<Settings<0>> runner;
    CHECK(runner.Get().GetParameters().size() == 2);
    CHECK(runner.Get().FindParameter("Output Format") == nullptr);
}

TEST_CASE("Before the first update the format is one that no update produces")
{
    OperatorRunner<Settings<1>> runner;
    const TextureOutputSettings& settings = runner.GetOperator().settings;
    CHECK(settings.GetFrameBufferFormat() ==
          FrameBufferFormat{{wgpu::TextureFormat::BGRA8Unorm}, wgpu::TextureFormat::Depth24Plus, 1, false});
    runner.Execute();
    CHECK(settings.GetFrameBufferFormat() ==
          FrameBufferFormat{{wgpu::TextureFormat::RGBA8Unorm}, wgpu::TextureFormat::Undefined, 1, false});
}

TEST_CASE("Copying an input takes over its size and type, which stay when it is disconnected")
{
    OperatorRunner<Settings<1>> runner;
    runner.Connect("A", Texture::Create({640, 360}, wgpu::TextureFormat::RG8Unorm));
    runner.Execute();
    CHECK(runner.GetOperator().settings.GetFrameBufferSize() == glm::ivec2(640, 360));
    CHECK(runner.Parameter<EnumParameter>("Texture Type").Value() == "RG8Unorm");
    CHECK(runner.GetOperator().settings.GetFrameBufferFormat().colorFormats[0] == wgpu::TextureFormat::RG8Unorm);

    runner.Disconnect("A");
    runner.Execute();
    CHECK(runner.GetOperator().settings.GetFrameBufferSize() == glm::ivec2(640, 360));
    CHECK(runner.Parameter<EnumParameter>("Texture Type").Value() == "RG8Unorm");
}

TEST_CASE("Copying an input does not make the operator outdated")
{
    OperatorRunner<Settings<1>> runner;
    runner.Connect("A", Texture::Create({6, 3}, wgpu::TextureFormat::R8Unorm));
    runner.Execute();
    runner.Execute();
    CHECK(runner.GetOperator().updates == 1);
}

TEST_CASE("The followed input is the one at the chosen position, whatever the others hold")
{
    OperatorRunner<Settings<4>> runner;
    runner.Connect("A", Texture::Create({10, 10}, wgpu::TextureFormat::RGBA8Unorm));
    runner.Connect("C", Texture::Create({30, 20}, wgpu::TextureFormat::R8Unorm));
    runner.SetEnum("Output Format", "Copy Input C");
    runner.Execute();
    CHECK(runner.GetOperator().settings.GetFrameBufferSize() == glm::ivec2(30, 20));
    runner.SetEnum("Output Format", "Copy Input B"); // carries nothing: nothing is copied
    runner.Execute();
    CHECK(runner.GetOperator().settings.GetFrameBufferSize() == glm::ivec2(30, 20));
    CHECK(runner.Parameter<EnumParameter>("Texture Type").Value() == "R8Unorm");
}

TEST_CASE("A followed texture of another format selects four 8-bit channels")
{
    OperatorRunner<Settings<1>> runner;
    runner.SetEnum("Texture Type", "R8Unorm");
    runner.Connect("A", Texture::Create({4, 4}, wgpu::TextureFormat::RGBA16Float));
    runner.Execute();
    CHECK(runner.Parameter<EnumParameter>("Texture Type").Value() == "RGBA8Unorm");
}

TEST_CASE("Manual, and an output format that is no name, leave size and type to the user")
{
    OperatorRunner<Settings<1>> runner;
    runner.Connect("A", Texture::Create({4, 4}, wgpu::TextureFormat::RGBA8Unorm));
    for (const char* const format : {"Manual", "Sideways"})
    {
        runner.SetEnum("Output Format", format);
        runner.SetEnum("Texture Type", "R8Unorm");
        runner.Parameter<Vector2IntParameter>("Texture Size").SetValue({7, 9});
        runner.Execute();
        CHECK(runner.GetOperator().settings.GetFrameBufferSize() == glm::ivec2(7, 9));
        CHECK(runner.GetOperator().settings.GetFrameBufferFormat().colorFormats[0] == wgpu::TextureFormat::R8Unorm);
        CHECK(runner.Parameter<EnumParameter>("Output Format").Value() == format);
    }
}

TEST_CASE("A texture type that is no name counts as four channels and keeps its text")
{
    OperatorRunner<Settings<0>> runner;
    runner.SetEnum("Texture Type", "rgba8unorm");
    runner.Execute();
    CHECK(runner.GetOperator().settings.GetFrameBufferFormat().colorFormats[0] == wgpu::TextureFormat::RGBA8Unorm);
    CHECK(runner.Parameter<EnumParameter>("Texture Type").Value() == "rgba8unorm");
}

TEST_CASE("Setting a format selects the type with that format, or four channels")
{
    OperatorRunner<Settings<0>> runner;
    TextureOutputSettings& settings = runner.GetOperator().settings;
    settings.SetFrameBufferFormat(wgpu::TextureFormat::RG8Unorm);
    CHECK(runner.Parameter<EnumParameter>("Texture Type").Value() == "RG8Unorm");
    settings.SetFrameBufferFormat(wgpu::TextureFormat::RGBA32Float);
    CHECK(runner.Parameter<EnumParameter>("Texture Type").Value() == "RGBA8Unorm");
}
