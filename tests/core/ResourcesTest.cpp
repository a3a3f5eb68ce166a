#include "core/Resources.h"
#include "support/Catch.h"
#include "support/LogRecorder.h"
#include "support/TemporaryFolder.h"

#include <string>

using namespace Varkle;

TEST_CASE("A resource holds the bytes of its source file")
{
    for (const char* const path : {"Shaders/GrayScale.wgsl", "Docs/Operators/Texture/Load Image.md"})
    {
        const std::string source = ReadBytes(std::string(VARKLE_SOURCES "/") + path);
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
    CHECK(Resources::Exists("Shaders/GrayScale.wgsl"));
    CHECK_FALSE(Resources::Exists("Shader"));
    CHECK_FALSE(Resources::Exists("Shaders/"));
    CHECK_FALSE(Resources::Exists(""));
    CHECK(heard.lines.empty());
}
