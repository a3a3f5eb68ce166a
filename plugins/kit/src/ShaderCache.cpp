#include "Varkle/Kit/ShaderCache.h"

#include "Varkle/Kit/Resources.h"

#include <cstring>

namespace Varkle
{

std::unordered_map<std::string, Shader> ShaderCache::s_cache;
IncludableFiles ShaderCache::s_includes;

namespace
{

// Takes whole words only; a trailing part of a word is dropped.
std::vector<std::uint32_t> ReadWords(const std::string& path)
{
    const std::string_view bytes = Resources::ReadText(path);
    std::vector<std::uint32_t> words(bytes.size() / sizeof(std::uint32_t));
    if (!words.empty())
        std::memcpy(words.data(), bytes.data(), words.size() * sizeof(std::uint32_t));
    return words;
}

} // namespace

Shader ShaderCache::GetShader(const std::string& name)
{
    if (const auto found = s_cache.find(name); found != s_cache.end())
        return found->second;
    const std::string source(Resources::ReadText("Shaders/" + name));
    return s_cache.emplace(name, Shader::FromWgsl(source, s_includes)).first->second;
}

void ShaderCache::AddInclude(const std::string& name, std::string_view resourcePath)
{
    const std::string source(Resources::ReadText(resourcePath));
    s_includes.insert_or_assign(name, source);
    Shader::AddIncludableFile(name, source);
}

Shader ShaderCache::GetShaderSpirv(const std::vector<std::string>& paths)
{
    std::string key;
    for (const std::string& path : paths)
        key += (key.empty() ? "" : "|") + path;
    if (const auto found = s_cache.find(key); found != s_cache.end())
        return found->second;

    std::vector<std::vector<std::uint32_t>> modules;
    modules.reserve(paths.size());
    for (const std::string& path : paths)
        modules.push_back(ReadWords(path));
    return s_cache.emplace(key, Shader::FromSpirv(modules)).first->second;
}

void ShaderCache::Clear()
{
    s_cache.clear();
}

} // namespace Varkle
