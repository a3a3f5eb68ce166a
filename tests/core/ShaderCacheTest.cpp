#include "core/ShaderCache.h"
#include "Varkle/Core/Log.h"
#include "support/Catch.h"

using namespace Varkle;

TEST_CASE("A shader is made once and handed out again until the cache is cleared")
{
    ShaderCache::Clear();
    const Shader first = ShaderCache::GetShader("GrayScale.wgsl");
    CHECK(first);
    CHECK(ShaderCache::GetShader("GrayScale.wgsl") == first);
    CHECK(ShaderCache::GetSize() == 1);

    ShaderCache::Clear();
    CHECK(ShaderCache::GetSize() == 0);
    CHECK_FALSE(ShaderCache::GetShader("GrayScale.wgsl") == first);
    CHECK(first.GetReflection().FindEntryPoint(ShaderStage::Fragment) != nullptr); // handles outlive the cache
}

TEST_CASE("A shader without a resource warns once and is kept like any other")
{
    ShaderCache::Clear();
    int warnings = 0;
    const LogListener listener([&](LogLevel level, std::string_view) { warnings += level == LogLevel::Warning; });
    const Shader missing = ShaderCache::GetShader("Missing.wgsl");
    CHECK(ShaderCache::GetShader("Missing.wgsl") == missing);
    CHECK(missing.GetReflection().entryPoints.empty());
    CHECK(warnings == 1);
    ShaderCache::Clear();
}

TEST_CASE("SPIR-V modules asked for together are one entry")
{
    ShaderCache::Clear();
    const LogListener silence([](LogLevel, std::string_view) {});
    const Shader first = ShaderCache::GetShaderSpirv({"Noise/a.spv", "Noise/b.spv"});
    CHECK(ShaderCache::GetShaderSpirv({"Noise/a.spv", "Noise/b.spv"}) == first);
    CHECK(ShaderCache::GetSize() == 1);
    ShaderCache::GetShaderSpirv({"Noise/b.spv", "Noise/a.spv"});
    CHECK(ShaderCache::GetSize() == 2);
    ShaderCache::Clear();
}
