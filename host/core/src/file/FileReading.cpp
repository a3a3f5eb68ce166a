#include "Varkle/Core/FileReading.h"

#include "Varkle/Core/Operator.h"
#include "file/SystemReason.h"
#include "graph/OperatorState.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <memory>
#include <new>
#include <string>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Varkle
{

namespace
{

using Bytes = std::vector<unsigned char>;

struct FileHandle
{
    explicit FileHandle(int opened) : number(opened) {}
    ~FileHandle()
    {
        if (number >= 0)
            close(number);
    }
    FileHandle(const FileHandle&) = delete;
    FileHandle& operator=(const FileHandle&) = delete;

    int number;
};

// Makes room for a file. Getting many small pages of memory takes longer than reading a large file into them.
Bytes MakeRoom(std::size_t size)
{
    Bytes bytes;
    bytes.reserve(size);
    constexpr std::size_t hugePage = std::size_t(2) << 20;
    void* begin = bytes.data();
    std::size_t room = size;
    if (std::align(hugePage, hugePage, begin, room))
        madvise(begin, room, MADV_HUGEPAGE); // where it fails nothing is lost
    bytes.resize(size);
    return bytes;
}

// A file that became shorter since its size was asked gives what it has.
int ReadAll(int file, Bytes& bytes)
{
    std::size_t done = 0;
    while (done < bytes.size())
    {
        const ssize_t count = read(file, bytes.data() + done, bytes.size() - done);
        if (count > 0)
            done += std::size_t(count);
        else if (count == 0)
            break;
        else if (errno != EINTR)
            return errno;
    }
    bytes.resize(done);
    return noReason;
}

Error MakeReadError(int reason)
{
    return {GetReasonText(reason) + ".", IsMachineReason(reason)};
}

} // namespace

FileRead::FileRead(const std::filesystem::path& path) : span("file", path.native())
{
    Operator* const op = Operator::Executing();
    if (!op || path.empty())
        return;
    std::error_code code;
    const std::filesystem::path absolute = std::filesystem::absolute(path, code).lexically_normal();
    std::vector<std::filesystem::path>& files = op->state->filesRead;
    if (!absolute.empty() && std::ranges::find(files, absolute) == files.end())
        files.push_back(absolute);
}

Result<Bytes> ReadRegularFile(const std::filesystem::path& path, std::uint64_t maxBytes)
try
{
    const FileRead read(path);
    // The system would cut the path there.
    if (path.native().find('\0') != std::string::npos)
        return MakeReadError(EINVAL);
    // Opening a pipe would wait for a writer.
    const FileHandle file(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    struct stat status = {};
    if (file.number < 0 || fstat(file.number, &status) != 0)
        return MakeReadError(errno);
    if (!S_ISREG(status.st_mode))
        return Error{"It is not a regular file."};
    const auto size = std::uint64_t(status.st_size);
    if (size > maxBytes)
        return Error{"It has " + std::to_string(size) + " bytes; the limit is " + std::to_string(maxBytes) + "."};
    Bytes bytes = MakeRoom(size);
    if (const int reason = ReadAll(file.number, bytes); reason != noReason)
        return MakeReadError(reason);
    return bytes;
}
catch (const std::bad_alloc&)
{
    return MakeReadError(ENOMEM);
}

} // namespace Varkle
