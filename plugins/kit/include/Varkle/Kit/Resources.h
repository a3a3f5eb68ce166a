#pragma once

#include <string_view>

/// Reads the files that the plug-in carries inside itself: shaders and operator documents. Paths are relative, with
/// "/", exactly as in the plug-in's source tree ("Shaders/GrayScale.wgsl"). Usable from any thread.
namespace Varkle::Resources
{

/// True when the path names a file or a directory.
bool Exists(std::string_view path);

/// Returns a file's whole content, valid as long as the plug-in is loaded. A path that names no file is a warning in
/// the log and an empty result.
std::string_view ReadText(std::string_view path);
std::string_view ReadBytes(std::string_view path);

} // namespace Varkle::Resources
