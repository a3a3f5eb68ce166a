#pragma once

#include "Varkle/Core/Result.h"
#include "Varkle/Gpu/Image.h"

#include <optional>
#include <string>
#include <string_view>

namespace Varkle
{

/// Names the files that a run writes, after a pattern with {key} and {frame} or {frame:04}.
class VARKLE_API OutputPattern
{
public:
    /// Reads a pattern. Several frames need {frame}: without it "_{frame:04}" is put before the extension. Fails when
    /// several operators would be written to one file, or a replacement is unknown; the error begins with `output
    /// "..."`.
    static Result<OutputPattern> Read(std::string_view pattern, bool severalOperators, bool severalFrames);

    /// Returns the path for an operator and a frame.
    std::string Path(std::string_view key, long long frame) const;

private:
    std::string pattern;
};

/// Returns the picture format for a path's extension (case ignored), or nothing when it is no picture's.
VARKLE_API std::optional<ImageFormat> FindImageFormat(const std::string& path);

} // namespace Varkle
