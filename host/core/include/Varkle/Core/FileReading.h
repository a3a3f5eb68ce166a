#pragma once

#include "Varkle/Core/Export.h"
#include "Varkle/Core/Result.h"
#include "Varkle/Core/Trace.h"

#include <cstdint>
#include <filesystem>
#include <vector>

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

/// Reads the whole content of a regular file that has at most `maxBytes` bytes, and makes a FileRead for it. What is no
/// regular file (a folder, a pipe, a device) may never end and is an error at once. May be called from any thread.
///
/// The error is the reason alone, as a sentence: "No such file or directory.", "It is not a regular file.". Callers say
/// what they wanted to read. Error::machine is true for the reasons that lie with the machine, as in FileWriting.h.
VARKLE_API Result<std::vector<unsigned char>> ReadRegularFile(const std::filesystem::path& path,
                                                              std::uint64_t maxBytes);

} // namespace Varkle
