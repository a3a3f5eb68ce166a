#pragma once

#include "Varkle/Core/Plugin.h"
#include "Varkle/Document/GraphSession.h"
#include "support/Catch.h"

#include <string>

namespace Varkle::Testing
{

/// Opens a graph of these operators (JSON objects with commas between them), with the operators of the plug-in.
inline GraphSession Open(const std::string& operators)
{
    static const Result<Plugin> plugin = Plugin::Load(VARKLE_PLUGIN);
    if (!plugin)
        FAIL(plugin.GetError().message);
    Result<GraphSession> session =
        GraphSession::Parse(R"({"format": "varkle-graph", "version": 1, "operators": [)" + operators + "]}");
    if (!session)
        FAIL(session.GetError().message);
    return std::move(*session);
}

/// Returns an operator of one color that changes from frame to frame.
inline std::string Fading(const std::string& key, int side = 16)
{
    const std::string length = std::to_string(side);
    return R"({"key": ")" + key + R"(", "type": "Varkle.Texture.Color", "parameters": {"Color": ["frame / 255", 0, 0],
        "Texture Size": [)" +
           length + ", " + length + "]}}";
}

} // namespace Varkle::Testing
