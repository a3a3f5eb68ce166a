#pragma once

#include "Varkle/Core/Export.h"
#include "Varkle/Core/Result.h"

#include <filesystem>
#include <memory>
#include <string>
#include <string_view>

namespace Varkle
{

/// Is a file that is made under a hidden name in its folder and gets its own name when it is complete; else it goes.
/// For files that others write, or that are written bit by bit: WriteFileAtomically is for bytes in memory, and says
/// how links, permissions and reasons are treated. May be used from any thread, one at a time.
class VARKLE_API PendingFile
{
public:
    /// Makes the empty hidden file, whose name ends in the extension. The error reads "could not write PATH: No such
    /// file or directory." with the system's reason. A device or a pipe can't be replaced and is an error.
    static Result<std::unique_ptr<PendingFile>> Create(const std::string& path, const std::string& extension);
    ~PendingFile();
    PendingFile(const PendingFile&) = delete;
    PendingFile& operator=(const PendingFile&) = delete;

    /// Returns the path of the hidden file.
    const std::filesystem::path& GetHiddenPath() const { return hidden; }

    /// Writes the whole content.
    Status Write(std::string_view bytes);

    /// Gives the file its own name, replacing a file of that name.
    Status Keep();

    /// Gives the file its own name where nothing has that name. False, and the file stays hidden, where something has,
    /// also when another process made it a moment ago.
    Result<bool> KeepNew();

    /// Removes the hidden files of all threads, for a process that is about to end without waiting for those. From then
    /// on a thread that makes, keeps or destroys one waits for the end.
    static void RemoveAll();

private:
    explicit PendingFile(std::string asked) : path(std::move(asked)) {}

    int Make(const std::string& extension);

    std::string path;             // as it was asked for
    std::filesystem::path target; // behind links
    std::filesystem::path hidden; // empty when there is none
};

} // namespace Varkle
