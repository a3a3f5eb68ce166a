#include "Varkle/Core/FileWriting.h"

#include "Varkle/Core/PendingFile.h"
#include "Varkle/Core/Text.h"
#include "file/SystemReason.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <memory>
#include <system_error>
#include <unistd.h>

namespace Varkle
{

namespace
{

int WriteAll(int file, std::string_view bytes)
{
    while (!bytes.empty())
    {
        const ssize_t written = write(file, bytes.data(), bytes.size());
        if (written >= 0)
            bytes.remove_prefix(std::size_t(written));
        else if (errno != EINTR)
            return errno;
    }
    return noReason;
}

// Into a device or a pipe.
std::optional<FileError> WriteStraight(const std::string& path, std::string_view bytes)
{
    const int file = open(path.c_str(), O_WRONLY | O_CLOEXEC);
    if (file < 0)
        return FileError{MakeWriteError(path, errno), false};
    if (const int reason = WriteAndClose(file, bytes); reason != noReason)
        return FileError{MakeWriteError(path, reason), true};
    return std::nullopt;
}

} // namespace

std::string GetReasonText(int reason)
{
    return std::generic_category().message(reason);
}

bool IsMachineReason(int reason)
{
    static constexpr int reasons[] = {ENOSPC, EDQUOT, EFBIG, EIO, ENOMEM, EMFILE, ENFILE};
    return std::ranges::find(reasons, reason) != std::end(reasons);
}

int WriteAndClose(int file, std::string_view bytes)
{
    const int reason = WriteAll(file, bytes);
    const int closeReason = close(file) == 0 ? noReason : errno;
    return reason != noReason ? reason : closeReason;
}

Error MakeWriteError(const std::string& path, int reason)
{
    return {"could not write " + Printable(path) + ": " + GetReasonText(reason) + ".", IsMachineReason(reason)};
}

Status WriteFileAtomically(const std::string& path, std::string_view bytes)
{
    if (const std::optional<FileError> error = TryToWriteFileAtomically(path, bytes))
        return Error(*error);
    return Ok();
}

std::optional<FileError> TryToWriteFileAtomically(const std::string& path, std::string_view bytes)
{
    std::error_code code;
    if (std::filesystem::is_other(path, code))
        return WriteStraight(path, bytes);
    const Result<std::unique_ptr<PendingFile>> file = PendingFile::Create(path, ".tmp");
    if (!file)
        return FileError{file.GetError(), false};
    Status status = (*file)->Write(bytes);
    if (status)
        status = (*file)->Keep();
    if (!status)
        return FileError{status.GetError(), true};
    return std::nullopt;
}

std::optional<FileError> TryToWriteNewFile(const std::string& path, std::string_view bytes)
{
    std::error_code code;
    if (std::filesystem::exists(path, code)) // which saves the writing, most times
        return FileError{MakeWriteError(path, EEXIST), false, true};
    const Result<std::unique_ptr<PendingFile>> file = PendingFile::Create(path, ".tmp");
    if (!file)
        return FileError{file.GetError(), false};
    if (const Status status = (*file)->Write(bytes); !status)
        return FileError{status.GetError(), true};
    const Result<bool> kept = (*file)->KeepNew();
    if (!kept)
        return FileError{kept.GetError(), true};
    if (!*kept)
        return FileError{MakeWriteError(path, EEXIST), false, true};
    return std::nullopt;
}

} // namespace Varkle
