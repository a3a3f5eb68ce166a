#include "device/Adapters.h"

#include "Varkle/Core/Text.h"

#include <algorithm>
#include <cstdlib>
#include <optional>
#include <string_view>
#include <sys/resource.h>

namespace Varkle
{

namespace
{

// The Vulkan loader's switch for which drivers it looks at, by the names of their description files, and Mesa's and
// SwiftShader's CPU drivers.
constexpr const char* driverSwitch = "VK_LOADER_DRIVERS_SELECT";
constexpr const char* cpuDrivers = "*lvp*,*swiftshader*";

wgpu::Instance CreateInstance()
{
#ifdef VARKLE_PINNED_WEBGPU
    // The pinned library is a little older than its header: timed waits are asked for in place.
    struct
    {
        WGPUChainedStruct* nextInChain = nullptr;
        struct
        {
            WGPUChainedStruct* nextInChain = nullptr;
            WGPUBool timedWaitAnyEnable = true;
            std::size_t timedWaitAnyMaxCount = 8;
        } features;
    } descriptor;
    return wgpu::Instance::Acquire(wgpuCreateInstance(reinterpret_cast<const WGPUInstanceDescriptor*>(&descriptor)));
#else
    const wgpu::InstanceFeatureName timedWaits = wgpu::InstanceFeatureName::TimedWaitAny;
    wgpu::InstanceDescriptor descriptor;
    descriptor.requiredFeatureCount = 1;
    descriptor.requiredFeatures = &timedWaits;
    return wgpu::CreateInstance(&descriptor);
#endif
}

// An instance holds the drivers. They are never unloaded: finding them takes 30 ms, and some leave a little memory
// behind.
struct Instances
{
    wgpu::Instance all;
    wgpu::Instance cpuOnly;
    std::vector<wgpu::Instance> forgotten;
};

Instances& Kept()
{
    static Instances& instances = *new Instances;
    return instances;
}

std::string_view BackendName(wgpu::BackendType backend)
{
    switch (backend)
    {
    case wgpu::BackendType::Vulkan:
        return "Vulkan";
    case wgpu::BackendType::Metal:
        return "Metal";
    case wgpu::BackendType::D3D11:
        return "Direct3D 11";
    case wgpu::BackendType::D3D12:
        return "Direct3D 12";
    case wgpu::BackendType::OpenGL:
        return "OpenGL";
    case wgpu::BackendType::OpenGLES:
        return "OpenGL ES";
    default:
        return "unknown";
    }
}

std::string_view TypeName(wgpu::AdapterType type)
{
    switch (type)
    {
    case wgpu::AdapterType::DiscreteGPU:
        return "discrete GPU";
    case wgpu::AdapterType::IntegratedGPU:
        return "integrated GPU";
    case wgpu::AdapterType::CPU:
        return "CPU";
    default:
        return "unknown";
    }
}

bool IsCpu(const Adapter& adapter)
{
    return adapter.info.type == "CPU";
}

std::optional<Adapter> RequestAdapter(const wgpu::Instance& instance, wgpu::PowerPreference preference)
{
    wgpu::RequestAdapterOptions options;
    options.powerPreference = preference;
    wgpu::Adapter adapter;
    const wgpu::Future future = instance.RequestAdapter(
        &options, wgpu::CallbackMode::WaitAnyOnly,
        [&](wgpu::RequestAdapterStatus, wgpu::Adapter result, wgpu::StringView) { adapter = std::move(result); });
    instance.WaitAny(future, UINT64_MAX);
    if (!adapter)
        return std::nullopt;
    wgpu::AdapterInfo info;
    adapter.GetInfo(&info);
    if (info.backendType == wgpu::BackendType::Null) // draws nothing and reports success
        return std::nullopt;
    const AdapterInfo description{
        .name = std::string(std::string_view(info.device)),
        .vendor = std::string(std::string_view(info.vendor)),
        .driver = std::string(std::string_view(info.description)),
        .backend = std::string(BackendName(info.backendType)),
        .type = std::string(TypeName(info.adapterType)),
    };
    return Adapter{instance, adapter, description};
}

void AddAdapters(std::vector<Adapter>& adapters, wgpu::Instance& instance)
{
    if (!instance)
        instance = CreateInstance();
    if (!instance)
        return;
    for (const auto preference : {wgpu::PowerPreference::HighPerformance, wgpu::PowerPreference::LowPower})
    {
        std::optional<Adapter> found = RequestAdapter(instance, preference);
        if (!found)
            return;
        const auto same = [&](const Adapter& other)
        { return other.info.name == found->info.name && other.info.driver == found->info.driver; };
        if (std::none_of(adapters.begin(), adapters.end(), same))
            adapters.push_back(std::move(*found));
    }
}

// WebGPU hands out an adapter that does without a GPU only where there is no GPU. Behind the loader's switch there is
// none.
void AddCpuAdapters(std::vector<Adapter>& adapters)
{
    const bool hasCpu = std::any_of(adapters.begin(), adapters.end(), IsCpu);
    if (adapters.empty() || hasCpu || std::getenv(driverSwitch)) // the last: the user chose
        return;
    setenv(driverSwitch, cpuDrivers, 1);
    AddAdapters(adapters, Kept().cpuOnly);
    unsetenv(driverSwitch);
}

bool Matches(const Adapter& adapter, const std::string& request)
{
    if (ToLower(request) == "cpu")
        return IsCpu(adapter);
    return ToLower(adapter.info.name).find(ToLower(request)) != std::string::npos;
}

// Drivers are large: under a limit on the process's memory they may be there and not start.
std::string DescribeMemoryLimit()
{
    rlimit limit = {};
    if (getrlimit(RLIMIT_AS, &limit) != 0 || limit.rlim_cur == RLIM_INFINITY)
        return {};
    return "No Vulkan driver could be started. The limit on the memory of a process (ulimit -v) is " +
           std::to_string(limit.rlim_cur >> 10) + " KiB, which may be too little for one.";
}

Error MakeError(const std::vector<Adapter>& adapters, const std::string& request)
{
    if (const std::string limit = DescribeMemoryLimit(); adapters.empty() && !limit.empty())
        return {limit, true};
    if (adapters.empty())
        return {"No Vulkan driver was found that can be used. Install the driver of your GPU; the package "
                "mesa-vulkan-drivers, version 25 or newer, serves most of them and also works without a GPU.",
                true};
    std::string names;
    for (const Adapter& adapter : adapters)
        names += (names.empty() ? "" : ", ") + ("\"" + adapter.info.name + "\"");
    const std::string problem = ToLower(request) == "cpu" ? "There is no adapter that works without a GPU"
                                                          : "No GPU adapter has \"" + request + "\" in its name";
    return {problem + ". This machine has: " + names + ".", true};
}

} // namespace

void ForgetAdapters()
{
    Kept().forgotten.push_back(std::move(Kept().all));
    Kept().forgotten.push_back(std::move(Kept().cpuOnly));
}

std::vector<Adapter> FindAdapters()
{
    std::vector<Adapter> adapters;
    AddAdapters(adapters, Kept().all);
    AddCpuAdapters(adapters);
    return adapters;
}

Result<Adapter> ChooseAdapter(const std::string& request)
{
    std::vector<Adapter> adapters;
    AddAdapters(adapters, Kept().all);
    const auto find = [&]
    {
        return std::find_if(adapters.begin(), adapters.end(),
                            [&](const Adapter& adapter) { return Matches(adapter, request); });
    };
    auto chosen = find();
    if (chosen == adapters.end())
    {
        AddCpuAdapters(adapters);
        chosen = find();
    }
    if (chosen == adapters.end())
        return MakeError(adapters, request);
    return std::move(*chosen);
}

} // namespace Varkle
