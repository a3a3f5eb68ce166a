#include "SceneOptions.h"

#include "Varkle/Core/Text.h"
#include "Varkle/Gpu/Image.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <charconv>
#include <cmath>
#include <fmt/format.h>
#include <optional>
#include <vector>

namespace Varkle
{

namespace
{

// Reads numbers that stand between separators; nothing when there is anything else.
template<class Number>
std::optional<std::vector<Number>> ReadNumbers(std::string_view text, char separator)
{
    std::vector<Number> numbers;
    const char* at = text.data();
    const char* const end = text.data() + text.size();
    while (true)
    {
        Number number{};
        const auto [behind, code] = std::from_chars(at, end, number);
        if (code != std::errc())
            return std::nullopt;
        numbers.push_back(number);
        if (behind == end)
            return numbers;
        if (*behind != separator)
            return std::nullopt;
        at = behind + 1;
    }
}

Status ReadSize(const std::string& text, SceneView& view)
{
    const auto sides = ReadNumbers<int>(text, 'x');
    const bool good = sides && sides->size() == 2 &&
                      std::ranges::all_of(*sides, [](int side) { return side >= 1 && side <= Image::MaxSide; });
    if (!good)
        return Error{fmt::format("--size {}: it must be WIDTHxHEIGHT in pixels, 1 to {} each, as 1920x1080.",
                                 Quoted(text), Image::MaxSide)};
    // Drawn with four samples of four bytes a pixel: drivers have no textures above 2 GiB, to which they add some rows.
    constexpr long long mostPixels = 120'000'000;
    const long long pixels = 1LL * (*sides)[0] * (*sides)[1];
    if (pixels > mostPixels)
        return Error{fmt::format("--size {}: these are {} pixels, and a picture that is drawn has {} at most, as "
                                 "12000x10000.",
                                 Quoted(text), pixels, mostPixels)};
    view.size = {(*sides)[0], (*sides)[1]};
    return Ok();
}

Status ReadCamera(const std::string& text, SceneView& view)
{
    const auto numbers = ReadNumbers<float>(text, ',');
    const bool good = numbers && (numbers->size() == 2 || numbers->size() == 3) &&
                      std::ranges::all_of(*numbers, [](float number) { return std::isfinite(number); });
    if (!good)
        return Error{fmt::format("--camera {}: it must be YAW,PITCH in degrees, as 30,20, or YAW,PITCH,DISTANCE.",
                                 Quoted(text))};
    view.yaw = (*numbers)[0];
    view.pitch = (*numbers)[1];
    if (numbers->size() == 2)
        return Ok();
    if ((*numbers)[2] <= 0.0f)
        return Error{fmt::format("--camera {}: the distance must be above 0.", Quoted(text))};
    view.distance = (*numbers)[2];
    return Ok();
}

Status ReadBackground(const std::string& text, SceneView& view)
{
    unsigned long digits = 0;
    const char* const end = text.data() + text.size();
    const bool hasForm = text.starts_with('#') && (text.size() == 7 || text.size() == 9);
    const bool good = hasForm && std::from_chars(text.data() + 1, end, digits, 16).ptr == end;
    if (!good)
        return Error{fmt::format("--background {}: it must be a color as \"#rrggbb\" or \"#rrggbbaa\".", Quoted(text))};
    if (text.size() == 7)
        digits = digits << 8 | 0xff;
    for (int i = 0; i < 4; ++i)
        view.background[i] = float(digits >> (24 - 8 * i) & 0xff) / 255.0f;
    return Ok();
}

} // namespace

std::string_view SceneOptions::FindGiven() const
{
    if (!size.empty())
        return "--size";
    if (!camera.empty())
        return "--camera";
    return background.empty() ? "" : "--background";
}

void AddSceneOptions(CLI::App& command, SceneOptions& options)
{
    command
        .add_option("--size", options.size,
                    "The size of pictures of meshes, models and materials, in pixels (default 1024x1024)")
        ->type_name("WIDTHxHEIGHT");
    command
        .add_option("--camera", options.camera,
                    "Where it is seen from: turned around, lifted, in degrees (default 30,20), and how far away from "
                    "the center, in units of the scene (default: where all fits)")
        ->type_name("YAW,PITCH[,DISTANCE]");
    command.add_option("--background", options.background, "The color behind it (default \"#383838\")")
        ->type_name("#RRGGBB[AA]");
}

Result<SceneView> ReadSceneView(const SceneOptions& options)
{
    SceneView view;
    Status status = options.size.empty() ? Ok() : ReadSize(options.size, view);
    if (status && !options.camera.empty())
        status = ReadCamera(options.camera, view);
    if (status && !options.background.empty())
        status = ReadBackground(options.background, view);
    if (!status)
        return status.GetError();
    return view;
}

} // namespace Varkle
