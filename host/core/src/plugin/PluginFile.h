#pragma once

#include <filesystem>
#include <optional>
#include <string>

namespace Varkle
{

/// Says what speaks against loading a file as a plug-in, before any of it is mapped or run; nothing when nothing does.
/// The linker itself would wait for a pipe, end the process by SIGBUS on a file that is cut off, and run the
/// constructors of a library that was built for another version.
std::optional<std::string> FindPluginFault(const std::filesystem::path& path);

} // namespace Varkle
