#pragma once

#include "Varkle/Core/Export.h"
#include "Varkle/Core/Result.h"

#include <memory>
#include <string>
#include <vector>

namespace Varkle
{

struct LoadedPlugins;

/// Is a loaded plug-in library: a shared object that exports VarklePluginLoad and VarklePluginUnload (C linkage, no
/// arguments, no results). Destroying the handle unregisters the operator types and importers that its load registered,
/// calls VarklePluginUnload and unloads the library; no operator or data of it may be alive then, and its background
/// work must be done. Main thread only.
///
/// A plug-in may state the version of the interface that it was built for in an ELF note: name "Varkle", type 1, the
/// version's major and minor number as text ("0.1"). What is built with the CMake package's varkle_add_plugin states
/// it. A library that states none is taken at its word.
class VARKLE_API Plugin
{
public:
    /// Loads the library and calls its VarklePluginLoad. A path without a folder names a file in the current folder.
    /// The error names the file and says what is wrong with it: missing, no regular file, not a library, cut off, built
    /// for another version or something else, a symbol that it needs and nobody has, an entry point that it does not
    /// export, loaded already, an operator type that another has registered. Nothing of a plug-in that is refused
    /// stays.
    static Result<Plugin> Load(const std::string& path);

    /// Loads what a program of these libraries offers by itself: all files "*.so" of the plug-in folder, by name, then
    /// those of the folders that the environment variable VARKLE_PLUGIN_PATH names, separated by ":", in their order.
    /// A file that two folders have in common is loaded once. What can't be loaded is left out.
    static LoadedPlugins LoadDefaults();

    /// Returns the folder of the plug-ins that come with these libraries: varkle/plugins in the folder in which this
    /// library itself lies.
    static std::string GetDefaultFolder();

    Plugin(Plugin&&) noexcept;
    Plugin& operator=(Plugin&&) noexcept;
    ~Plugin();

    /// Returns the path that was given to Load.
    const std::string& GetPath() const;

private:
    struct VARKLE_LOCAL Library;
    explicit Plugin(std::unique_ptr<Library> library);
    std::unique_ptr<Library> library;
};

/// Is what Plugin::LoadDefaults found.
struct LoadedPlugins
{
    std::vector<Plugin> plugins; ///< in the order in which they were loaded
    std::vector<Error> errors;   ///< of files that could not be loaded and folders that could not be read
};

} // namespace Varkle
