#pragma once

#include "Varkle/Core/Export.h"
#include "Varkle/Core/Result.h"

#include <optional>
#include <string>
#include <string_view>

namespace Varkle
{

/// Writes a file so that at any moment others see either the old file or the whole new one: into a temporary file in
/// the same folder, which is then renamed. The folder must exist. May be called from any thread.
///
/// - A new file gets the permissions that the process's umask leaves, one that exists keeps its own. A file that exists
///   and may not be written is an error, although its folder would allow the renaming.
/// - A symbolic link stays: the file that it points at is written, whether it exists or not.
/// - What is no regular file (a device, a pipe) is written to as it is.
/// - A path with a null character in it, which the system would cut there, is an error.
/// - On failure the temporary file is removed, and an old file is as it was.
///
/// The error reads "could not write PATH: No space left on device." with the system's reason. Error::machine is true
/// for reasons that lie with the machine (disk or quota full, file too large for it, input/output errors, no memory, no
/// file handles), false for those that lie in the path (missing folder, permissions, a read-only file system).
VARKLE_API Status WriteFileAtomically(const std::string& path, std::string_view bytes);

/// Tells why a file could not be written, and how far it got.
struct FileError : Error
{
    bool opened = false; ///< false when the file could not be opened or made, true when its bytes could not be written
    bool exists = false; ///< TryToWriteNewFile: there is a file of that name, which is left alone
};

/// Does the same for callers that tell the two apart. Returns nothing when the file was written.
VARKLE_API std::optional<FileError> TryToWriteFileAtomically(const std::string& path, std::string_view bytes);

/// Writes a file of a name that nothing has yet, whole and at once as above, and never replaces what another process
/// makes of that name in the meantime. For callers that then try another name.
VARKLE_API std::optional<FileError> TryToWriteNewFile(const std::string& path, std::string_view bytes);

} // namespace Varkle
