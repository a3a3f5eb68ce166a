#include "Varkle/Kit/Resources.h"
#include "support/Catch.h"
#include "support/LogRecorder.h"
#include "support/TemporaryFolder.h"

#include <cstdint>
#include <cstring>
#include <string>

using namespace Varkle;

TEST_CASE("A resource holds the bytes of its source file")
{
    for (const char* const path :
         {"Shaders/GrayScale.wgsl", "Docs/Operators/Texture/Load Image.md", "Shaders/Random.wgsl",
          "Shaders/Noise/psrdnoise2.wgsl", "Shaders/Noise/psrdnoise3.wgsl", "Noise/vertex.vert", "Noise/PSRD-3D.frag",
          "Noise/thirdparty/psrdnoise2.glsl", "Noise/thirdparty/psrdnoise3.glsl", "Noise/thirdparty/psrddnoise2.glsl",
          "Noise/thirdparty/psrddnoise3.glsl", "Shaders/shader.vert", "Shaders/shader.frag"})
    {
        const std::string source = ReadBytes(std::string(VARKLE_SOURCES "/plugins/gpu/") + path);
        REQUIRE_FALSE(source.empty());
        CHECK(Resources::ReadText(path) == source);
        CHECK(Resources::ReadBytes(path) == source);
    }
}

TEST_CASE("Reading a folder or a missing file warns and gives nothing")
{
    const LogRecorder heard;
    CHECK(Resources::ReadText("Shaders").data() == nullptr);
    CHECK(Resources::ReadBytes("Shaders/Nothing.wgsl").empty());
    REQUIRE(heard.lines.size() == 2);
    CHECK(heard.lines[0] == "warning: VarkleGpuOperators has no resource file \"Shaders\".");
    CHECK(heard.lines[1] == "warning: VarkleGpuOperators has no resource file \"Shaders/Nothing.wgsl\".");
}

TEST_CASE("Files and folders exist, other paths don't, and asking says nothing")
{
    const LogRecorder heard;
    CHECK(Resources::Exists("Shaders"));
    CHECK(Resources::Exists("Docs/Operators"));
    CHECK(Resources::Exists("Shaders/Noise"));
    CHECK(Resources::Exists("Noise"));
    CHECK(Resources::Exists("Noise/thirdparty"));
    CHECK(Resources::Exists("Shaders/GrayScale.wgsl"));
    CHECK_FALSE(Resources::Exists("Shader"));
    CHECK_FALSE(Resources::Exists("Shaders/"));
    CHECK_FALSE(Resources::Exists(""));
    CHECK(heard.lines.empty());
}

TEST_CASE("Compiled shaders are resources beside their sources, as whole SPIR-V modules")
{
    for (const char* const path : {"Noise/vertex.spv", "Noise/PSRD-3D.spv", "Shaders/vert.spv", "Shaders/frag.spv"})
    {
        INFO(path);
        CHECK(Resources::Exists(path));
        const std::string_view bytes = Resources::ReadBytes(path);
        REQUIRE(bytes.size() > 20); // the header
        CHECK(bytes.size() % 4 == 0);
        std::uint32_t magic = 0;
        std::memcpy(&magic, bytes.data(), sizeof(magic));
        CHECK(magic == 0x07230203);
    }
}
