#pragma once

#include <array>
#include <cstdio>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace Varkle::Testing
{

/// Are warnings of the Khronos validator that don't matter.
inline constexpr std::string_view harmlessGltfWarnings[] = {
    "MESH_PRIMITIVE_GENERATED_TANGENT_SPACE", // a normal texture without tangents: readers make them, as we do
};

/// Returns the errors and warnings of the Khronos validator about glTF files, one a line. Starting it takes far longer
/// than a small file: hand over many at once. Their paths have no quotes.
inline std::vector<std::string> ValidateGltf(const std::vector<std::string>& paths)
{
    std::string command = "node '" VARKLE_SOURCES "/tools/validate-gltf.mjs'";
    for (const std::string& path : paths)
        command += " '" + path + "'";
    FILE* const pipe = popen((command + " 2>&1").c_str(), "r");
    if (!pipe)
        throw std::runtime_error("no process could be started");
    std::string output;
    std::array<char, 4096> buffer;
    while (const std::size_t count = fread(buffer.data(), 1, buffer.size(), pipe))
        output.append(buffer.data(), count);
    const int status = pclose(pipe);

    std::vector<std::string> lines;
    std::istringstream stream(output);
    for (std::string line; std::getline(stream, line);)
    {
        bool isHarmless = false;
        for (const std::string_view warning : harmlessGltfWarnings)
            isHarmless |= line.starts_with("warning: ") && line.find(warning) != std::string::npos;
        if (!isHarmless)
            lines.push_back(line);
    }
    if (lines.empty() && status != 0)
        lines.push_back("the validator ended with the status " + std::to_string(status));
    return lines;
}

} // namespace Varkle::Testing
