#pragma once

#include "app/ProgramRunner.h"
#include "support/Pixels.h"

#include <stdexcept>
#include <string>

// Looks at picture files with ImageMagick, which shares no code with ours.

namespace Varkle
{

/// Returns the format, size and channels of a picture file: "PNG 8 4 srgba"; empty when it is no picture.
inline std::string Identify(const std::string& path)
{
    const Outcome outcome = ProgramRunner({"convert", path, "-format", "%m %w %h %[channels]", "info:"}).Run();
    return outcome.status == 0 ? outcome.output : std::string();
}

/// Decodes a picture file.
inline Image Decode(const std::string& path)
{
    const Outcome size = ProgramRunner({"convert", path, "-format", "%w %h", "info:"}).Run();
    const Outcome pixels = ProgramRunner({"convert", path, "-depth", "8", "rgba:-"}).Run();
    if (size.status != 0 || pixels.status != 0)
        throw std::runtime_error("could not decode " + path + ": " + size.error + pixels.error);
    const int width = std::stoi(size.output);
    const int height = std::stoi(size.output.substr(size.output.find(' ')));
    return {{width, height}, {pixels.output.begin(), pixels.output.end()}};
}

/// Returns the top left pixel of a picture file.
inline Testing::Rgba8 FirstPixel(const std::string& path)
{
    return Testing::At(Decode(path), 0, 0);
}

} // namespace Varkle
