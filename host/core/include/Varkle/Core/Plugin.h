#pragma once

#include "Varkle/Core/Export.h"
#include "Varkle/Core/Result.h"

#include <memory>
#include <string>

namespace Varkle
{

/// Is a loaded plug-in library: a shared object that exports VarklePluginLoad and VarklePluginUnload (C linkage, no
/// arguments, no results). Destroying the handle unregisters the operator types and importers that its load registered,
/// calls VarklePluginUnload and unloads the library; no operator or data of it may be alive then, and its background
/// work must be done. Main thread only.
class VARKLE_API Plugin
{
public:
    /// Loads the library and calls its VarklePluginLoad. A path without a folder names a file in the current folder.
    /// The error names the file and says what is wrong with it: missing, not a library, built for something else, a
    /// symbol that it needs and nobody has, an entry point that it does not export, loaded already.
    static Result<Plugin> Load(const std::string& path);

    /// Returns the path of the plug-in that comes with these libraries: libVarkleGpuOperators.so in the folder in which
    /// this library itself lies. Whether it is there is not looked at.
    static std::string GetDefaultPath();

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

} // namespace Varkle
