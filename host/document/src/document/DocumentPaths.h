#pragma once

#include "Varkle/Core/Parameter.h"

#include <filesystem>
#include <string>

namespace Varkle
{

/// Returns a folder as an absolute path without "." and ".."; the current folder for an empty one.
std::filesystem::path MakeAbsoluteFolder(const std::filesystem::path& folder);

/// True for a String parameter that names a file or a folder.
bool IsPath(const Parameter& parameter);

/// Returns the path that a document in `folder` means by a text. An empty text stays empty, an absolute path as it is.
std::string ToAbsolutePath(const std::string& text, const std::filesystem::path& folder);

/// Returns the text by which a document in `folder`, an absolute one, means a path: relative to the folder where that
/// can be said. What is relative already stays as it is.
std::string ToRelativePath(const std::string& path, const std::filesystem::path& folder);

} // namespace Varkle
