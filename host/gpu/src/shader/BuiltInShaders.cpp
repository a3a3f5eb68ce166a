#include "shader/BuiltInShaders.h"

#include "shader/EmbeddedFile.h"

#include <map>
#include <string>

namespace Varkle
{

namespace
{

std::string ReadEmbedded(std::string_view path)
{
    for (std::size_t i = 0; i < builtInShadersCount; ++i)
    {
        const EmbeddedFile& file = builtInShaders[i];
        if (file.path == path)
            return {reinterpret_cast<const char*>(file.begin), std::size_t(file.end - file.begin)};
    }
    return {};
}

} // namespace

Shader GetBuiltInShader(std::string_view path)
{
    // Never destroyed, as all that may hold GPU objects.
    static auto& shaders = *new std::map<std::string_view, Shader>;
    if (shaders.empty())
        Shader::AddIncludableFile("Varkle/FullScreen.wgsl", ReadEmbedded("shader/FullScreen.wgsl"));
    Shader& shader = shaders[path];
    if (!shader)
        shader = Shader::FromWgsl(ReadEmbedded(path));
    return shader;
}

} // namespace Varkle
