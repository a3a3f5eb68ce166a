#include "Command.h"
#include "Console.h"
#include "Desktop.h"
#include "GraphOptions.h"
#include "Varkle/Gpu/Graphics.h"
#include "Varkle/Gpu/Windows.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>
#include <glm/glm.hpp>
#include <nlohmann/json.hpp>

namespace Varkle
{

namespace
{

std::string Describe(const AdapterInfo& adapter)
{
    return fmt::format("{} ({}, {}, {})", adapter.name, adapter.type, adapter.backend, adapter.driver);
}

std::string DescribeDevice()
{
    const wgpu::Limits& limits = Graphics::GetLimits();
    std::string text = fmt::format("adapter         {}\n", Describe(Graphics::GetAdapterInfo()));
    for (const AdapterInfo& adapter : Graphics::ListAdapters())
        text += fmt::format("available       {}\n", Describe(adapter));
    text += fmt::format("features        {}\n", fmt::join(Graphics::GetFeatureNames(), " "));
    text += fmt::format(
        "limits          texture side {}, buffer {} MiB, storage binding {} MiB, uniform binding {} KiB,\n"
        "                uniform alignment {}, workgroups a dimension {}, bind groups {}\n",
        limits.maxTextureDimension2D, limits.maxBufferSize >> 20U, limits.maxStorageBufferBindingSize >> 20U,
        limits.maxUniformBufferBindingSize >> 10U, limits.minUniformBufferOffsetAlignment,
        limits.maxComputeWorkgroupsPerDimension, limits.maxBindGroups);
    return text;
}

std::string DescribeDisplays()
{
    if (const Status started = StartWindows(); !started)
        return fmt::format("display         none: {}\n", started.GetError().message);
    std::string text;
    for (const Gui::Display& display : Gui::Windows::GetDisplays())
        text +=
            fmt::format("display         {} ({}x{} at {},{}, {:.2f} Hz, scale {:g})\n", display.name, display.size.x,
                        display.size.y, display.position.x, display.position.y, display.refreshRate, display.scale);
    Gui::Windows::Stop();
    return text.empty() ? "display         none is connected\n" : text;
}

int RunInfo(const CommonOptions& common, const std::vector<Plugin>& plugins)
{
    std::string text = fmt::format("varkle          {}\n", VARKLE_VERSION);
    const Status started = StartGraphics(common);
    if (started)
        text += DescribeDevice();
    text += DescribeDisplays();
    for (const Plugin& plugin : plugins)
        text += fmt::format("plug-in         {}\n", plugin.GetPath());
    text += fmt::format("built with      glm {}.{}.{}, fmt {}.{}.{}, nlohmann-json {}.{}.{}, CLI11 {}\n",
                        GLM_VERSION_MAJOR, GLM_VERSION_MINOR, GLM_VERSION_PATCH, FMT_VERSION / 10000,
                        FMT_VERSION / 100 % 100, FMT_VERSION % 100, NLOHMANN_JSON_VERSION_MAJOR,
                        NLOHMANN_JSON_VERSION_MINOR, NLOHMANN_JSON_VERSION_PATCH, CLI11_VERSION);
    const int printed = PrintOutput(text);
    return started ? printed : PrintError(started.GetError());
}

} // namespace

void AddInfoCommand(CLI::App& app, const CommonOptions& common, const std::vector<Plugin>& plugins, Run& run)
{
    CLI::App* const command =
        app.add_subcommand("info",
                           "Print the GPU adapter, its limits and features, the displays, plug-ins and versions")
            ->fallthrough();
    command->callback([&run, &common, &plugins]
                      { run = [&common, &plugins](const Console&) { return RunInfo(common, plugins); }; });
}

} // namespace Varkle
