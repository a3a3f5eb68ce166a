#pragma once

#include <string>
#include <string_view>

namespace Varkle
{

/// Returns a name of a shader for a message, in double quotes.
inline std::string Quoted(std::string_view name)
{
    return '"' + std::string(name) + '"';
}

} // namespace Varkle
