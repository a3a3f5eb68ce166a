#include "Varkle/Core/FileImportRegistry.h"
#include "Varkle/Core/Graph.h"
#include "Varkle/Core/Parameters.h"
#include "Varkle/Core/Plugin.h"
#include "Varkle/Core/TypeLibrary.h"
#include "Varkle/Gpu/Graphics.h"
#include "support/Catch.h"
#include "support/LogRecorder.h"

#include <array>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

using namespace Varkle;

namespace
{

std::string RunShell(const std::string& command)
{
    std::string output;
    FILE* const pipe = popen(command.c_str(), "r");
    REQUIRE(pipe);
    std::array<char, 4096> part;
    for (std::size_t n = fread(part.data(), 1, part.size(), pipe); n > 0; n = fread(part.data(), 1, part.size(), pipe))
        output.append(part.data(), n);
    pclose(pipe);
    return output;
}

std::vector<std::string> RegisteredIds()
{
    std::vector<std::string> ids;
    for (const OperatorInfo& info : TypeLibrary::Get().GetOperators())
        ids.push_back(info.type->GetId());
    return ids;
}

} // namespace

TEST_CASE("The plug-in exports its two entry points and nothing else")
{
    CHECK(RunShell("nm -D --defined-only '" VARKLE_PLUGIN "' | awk '{ print $3 }' | sort") ==
          "VarklePluginLoad\nVarklePluginUnload\n");
}

TEST_CASE("Loading registers the operator types in their order, unloading forgets them")
{
    REQUIRE(RegisteredIds().empty());
    {
        const Result<Plugin> plugin = Plugin::Load(VARKLE_PLUGIN);
        REQUIRE(plugin);
        CHECK(RegisteredIds() == std::vector<std::string>{"Varkle.IO.System.Window",
                                                          "Varkle.IO.System.WindowInfo",
                                                          "Varkle.Material.PbrMaterial",
                                                          "Varkle.Material.UnlitMaterial",
                                                          "Varkle.Mesh.Cube",
                                                          "Varkle.Mesh.Copy",
                                                          "Varkle.Mesh.CreateAttribute",
                                                          "Varkle.Mesh.Distance",
                                                          "Varkle.Mesh.Noise",
                                                          "Varkle.Mesh.NoiseAttribute",
                                                          "Varkle.Mesh.Move",
                                                          "Varkle.Mesh.Sphere",
                                                          "Varkle.Mesh.SetMaterial",
                                                          "Varkle.Mesh.Transform",
                                                          "Varkle.Model.Load3DModel",
                                                          "Varkle.Model.Transform",
                                                          "Varkle.Texture.ColorCorrect",
                                                          "Varkle.Texture.Blend",
                                                          "Varkle.Texture.Blur",
                                                          "Varkle.Texture.ChannelShuffle",
                                                          "Varkle.Texture.ColorRamp",
                                                          "Varkle.Texture.Color",
                                                          "Varkle.Texture.CrossFader",
                                                          "Varkle.Texture.Displace",
                                                          "Varkle.Texture.EdgeDetect",
                                                          "Varkle.Texture.LoadImage",
                                                          "Varkle.Texture.SaveImage",
                                                          "Varkle.Texture.GrayScale",
                                                          "Varkle.Texture.LookupUV",
                                                          "Varkle.Texture.Mixer",
                                                          "Varkle.Texture.Noise",
                                                          "Varkle.Texture.Resize",
                                                          "Varkle.Texture.SineWave",
                                                          "Varkle.Texture.Transform"});
    }
    CHECK(RegisteredIds().empty());
    CHECK(FileImportRegistry::Get().FindType("a.png") == nullptr);
}

TEST_CASE("Every operator's document fits what its constructor creates, and loading says nothing")
{
    const LogRecorder heard;
    const Result<Plugin> plugin = Plugin::Load(VARKLE_PLUGIN);
    REQUIRE(plugin);
    for (const OperatorInfo& info : TypeLibrary::Get().GetOperators())
    {
        INFO(info.type->GetId());
        Graph graph;
        const Operator* const op = graph.Add(info.type);
        REQUIRE(op);
        CHECK(op->GetType() == info.type);
        CHECK(info.type->GetParent() == Operator::Type());
        CHECK(CheckOperatorDoc(info, *op));
        CHECK_FALSE(info.summary.empty());
        CHECK_FALSE(info.tags.empty());
        CHECK_FALSE(info.body.empty());
        for (const auto* const entries : {&info.inputs, &info.outputs, &info.parameters})
        {
            for (const OperatorInfo::Entry& entry : *entries)
                CHECK_FALSE((entry.description.empty() && entry.summary.empty()));
        }
    }
    CHECK(heard.lines.empty());
}

TEST_CASE("The image importer makes a Load Image with the file's path, and leaves other files alone")
{
    const Result<Plugin> plugin = Plugin::Load(VARKLE_PLUGIN);
    REQUIRE(plugin);
    for (const char* const extension :
         {"png", "jpg", "jpeg", "bmp", "tga", "gif", "pic", "pnm", "ppm", "pgm", "hdr", "psd", "JPEG"})
    {
        const std::string path = std::string("/pictures/a cat.") + extension;
        const std::unique_ptr<Operator> op = FileImportRegistry::Get().CreateOperator(path);
        REQUIRE(op);
        CHECK(op->GetType()->GetId() == "Varkle.Texture.LoadImage");
        CHECK(static_cast<StringParameter*>(op->FindParameter("Path"))->Value() == path);
    }
    CHECK(FileImportRegistry::Get().CreateOperator("/pictures/a cat.tiff") == nullptr);
    CHECK(FileImportRegistry::Get().CreateOperator("/pictures/png") == nullptr);
}

TEST_CASE("The model importer makes a Load 3D Model with the file's path")
{
    const Result<Plugin> plugin = Plugin::Load(VARKLE_PLUGIN);
    REQUIRE(plugin);
    for (const std::string path : {"/models/a cat.gltf", "/models/a cat.glb", "/models/a cat.GLB"})
    {
        const std::unique_ptr<Operator> op = FileImportRegistry::Get().CreateOperator(path);
        REQUIRE(op);
        CHECK(op->GetType()->GetId() == "Varkle.Model.Load3DModel");
        CHECK(static_cast<StringParameter*>(op->FindParameter("File Path"))->Value() == path);
    }
    CHECK(FileImportRegistry::Get().CreateOperator("/models/a cat.obj") == nullptr);
}

TEST_CASE("Every operator runs without a device, whatever feeds it")
{
    const Result<Plugin> plugin = Plugin::Load(VARKLE_PLUGIN);
    REQUIRE(plugin);
    Graphics::Shutdown();
    REQUIRE(setenv("VARKLE_ADAPTER", "no such adapter", 1) == 0);
    const LogRecorder heard;
    {
        Graph graph;
        std::vector<Operator*> sources;
        for (const char* const id :
             {"Varkle.Texture.Color", "Varkle.Mesh.Sphere", "Varkle.Material.PbrMaterial", "Varkle.Model.Load3DModel"})
        {
            const OperatorInfo* const info = TypeLibrary::Get().Find(id);
            REQUIRE(info);
            sources.push_back(graph.Add(info->type, id));
        }
        for (const OperatorInfo& info : TypeLibrary::Get().GetOperators())
        {
            Operator* const op = graph.Add(info.type, info.type->GetId());
            for (Object* const input : op->GetInputs())
            {
                auto* const single = dynamic_cast<DataInput*>(input);
                for (Operator* const source : sources)
                {
                    if (single)
                        (void)graph.Connect(*source->GetOutputs()[0], *single);
                }
            }
        }
        graph.Run();
        graph.Run();
        CHECK(heard.Contains("no such adapter"));
        CHECK_FALSE(Graphics::IsStarted());
    }
    unsetenv("VARKLE_ADAPTER");
    Graphics::Shutdown();
}
