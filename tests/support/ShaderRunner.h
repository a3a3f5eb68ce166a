#pragma once

#include "Varkle/Gpu/BindGroupBuilder.h"
#include "Varkle/Gpu/PassRecorder.h"
#include "support/Catch.h"
#include "support/ReadBuffer.h"
#include "support/TemporaryFolder.h"

#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

// Functions of shaders, run over many inputs at once by a compute shader.

namespace Varkle::Testing
{

constexpr std::uint32_t shaderRunnerGroupSize = 64;

/// Compiles GLSL for Vulkan with glslang's program; `stage` is "vert", "frag" or "comp".
inline std::vector<std::uint32_t> CompileGlsl(const std::string& stage, const std::string& source)
{
    const TemporaryFolder folder;
    const std::string input = folder / ("shader." + stage);
    const std::string output = folder / "shader.spv";
    WriteBytes(input, source);
    REQUIRE(std::system(("glslangValidator -V --quiet -o '" + output + "' '" + input + "'").c_str()) == 0);
    const std::string bytes = ReadBytes(output);
    std::vector<std::uint32_t> words(bytes.size() / 4);
    std::memcpy(words.data(), bytes.data(), words.size() * 4);
    return words;
}

/// Runs a compute shader that reads an array of In at binding 0 and writes as many Out at binding 1, in workgroups of
/// shaderRunnerGroupSize.
template<class Out, class In>
std::vector<Out> RunShader(const Shader& shader, const std::vector<In>& inputs)
{
    const auto count = std::uint32_t(inputs.size());
    Buffer source(sizeof(In) * count, wgpu::BufferUsage::Storage | wgpu::BufferUsage::CopyDst, false);
    source.Upload(inputs.data(), sizeof(In) * count, 0);
    const Buffer results(sizeof(Out) * count, wgpu::BufferUsage::Storage | wgpu::BufferUsage::CopySrc, true);
    const ComputePipeline pipeline = ComputePipelineBuilder().SetShader(shader).Build();
    ComputePassRecorder()
        .BindPipeline(pipeline)
        .BindBindGroup(
            0, BindGroupBuilder(pipeline, 0).AddReadOnlyStorageBuffer(0, source).AddStorageBuffer(1, results).Build())
        .Dispatch((count + shaderRunnerGroupSize - 1) / shaderRunnerGroupSize, 1, 1)
        .Submit();
    return ReadBuffer<Out>(results);
}

/// Returns the shader that runs a WGSL expression of `in` for RunShader. `in` and the result have the types named;
/// `declarations` come first, so that they may start with includes.
inline Shader MakeWgslRunner(const std::string& declarations, const std::string& inType, const std::string& outType,
                             const std::string& expression)
{
    return Shader::FromWgsl(declarations + "\n@group(0) @binding(0) var<storage, read> inputs: array<" + inType + ">;" +
                            "\n@group(0) @binding(1) var<storage, read_write> results: array<" + outType + ">;" +
                            "\n@compute @workgroup_size(" + std::to_string(shaderRunnerGroupSize) +
                            ") fn main(@builtin(global_invocation_id) id: vec3<u32>)"
                            "\n{"
                            "\n    if (id.x >= arrayLength(&inputs)) { return; }"
                            "\n    let in = inputs[id.x];"
                            "\n    results[id.x] = " +
                            expression +
                            ";"
                            "\n}\n");
}

/// Returns the same for GLSL: statements that give `result` a value.
inline Shader MakeGlslRunner(const std::string& declarations, const std::string& inType, const std::string& outType,
                             const std::string& statements)
{
    return Shader::FromSpirv({CompileGlsl(
        "comp", "#version 450\n" + declarations + "\nlayout(local_size_x = " + std::to_string(shaderRunnerGroupSize) +
                    ") in;"
                    "\nlayout(set = 0, binding = 0, std430) readonly buffer InputBuffer { " +
                    inType + " inputs[]; };" + "\nlayout(set = 0, binding = 1, std430) buffer ResultBuffer { " +
                    outType +
                    " results[]; };"
                    "\nvoid main()"
                    "\n{"
                    "\n    if (gl_GlobalInvocationID.x >= inputs.length()) return;" +
                    "\n    " + inType + " point = inputs[gl_GlobalInvocationID.x];" + "\n    " + outType +
                    " result;"
                    "\n    " +
                    statements +
                    "\n    results[gl_GlobalInvocationID.x] = result;"
                    "\n}\n")});
}

} // namespace Varkle::Testing
