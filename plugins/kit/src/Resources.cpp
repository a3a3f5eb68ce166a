#include "Varkle/Kit/Resources.h"

#include "Varkle/Core/Log.h"
#include "Varkle/Kit/EmbeddedFile.h"
#include "Varkle/Kit/Registration.h"

#include <string>
#include <unordered_map>
#include <unordered_set>

namespace Varkle::Resources
{

namespace
{

struct Index
{
    std::unordered_map<std::string_view, std::string_view> files;
    std::unordered_set<std::string_view> directories;
};

Index BuildIndex()
{
    Index index;
    for (std::size_t i = 0; i < embeddedFilesCount; ++i)
    {
        const EmbeddedFile& file = embeddedFiles[i];
        const auto* text = reinterpret_cast<const char*>(file.begin);
        index.files.emplace(file.path, std::string_view(text, std::size_t(file.end - file.begin)));
        for (std::size_t slash = file.path.find('/'); slash != std::string_view::npos;
             slash = file.path.find('/', slash + 1))
            index.directories.insert(file.path.substr(0, slash));
    }
    return index;
}

const Index& GetIndex()
{
    static const Index index = BuildIndex();
    return index;
}

std::string_view OpenFile(std::string_view path)
{
    const auto& files = GetIndex().files;
    if (const auto found = files.find(path); found != files.end())
        return found->second;
    LogWarning(std::string(pluginName) + " has no resource file \"" + std::string(path) + "\".");
    return {};
}

} // namespace

bool Exists(std::string_view path)
{
    return GetIndex().files.contains(path) || GetIndex().directories.contains(path);
}

std::string_view ReadText(std::string_view path)
{
    return OpenFile(path);
}

std::string_view ReadBytes(std::string_view path)
{
    return OpenFile(path);
}

} // namespace Varkle::Resources
