#include "Varkle/Core/Plugin.h"

#include "Varkle/Core/FileImportRegistry.h"
#include "Varkle/Core/Text.h"
#include "Varkle/Core/TypeLibrary.h"
#include "plugin/PluginFile.h"

#include <algorithm>
#include <cstdlib>
#include <dlfcn.h>
#include <exception>
#include <filesystem>
#include <set>
#include <sstream>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

namespace Varkle
{

namespace
{

namespace fs = std::filesystem;

using EntryPoint = void (*)();

// The libraries that are loaded as plug-ins now. The linker hands out one handle per library, however the file is
// named. Asking it whether a library is loaded (RTLD_NOLOAD) is not enough: one may stay in memory after it was
// unloaded.
std::set<void*>& LoadedHandles()
{
    static std::set<void*> handles;
    return handles;
}

// Returns the linker's last message, without the path that it often starts with.
std::string GetLinkerMessage(const fs::path& path)
{
    const char* const message = dlerror();
    std::string text = message ? message : "the linker gives no reason";
    if (const std::string start = path.string() + ": "; text.starts_with(start))
        text.erase(0, start.size());
    return text;
}

// For a sentence that goes on as a part of another.
std::string WithoutPeriod(std::string text)
{
    if (text.ends_with('.'))
        text.pop_back();
    return text;
}

std::vector<const ObjectType*> GetRegisteredTypes()
{
    std::vector<const ObjectType*> types;
    for (const OperatorInfo& info : TypeLibrary::Get().GetOperators())
        types.push_back(info.type);
    return types;
}

} // namespace

// Undoes on destruction what was done of loading, in reverse.
struct Plugin::Library
{
    Library() = default;
    Library(const Library&) = delete;
    Library& operator=(const Library&) = delete;
    ~Library();

    // Calls the entry point and notes what it registers. Returns why the plug-in can't stay, empty when it can.
    std::string Enter(EntryPoint load);

    std::string path;
    void* handle = nullptr;
    EntryPoint unload = nullptr; // null unless the plug-in's load was entered
    std::vector<const ObjectType*> types;
    unsigned long firstImporter = 0;
    unsigned long importersEnd = 0;
};

Plugin::Library::~Library()
{
    FileImportRegistry::Get().UnregisterImporters(firstImporter, importersEnd);
    for (const ObjectType* const type : types)
    {
        FileImportRegistry::Get().UnregisterImporters(type); // those that others registered for it
        TypeLibrary::Get().UnregisterOperator(type);
    }
    if (unload)
        unload();
    LoadedHandles().erase(handle);
    dlclose(handle);
}

std::string Plugin::Library::Enter(EntryPoint load)
{
    const std::vector<const ObjectType*> before = GetRegisteredTypes();
    const std::size_t refusals = TypeLibrary::Get().GetRefusals().size();
    firstImporter = FileImportRegistry::Get().GetRegistrationCount();
    std::string failure;
    try
    {
        load();
    }
    catch (const std::exception& error)
    {
        failure = std::string("VarklePluginLoad failed: ") + error.what();
    }
    catch (...)
    {
        failure = "VarklePluginLoad failed with an unknown exception";
    }
    importersEnd = FileImportRegistry::Get().GetRegistrationCount();
    types = GetRegisteredTypes();
    std::erase_if(types, [&](const ObjectType* type) { return std::ranges::find(before, type) != before.end(); });
    if (failure.empty() && TypeLibrary::Get().GetRefusals().size() > refusals)
        failure = WithoutPeriod(TypeLibrary::Get().GetRefusals()[refusals].message);
    return failure;
}

Result<Plugin> Plugin::Load(const std::string& path)
{
    const auto fail = [&](const std::string& reason)
    { return Error{"could not load the plug-in " + path + ": " + reason + "."}; };

    // With a folder in front the linker takes the path as it is, without one it would search the system's libraries.
    std::error_code code;
    const fs::path file = fs::absolute(path, code);
    if (const auto fault = FindPluginFault(file))
        return fail(*fault);
    void* const handle = dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (!handle)
        return fail(GetLinkerMessage(file));
    if (!LoadedHandles().insert(handle).second)
    {
        dlclose(handle); // gives back this call's count only
        return fail("it is loaded already");
    }
    auto library = std::make_unique<Library>();
    library->path = path;
    library->handle = handle;

    const auto load = reinterpret_cast<EntryPoint>(dlsym(handle, "VarklePluginLoad"));
    if (!load)
        return fail("it does not export VarklePluginLoad");
    library->unload = reinterpret_cast<EntryPoint>(dlsym(handle, "VarklePluginUnload"));
    if (!library->unload)
        return fail("it does not export VarklePluginUnload");
    if (const std::string failure = library->Enter(load); !failure.empty())
        return fail(failure);
    return Plugin(std::move(library));
}

Plugin::Plugin(std::unique_ptr<Library> loadedLibrary) : library(std::move(loadedLibrary)) {}

std::string Plugin::GetDefaultFolder()
{
    Dl_info info = {};
    dladdr(reinterpret_cast<const void*>(&LoadedHandles), &info);
    const fs::path library = info.dli_fname ? info.dli_fname : "";
    return (library.parent_path() / "varkle" / "plugins").string();
}

LoadedPlugins Plugin::LoadDefaults()
{
    LoadedPlugins loaded;
    std::set<fs::path> seen;
    const auto loadFrom = [&](const std::string& folder, const std::string& named)
    {
        std::error_code code;
        std::vector<fs::path> files;
        for (fs::directory_iterator entry(folder, code), end; !code && entry != end; entry.increment(code))
        {
            if (entry->path().extension() == ".so")
                files.push_back(entry->path());
        }
        if (code)
            loaded.errors.push_back({named + " " + Quoted(folder) + " can't be read: " + code.message() + "."});
        std::ranges::sort(files);
        for (const fs::path& file : files)
        {
            std::error_code ignored; // then the path stays empty and Load says what is wrong
            if (const fs::path real = fs::canonical(file, ignored); !real.empty() && !seen.insert(real).second)
                continue;
            if (Result<Plugin> plugin = Load(file.string()))
                loaded.plugins.push_back(std::move(*plugin));
            else
                loaded.errors.push_back(plugin.GetError());
        }
    };
    loadFrom(GetDefaultFolder(), "The plug-in folder");
    const char* const variable = std::getenv("VARKLE_PLUGIN_PATH");
    std::istringstream folders(variable ? variable : "");
    for (std::string folder; std::getline(folders, folder, ':');)
    {
        if (!folder.empty())
            loadFrom(folder, "The folder of VARKLE_PLUGIN_PATH");
    }
    return loaded;
}

Plugin::Plugin(Plugin&&) noexcept = default;
Plugin& Plugin::operator=(Plugin&&) noexcept = default;
Plugin::~Plugin() = default;

const std::string& Plugin::GetPath() const
{
    return library->path;
}

} // namespace Varkle
