#include "scene/SceneShaders.h"

#include "EmbeddedFile.h"

#include <map>
#include <string>

namespace Varkle
{

namespace
{

std::string ReadEmbedded(std::string_view name)
{
    for (std::size_t i = 0; i < sceneShadersCount; ++i)
    {
        const EmbeddedFile& file = sceneShaders[i];
        if (file.path == name)
            return {reinterpret_cast<const char*>(file.begin), std::size_t(file.end - file.begin)};
    }
    return {};
}

} // namespace

Shader GetSceneShader(std::string_view name)
{
    // Never destroyed, as all that may hold GPU objects.
    static auto& shaders = *new std::map<std::string_view, Shader>;
    Shader& shader = shaders[name];
    if (!shader)
        shader = Shader::FromWgsl(ReadEmbedded(name));
    return shader;
}

} // namespace Varkle
