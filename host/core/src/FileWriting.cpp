#include "Varkle/Core/FileWriting.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace Varkle
{

namespace
{

namespace fs = std::filesystem;

constexpr int noReason = 0; // the steps below return this or an errno value

// How writing ended.
struct Outcome
{
    bool opened = false;
    int reason = noReason;
};

Outcome NotOpened(int reason)
{
    return {false, reason};
}

Outcome Opened(int reason)
{
    return {true, reason};
}

bool IsMachineReason(int reason)
{
    static constexpr int reasons[] = {ENOSPC, EDQUOT, EFBIG, EIO, ENOMEM, EMFILE, ENFILE};
    return std::ranges::find(reasons, reason) != std::end(reasons);
}

// Follows links by hand, as one that points at nothing yet has no canonical path.
fs::path FollowLinks(fs::path path)
{
    std::error_code code;
    for (int links = 0; links < 40 && fs::is_symlink(path, code); ++links)
        path = path.parent_path() / fs::read_symlink(path, code); // an absolute target replaces the left side
    return path;
}

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

// Writes and closes, which is where some network file systems tell that the quota is used up.
int WriteAndClose(int file, std::string_view bytes)
{
    const int reason = WriteAll(file, bytes);
    const int closeReason = close(file) == 0 ? noReason : errno;
    return reason != noReason ? reason : closeReason;
}

Outcome WriteStraight(const fs::path& path, std::string_view bytes)
{
    const int file = open(path.c_str(), O_WRONLY | O_CLOEXEC);
    return file < 0 ? NotOpened(errno) : Opened(WriteAndClose(file, bytes));
}

// Makes a new hidden file in the folder and puts its path into `path`. Returns the file, or -1 with errno set.
int CreateTemporary(const fs::path& folder, fs::path& path)
{
    static std::atomic<unsigned> counter = 0;
    int file = -1;
    do // a process of the same id may have left files behind when it was killed
    {
        path = folder / (".varkle-" + std::to_string(getpid()) + "-" + std::to_string(++counter) + ".tmp");
        file = open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    } while (file < 0 && errno == EEXIST);
    return file;
}

// `old` is null when there is no file yet.
Outcome Replace(const fs::path& path, const struct stat* old, std::string_view bytes)
{
    if (old && access(path.c_str(), W_OK) != 0)
        return NotOpened(errno);
    fs::path temporary;
    const int file = CreateTemporary(path.parent_path(), temporary);
    if (file < 0)
        return NotOpened(errno);
    if (old)
        (void)fchmod(file, old->st_mode & 07777); // some file systems have no permissions
    int reason = WriteAndClose(file, bytes);
    if (reason == noReason && rename(temporary.c_str(), path.c_str()) != 0)
        reason = errno;
    if (reason != noReason)
        (void)unlink(temporary.c_str());
    return Opened(reason);
}

Outcome Write(const std::string& path, std::string_view bytes)
{
    if (path.empty())
        return NotOpened(ENOENT);
    if (path.find('\0') != std::string::npos)
        return NotOpened(EINVAL);
    struct stat old = {};
    const bool exists = stat(path.c_str(), &old) == 0;
    if (!exists && errno != ENOENT)
        return NotOpened(errno);
    if (exists && S_ISDIR(old.st_mode))
        return NotOpened(EISDIR);
    if (exists && !S_ISREG(old.st_mode))
        return WriteStraight(path, bytes);
    return Replace(FollowLinks(path), exists ? &old : nullptr, bytes);
}

} // namespace

Status WriteFileAtomically(const std::string& path, std::string_view bytes)
{
    if (const std::optional<FileError> error = TryToWriteFileAtomically(path, bytes))
        return Error(*error);
    return Ok();
}

std::optional<FileError> TryToWriteFileAtomically(const std::string& path, std::string_view bytes)
{
    const auto [opened, reason] = Write(path, bytes);
    if (reason == noReason)
        return {};
    return FileError{
        {"could not write " + path + ": " + std::generic_category().message(reason) + ".", IsMachineReason(reason)},
        opened};
}

} // namespace Varkle
