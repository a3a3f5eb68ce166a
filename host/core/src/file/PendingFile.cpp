#include "Varkle/Core/PendingFile.h"

#include "Varkle/Core/Text.h"
#include "file/SystemReason.h"

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <mutex>
#include <set>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace Varkle
{

namespace
{

namespace fs = std::filesystem;

// By hand, as a link that points at nothing yet has no canonical path.
fs::path FollowLinks(fs::path path)
{
    std::error_code code;
    for (int links = 0; links < 40 && fs::is_symlink(path, code); ++links)
        path = path.parent_path() / fs::read_symlink(path, code); // an absolute target replaces the left side
    return path;
}

// Returns what stands in the way of replacing the file at a path.
int CheckOldFile(const std::string& path)
{
    if (path.empty())
        return ENOENT;
    if (path.find('\0') != std::string::npos)
        return EINVAL;
    struct stat old = {};
    if (stat(path.c_str(), &old) != 0)
        return errno == ENOENT ? noReason : errno;
    if (S_ISDIR(old.st_mode))
        return EISDIR;
    return access(path.c_str(), W_OK) == 0 ? noReason : errno;
}

// The hidden files that there are.
struct HiddenFiles
{
    std::mutex mutex;
    std::set<fs::path> paths;
    unsigned counter = 0; // makes their names differ
};

// Never destroyed: threads may still write while the process exits.
HiddenFiles& Hidden()
{
    static HiddenFiles& files = *new HiddenFiles;
    return files;
}

// Renames a file unless the new name is taken, which is EEXIST.
int RenameToNew(const fs::path& from, const fs::path& to)
{
    if (renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0)
        return noReason;
    if (errno != EINVAL && errno != ENOSYS)
        return errno;
    // A file system that can't do that, such as NFS, has hard links.
    if (link(from.c_str(), to.c_str()) == 0)
    {
        (void)unlink(from.c_str());
        return noReason;
    }
    if (errno != EPERM && errno != EOPNOTSUPP && errno != ENOSYS && errno != EMLINK)
        return errno;
    // Or it has not, such as FAT: an empty file takes the name first.
    const int reserved = open(to.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    if (reserved < 0)
        return errno;
    close(reserved);
    return rename(from.c_str(), to.c_str()) == 0 ? noReason : errno;
}

} // namespace

Result<std::unique_ptr<PendingFile>> PendingFile::Create(const std::string& path, const std::string& extension)
{
    std::error_code code;
    if (fs::is_other(path, code))
        return Error{"could not write " + Printable(path) +
                     ": it is a device or a pipe, and only a file can be replaced."};
    std::unique_ptr<PendingFile> file(new PendingFile(path));
    if (const int reason = file->Make(extension); reason != noReason)
        return MakeWriteError(path, reason);
    return file;
}

PendingFile::~PendingFile()
{
    if (hidden.empty())
        return;
    const std::lock_guard lock(Hidden().mutex);
    (void)unlink(hidden.c_str());
    Hidden().paths.erase(hidden);
}

int PendingFile::Make(const std::string& extension)
{
    if (const int reason = CheckOldFile(path); reason != noReason)
        return reason;
    target = FollowLinks(path);
    int file = -1;
    fs::path candidate;
    const std::lock_guard lock(Hidden().mutex);
    do // a process of the same id may have left files behind when it was killed
    {
        candidate = target.parent_path() /
                    (".varkle-" + std::to_string(getpid()) + "-" + std::to_string(++Hidden().counter) + extension);
        file = open(candidate.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    } while (file < 0 && errno == EEXIST);
    if (file < 0)
        return errno;
    close(file);
    hidden = candidate;
    Hidden().paths.insert(hidden);
    return noReason;
}

Status PendingFile::Write(std::string_view bytes)
{
    const int file = open(hidden.c_str(), O_WRONLY | O_TRUNC | O_CLOEXEC);
    const int reason = file < 0 ? errno : WriteAndClose(file, bytes);
    return reason == noReason ? Ok() : MakeWriteError(path, reason);
}

Status PendingFile::Keep()
{
    struct stat old = {};
    if (stat(target.c_str(), &old) == 0)
        (void)chmod(hidden.c_str(), old.st_mode & 07777); // some file systems have no permissions
    const std::lock_guard lock(Hidden().mutex);
    if (rename(hidden.c_str(), target.c_str()) != 0)
        return MakeWriteError(path, errno);
    Hidden().paths.erase(hidden);
    hidden.clear();
    return Ok();
}

Result<bool> PendingFile::KeepNew()
{
    const std::lock_guard lock(Hidden().mutex);
    const int reason = RenameToNew(hidden, target);
    if (reason == EEXIST)
        return false;
    if (reason != noReason)
        return MakeWriteError(path, reason);
    Hidden().paths.erase(hidden);
    hidden.clear();
    return true;
}

void PendingFile::RemoveAll()
{
    std::unique_lock lock(Hidden().mutex);
    for (const fs::path& path : Hidden().paths)
        (void)unlink(path.c_str());
    (void)lock.release(); // without unlocking
}

} // namespace Varkle
