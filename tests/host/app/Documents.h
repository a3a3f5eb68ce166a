#pragma once

#include "support/TemporaryFolder.h"

#include <string>
#include <string_view>

namespace Varkle
{

/// Returns the text of a document with these operators (JSON objects with commas between them).
inline std::string Document(std::string_view operators)
{
    return R"({"format": "varkle-graph", "version": 1, "operators": [)" + std::string(operators) + "]}\n";
}

/// Returns a Color operator, 2 by 2 pixels unless a size is given. `color` is what stands in the document.
inline std::string ColorOperator(const std::string& key, const std::string& color,
                                 const std::string& more = R"("Texture Size": [2, 2])")
{
    return R"({"key": ")" + key + R"(", "type": "Varkle.Texture.Color", "parameters": {"Color": )" + color + ", " +
           more + "}}";
}

/// Returns an operator whose only input is "Texture Input".
inline std::string Filter(const std::string& key, const std::string& type, const std::string& source)
{
    return R"({"key": ")" + key + R"(", "type": ")" + type + R"(", "inputs": {"Texture Input": ")" + source + R"("}})";
}

inline std::string GrayScaleOperator(const std::string& key, const std::string& source)
{
    return Filter(key, "Varkle.Texture.GrayScale", source);
}

/// Returns a Load Image operator.
inline std::string LoadImageOperator(const std::string& key, const std::string& path)
{
    return R"({"key": ")" + key + R"(", "type": "Varkle.Texture.LoadImage", "parameters": {"Path": ")" + path +
           R"("}})";
}

/// True when one text contains the other.
inline bool Contains(std::string_view text, std::string_view part)
{
    return text.find(part) != std::string_view::npos;
}

} // namespace Varkle
