#include "Desktop.h"

#include "Varkle/Core/Plugin.h"
#include "Varkle/Gpu/Windows.h"

#include <dlfcn.h>
#include <filesystem>
#include <fmt/format.h>

namespace Varkle
{

namespace
{

using Desktop = Result<std::unique_ptr<Gui::WindowPlatform>>;

// Never unloaded: the windows' libraries do not bear that.
void* LoadDesktopLibrary()
{
    // By its whole path: loaders between us and the system's, such as those of sanitizers, search beside themselves.
    const std::filesystem::path libraries = std::filesystem::path(Plugin::GetDefaultFolder()) / "../..";
    return dlopen((libraries / VARKLE_DESKTOP_LIBRARY).c_str(), RTLD_NOW | RTLD_LOCAL);
}

} // namespace

Status StartWindows()
{
    void* const library = LoadDesktopLibrary();
    const auto connect =
        library ? reinterpret_cast<void (*)(Desktop&)>(dlsym(library, "VarkleConnectDesktop")) : nullptr;
    if (!connect)
        return Error{fmt::format("There is no display: what shows windows can't be loaded ({}).", dlerror()), true};
    Desktop desktop = Error{};
    connect(desktop);
    if (!desktop)
        return desktop.GetError();
    Gui::Windows::Start(std::move(*desktop));
    return Ok();
}

} // namespace Varkle
