#pragma once

#include "Varkle/Core/Export.h"
#include "Varkle/Core/Trace.h"

#include <filesystem>

namespace Varkle
{

/// Stands for the reading of a file, from its construction to its destruction: a span of the category "file" in the
/// trace, and a note with the operator that executes (Operator::GetFilesRead), so that a host can have it read again
/// when the file changes. Whoever reads a file makes one first, whether or not the reading will succeed: a file that is
/// missing today may be there tomorrow. An empty path names no file and is not noted, and neither is what other threads
/// than the main one read.
class VARKLE_API FileRead
{
public:
    explicit FileRead(const std::filesystem::path& path);

private:
    TraceSpan span;
};

} // namespace Varkle
