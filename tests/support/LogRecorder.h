#pragma once

#include "Varkle/Core/Log.h"

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

namespace Varkle
{

/// Collects what is logged while it lives, as "warning: text".
struct LogRecorder
{
    /// True when one of the lines contains the text.
    bool Contains(std::string_view text) const
    {
        return std::any_of(lines.begin(), lines.end(),
                           [&](const std::string& line) { return line.find(text) != std::string::npos; });
    }

    std::vector<std::string> lines;
    LogListener listener{[this](const LogLine& line)
                         { lines.push_back(std::string(GetLogLevelName(line.level)) + ": " + line.text); }};
};

} // namespace Varkle
