#pragma once

#include "Varkle/Core/Result.h"
#include "Varkle/Gpu/Shader.h"

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace Varkle
{

/// Registers a source under the name by which `#include "name"` finds it, in place of an earlier one of that name.
/// For the main thread, like everything here.
void AddIncludableFile(std::string name, std::string source);

/// Finds a registered source by its name, or null. Registering a file again changes the text that was found.
const std::string* FindIncludableFile(std::string_view name);

/// A shader's text after its includes were put in, and where each of its lines comes from.
struct ExpandedSource
{
    struct Line
    {
        std::size_t file = 0; ///< an index into `files`
        int number = 0;       ///< the line in that file, from 1
    };

    std::string text;
    std::vector<std::string> files; ///< the main text's name (empty when unknown), then those of the included files
    std::vector<Line> lines;        ///< one for each line of the text
};

/// Puts files, those of `own` or else registered ones, in the place of the lines `#include "Name"` and `#include
/// <Name>`, also inside included files.
///
/// A file is put in once; every further include of it, and of the main text, leaves an empty line, so that files may
/// include each other. Lines in block comments include nothing. `name` is the main text's; messages call it "shader"
/// when the name is unknown.
/// Errors: no file of that name, or an include line without a name; both name the file and line that asks.
Result<ExpandedSource> ExpandIncludes(std::string_view text, std::string_view name = {},
                                      const IncludableFiles& own = {});

/// Says an error of the shader's compiler in terms of the files that people wrote: "GrayScale.wgsl:14:21: message",
/// then the source line and a caret under the column.
///
/// `line` and `column` are those of the expanded text and count from 1, the column in bytes. What is 0 or does not
/// exist counts as unknown and is left out. The result ends without a line break.
std::string DescribeShaderError(const ExpandedSource& source, std::size_t line, std::size_t column,
                                std::string_view message);

} // namespace Varkle
