#include "Varkle/Gpu/Shader.h"

#include "Varkle/Core/Log.h"
#include "Varkle/Core/Trace.h"
#include "device/GpuInternals.h"
#include "shader/ShaderInternals.h"
#include "shader/SpirvReflection.h"
#include "shader/WgslReflection.h"

namespace Varkle
{

namespace
{

/// Logs the compiler's errors with the lines they are about; when it has none to tell, what the device said.
void LogCompilationErrors(const ShaderData& shader, const wgpu::ShaderModule& module, const std::string& deviceError)
{
    bool told = false;
    const wgpu::Future future = module.GetCompilationInfo(
        wgpu::CallbackMode::WaitAnyOnly,
        [&](wgpu::CompilationInfoRequestStatus, const wgpu::CompilationInfo* info)
        {
            for (std::size_t i = 0; info && i < info->messageCount; ++i)
            {
                const wgpu::CompilationMessage& message = info->messages[i];
                if (message.type != wgpu::CompilationMessageType::Error)
                    continue;
                told = true;
                LogError(Internal::Label(DescribeShaderError(shader.wgsl, message.lineNum, message.linePos,
                                                             std::string_view(message.message))));
            }
        });
    Internal::Wait(future);
    if (!told)
        LogError(Internal::Label(DescribeShaderError(shader.wgsl, 0, 0, deviceError)));
}

/// Gives a source to the driver. Null when it has errors, which are logged.
wgpu::ShaderModule Compile(const ShaderData& shader, const wgpu::ChainedStruct& source)
{
    const wgpu::Device device = Graphics::GetDevice();
    const std::string label = Internal::Label("shader");
    wgpu::ShaderModuleDescriptor descriptor;
    descriptor.nextInChain = &source;
    descriptor.label = std::string_view(label);

    const TraceSpan span("shader", label);
    Internal::ErrorScope scope;
    wgpu::ShaderModule module = device.CreateShaderModule(&descriptor);
    ++Internal::Counters().shadersCompiled;
    const std::string error = scope.Finish();
    if (error.empty())
        return module;
    LogCompilationErrors(shader, module, error);
    return nullptr;
}

wgpu::ShaderModule CompileWgsl(const ShaderData& shader)
{
    wgpu::ShaderSourceWGSL source;
    source.code = std::string_view(shader.wgsl.text);
    return Compile(shader, source);
}

wgpu::ShaderModule CompileSpirv(const ShaderData& shader, const std::vector<std::uint32_t>& words)
{
    wgpu::ShaderSourceSPIRV source;
    source.code = words.data();
    source.codeSize = std::uint32_t(words.size());
    return Compile(shader, source);
}

/// The modules of a shader; empty when one of them has errors.
std::vector<wgpu::ShaderModule> CompileAll(const ShaderData& shader)
{
    std::vector<wgpu::ShaderModule> modules;
    if (shader.spirv.empty())
        modules.push_back(CompileWgsl(shader));
    for (const std::vector<std::uint32_t>& words : shader.spirv)
        modules.push_back(CompileSpirv(shader, words));
    for (const wgpu::ShaderModule& module : modules)
        if (!module)
            return {};
    return modules;
}

} // namespace

Shader Shader::FromWgsl(const std::string& source, const IncludableFiles& own)
{
    auto data = std::make_shared<ShaderData>();
    Result<ExpandedSource> expanded = ExpandIncludes(source, {}, own);
    if (!expanded)
    {
        data->problem = expanded.GetError().message;
        return ShaderAccess::Make(std::move(data));
    }
    data->wgsl = std::move(*expanded);
    Result<ShaderReflection> reflection = ReflectWgsl(data->wgsl.text);
    if (reflection)
        data->reflection = std::move(*reflection);
    else
        data->problem = "shader: " + reflection.GetError().message;
    return ShaderAccess::Make(std::move(data));
}

Shader Shader::FromSpirv(const std::vector<std::vector<std::uint32_t>>& modules)
{
    auto data = std::make_shared<ShaderData>();
    data->spirv = modules;
    Result<ShaderReflection> reflection = ReflectSpirv(modules);
    if (reflection)
        data->reflection = std::move(*reflection);
    else
        data->problem = "SPIR-V shader: " + reflection.GetError().message;
    return ShaderAccess::Make(std::move(data));
}

void Shader::AddIncludableFile(const std::string& name, const std::string& source)
{
    Varkle::AddIncludableFile(name, source);
}

const ShaderReflection& Shader::GetReflection() const
{
    static const ShaderReflection s_empty;
    return data ? data->reflection : s_empty;
}

bool PrepareShader(ShaderData& shader)
{
    if (shader.generation == Internal::DeviceGeneration())
        return !shader.modules.empty();
    shader.generation = Internal::DeviceGeneration();

    // Where we could not read a WGSL text, the driver's compiler tells better why, with line and column. It has nothing
    // to read after a failed include, and nothing to say about broken SPIR-V.
    const bool driverTells = !shader.wgsl.text.empty();
    shader.modules.clear();
    if (shader.problem.empty() || driverTells)
        shader.modules = CompileAll(shader);
    if (shader.problem.empty())
        return !shader.modules.empty();

    if (!driverTells || !shader.modules.empty())
        LogError(Internal::Label(shader.problem));
    shader.modules.clear();
    return false;
}

} // namespace Varkle
