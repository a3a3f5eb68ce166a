#pragma once

#include <cstddef>
#include <string_view>

namespace Varkle
{

/// Is one file that the build put into the library (cmake/VarkleEmbed.cmake).
struct EmbeddedFile
{
    std::string_view path;
    const unsigned char* begin;
    const unsigned char* end;
};

extern const EmbeddedFile builtInShaders[];
extern const std::size_t builtInShadersCount;

} // namespace Varkle
