#include "document/DocumentPaths.h"

#include "Varkle/Core/Parameters.h"

namespace Varkle
{

std::filesystem::path MakeAbsoluteFolder(const std::filesystem::path& folder)
{
    std::error_code code;
    std::filesystem::path absolute =
        folder.empty() ? std::filesystem::current_path(code) : std::filesystem::absolute(folder, code);
    absolute = absolute.lexically_normal();
    return absolute.has_filename() ? absolute : absolute.parent_path(); // without a slash at the end
}

bool IsPath(const Parameter& parameter)
{
    if (parameter.GetParameterType() != ParameterType::String)
        return false;
    const auto editor = static_cast<const StringParameter&>(parameter).GetEditorType();
    return editor == StringParameter::EditorType::FilePath || editor == StringParameter::EditorType::Folder;
}

std::string ToAbsolutePath(const std::string& text, const std::filesystem::path& folder)
{
    if (text.empty() || std::filesystem::path(text).is_absolute())
        return text;
    return (folder / text).lexically_normal().string();
}

std::string ToRelativePath(const std::string& path, const std::filesystem::path& folder)
{
    if (path.empty() || std::filesystem::path(path).is_relative())
        return path;
    // Another drive has no relative form; the path then stays absolute.
    const std::filesystem::path relative = std::filesystem::path(path).lexically_normal().lexically_relative(folder);
    return relative.empty() ? path : relative.generic_string();
}

} // namespace Varkle
