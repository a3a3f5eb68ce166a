#include "Varkle/Core/FileWriting.h"

#include "Varkle/Core/PendingFile.h"
#include "support/Catch.h"
#include "support/TemporaryFolder.h"

#include <csignal>
#include <fcntl.h>
#include <future>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace Varkle;

namespace
{

unsigned GetMode(const std::string& path)
{
    struct stat status = {};
    return stat(path.c_str(), &status) == 0 ? status.st_mode & 07777 : 0;
}

// Runs the function in a child process, whose limits, user and umask may then be changed. Returns the child's result.
template<class Function>
int InChild(const Function& function)
{
    const pid_t child = fork();
    if (child == 0)
        _exit(function());
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

} // namespace

TEST_CASE("Writing makes a new file with the bytes, and nothing else in the folder")
{
    const TemporaryFolder folder;
    const std::string bytes("a\0\xFF\n", 4);
    REQUIRE(WriteFileAtomically(folder / "new.bin", bytes));
    CHECK(ReadBytes(folder / "new.bin") == bytes);
    CHECK(folder.Count() == 1);
}

TEST_CASE("Writing no bytes makes an empty file")
{
    const TemporaryFolder folder;
    REQUIRE(WriteFileAtomically(folder / "empty", ""));
    CHECK(std::filesystem::file_size(folder / "empty") == 0);
}

TEST_CASE("Writing replaces a file whole, and who has the old one open still reads the old one")
{
    const TemporaryFolder folder;
    const std::string path = folder / "file";
    WriteBytes(path, "the old text");
    std::ifstream reader(path);
    REQUIRE(WriteFileAtomically(path, "new"));
    CHECK(ReadBytes(path) == "new");
    CHECK(std::string(std::istreambuf_iterator<char>(reader), {}) == "the old text");
    CHECK(folder.Count() == 1);
}

TEST_CASE("A new file has the permissions that the umask leaves")
{
    const TemporaryFolder folder;
    const int result = InChild(
        [&]
        {
            umask(027);
            return WriteFileAtomically(folder / "file", "x") ? 0 : 1;
        });
    CHECK(result == 0);
    CHECK(GetMode(folder / "file") == 0640);
}

TEST_CASE("A replaced file keeps its permissions")
{
    const TemporaryFolder folder;
    const std::string path = folder / "file";
    WriteBytes(path, "old");
    REQUIRE(chmod(path.c_str(), 0606) == 0);
    REQUIRE(WriteFileAtomically(path, "new"));
    CHECK(GetMode(path) == 0606);
}

TEST_CASE("A file that may not be written is left alone")
{
    const TemporaryFolder folder;
    const std::string path = folder / "file";
    WriteBytes(path, "old");
    REQUIRE(chmod(path.c_str(), 0444) == 0);
    REQUIRE(chmod(folder.GetPath().c_str(), 0777) == 0);
    const int result = InChild(
        [&]
        {
            if (geteuid() == 0 && setuid(65534) != 0) // nothing is forbidden to the superuser
                return 1;
            const std::optional<FileError> error = TryToWriteFileAtomically(path, "new");
            const bool expected = error && !error->opened && !error->machine &&
                                  error->message == "could not write " + path + ": Permission denied.";
            return expected ? 0 : 2;
        });
    CHECK(result == 0);
    CHECK(ReadBytes(path) == "old");
    CHECK(folder.Count() == 1);
}

TEST_CASE("Writing through a symbolic link writes the file that it points at and keeps the link")
{
    const TemporaryFolder folder;
    std::filesystem::create_directory(folder / "below");
    std::filesystem::create_symlink("below/file", folder / "link");
    std::filesystem::create_symlink(folder / "link", folder / "outer");

    REQUIRE(WriteFileAtomically(folder / "outer", "first")); // the file is not there yet
    CHECK(ReadBytes(folder / "below/file") == "first");
    REQUIRE(WriteFileAtomically(folder / "outer", "second"));
    CHECK(ReadBytes(folder / "below/file") == "second");
    CHECK(std::filesystem::is_symlink(folder / "outer"));
    CHECK(std::filesystem::is_symlink(folder / "link"));
    CHECK(!std::filesystem::is_symlink(folder / "below/file"));
    CHECK(folder.Count() == 3);
}

TEST_CASE("Links in a circle are an error")
{
    const TemporaryFolder folder;
    std::filesystem::create_symlink("b", folder / "a");
    std::filesystem::create_symlink("a", folder / "b");
    CHECK(!WriteFileAtomically(folder / "a", "x"));
    CHECK(folder.Count() == 2);
}

TEST_CASE("A missing folder is an error that names the path and is not the machine's")
{
    const TemporaryFolder folder;
    const std::string path = folder / "missing/file";
    const Status status = WriteFileAtomically(path, "x");
    REQUIRE(!status);
    CHECK(status.GetError().message == "could not write " + path + ": No such file or directory.");
    CHECK(!status.GetError().machine);
    CHECK(folder.Count() == 0);
}

TEST_CASE("A folder and an empty path can't be written")
{
    const TemporaryFolder folder;
    const Status status = WriteFileAtomically(folder.GetPath().string(), "x");
    REQUIRE(!status);
    CHECK(status.GetError().message == "could not write " + folder.GetPath().string() + ": Is a directory.");
    CHECK(!WriteFileAtomically("", "x"));
    CHECK(!WriteFileAtomically(folder / "new/", "x"));
    CHECK(folder.Count() == 0);
}

TEST_CASE("A path with a null character is an error, and no file of the name before it is made")
{
    const TemporaryFolder folder;
    CHECK(!WriteFileAtomically(folder / std::string_view("a\0b", 3), "x"));
    CHECK(folder.Count() == 0);
}

TEST_CASE("An error tells what can't be opened from what can't be written")
{
    const TemporaryFolder folder;
    CHECK(!TryToWriteFileAtomically(folder / "file", "x"));
    CHECK(ReadBytes(folder / "file") == "x");
    for (const std::string& path : {folder / "missing/file", folder / "file/below", folder.GetPath().string(),
                                    folder / std::string(300, 'x'), std::string("/proc/file"), std::string()})
    {
        INFO(path);
        const std::optional<FileError> error = TryToWriteFileAtomically(path, "x");
        REQUIRE(error);
        CHECK_FALSE(error->opened);
        CHECK(error->message.starts_with("could not write " + path + ": "));
    }
    const std::optional<FileError> error = TryToWriteFileAtomically("/dev/full", "x");
    REQUIRE(error);
    CHECK(error->opened);
    CHECK(error->machine);
    CHECK(error->message == "could not write /dev/full: No space left on device.");
}

TEST_CASE("A device is written to as it is, and one that is full is an error of the machine")
{
    CHECK(WriteFileAtomically("/dev/null", "x"));
    CHECK(std::filesystem::is_character_file("/dev/null"));
    const Status status = WriteFileAtomically("/dev/full", "x");
    REQUIRE(!status);
    CHECK(status.GetError().message == "could not write /dev/full: No space left on device.");
    CHECK(status.GetError().machine);
}

TEST_CASE("A pipe is written to as it is")
{
    const TemporaryFolder folder;
    const std::string path = folder / "pipe";
    REQUIRE(mkfifo(path.c_str(), 0600) == 0);
    std::future<std::string> received = std::async(std::launch::async, [&] { return ReadBytes(path); });
    CHECK(WriteFileAtomically(path, "through the pipe"));
    CHECK(received.get() == "through the pipe");
    CHECK(std::filesystem::is_fifo(path));
}

TEST_CASE("When there is no room for the bytes the old file stays and the temporary one goes")
{
    const TemporaryFolder folder;
    const std::string path = folder / "file";
    WriteBytes(path, "old");
    const int result = InChild(
        [&]
        {
            // A limit of the process stands in for a full disk: the write stops after 1000 bytes, the next one fails.
            std::signal(SIGXFSZ, SIG_IGN);
            const rlimit limit{1000, 1000};
            setrlimit(RLIMIT_FSIZE, &limit);
            const std::optional<FileError> error = TryToWriteFileAtomically(path, std::string(5000, 'x'));
            const bool expected = error && error->opened && error->machine &&
                                  error->message == "could not write " + path + ": File too large.";
            return expected ? 0 : 1;
        });
    CHECK(result == 0);
    CHECK(ReadBytes(path) == "old");
    CHECK(folder.Count() == 1);
}

TEST_CASE("Temporary files that a killed process left behind are no obstacle")
{
    const TemporaryFolder folder;
    const std::string stale = folder / (".varkle-" + std::to_string(getpid()) + "-");
    for (int i = 1; i <= 300; ++i)
        WriteBytes(stale + std::to_string(i) + ".tmp", "stale");
    REQUIRE(WriteFileAtomically(folder / "file", "new"));
    CHECK(ReadBytes(folder / "file") == "new");
    CHECK(folder.Count() == 301);
}

TEST_CASE("Threads that write the same file leave one of their versions whole")
{
    const TemporaryFolder folder;
    const std::string path = folder / "file";
    const auto write = [&](char letter)
    {
        bool good = true;
        for (int i = 0; i < 50; ++i)
            good = WriteFileAtomically(path, std::string(10000, letter)) && good;
        return good;
    };
    std::future<bool> first = std::async(std::launch::async, write, 'a');
    std::future<bool> second = std::async(std::launch::async, write, 'b');
    CHECK(first.get());
    CHECK(second.get());
    const std::string bytes = ReadBytes(path);
    CHECK((bytes == std::string(10000, 'a') || bytes == std::string(10000, 'b')));
    CHECK(folder.Count() == 1);
}

TEST_CASE("A process that is about to end removes the hidden files of all threads, and none is made after that")
{
    const TemporaryFolder folder;
    const int result = InChild(
        [&]
        {
            alarm(1); // ends the child, which waits for ever to make the last file
            const auto film = PendingFile::Create(folder / "film.mp4", ".mp4");
            const auto other = PendingFile::Create(folder / "other.mp4", ".mp4");
            if (!film || !other || !(*film)->Keep())
                return 1;
            PendingFile::RemoveAll();
            (void)PendingFile::Create(folder / "late.mp4", ".mp4");
            return 2;
        });
    CHECK(result == -1);
    CHECK(std::filesystem::exists(folder / "film.mp4"));
    CHECK(folder.Count() == 1);
}

TEST_CASE("A new file is made where nothing has its name, and nothing is replaced where something has")
{
    const TemporaryFolder folder;
    CHECK_FALSE(TryToWriteNewFile(folder / "new", "mine"));
    CHECK(ReadBytes(folder / "new") == "mine");
    std::filesystem::create_directory(folder / "folder");
    for (const char* const name : {"new", "folder"})
    {
        INFO(name);
        const std::optional<FileError> error = TryToWriteNewFile(folder / name, "another");
        REQUIRE(error);
        CHECK(error->exists);
        CHECK(error->message == "could not write " + folder / name + ": File exists.");
    }
    CHECK(ReadBytes(folder / "new") == "mine");
    CHECK(folder.Count() == 2);

    const std::optional<FileError> missing = TryToWriteNewFile(folder / "missing/new", "mine");
    REQUIRE(missing);
    CHECK_FALSE(missing->exists);
    CHECK_FALSE(missing->opened);
}

TEST_CASE("Of many processes that make a new file of one name at once, one makes it and the others are told")
{
    const TemporaryFolder folder;
    constexpr int rounds = 50;
    constexpr int processes = 4;
    std::vector<pid_t> children;
    for (int i = 0; i < processes; ++i)
    {
        const pid_t child = fork();
        if (child == 0)
        {
            int made = 0;
            for (int round = 0; round < rounds; ++round)
            {
                const std::string bytes(1000, char('0' + i));
                const auto error = TryToWriteNewFile(folder / std::to_string(round), bytes);
                made += !error;
                if (error && !error->exists)
                    _exit(255);
            }
            _exit(made);
        }
        children.push_back(child);
    }
    int made = 0;
    for (const pid_t child : children)
    {
        int status = 0;
        waitpid(child, &status, 0);
        REQUIRE(WIFEXITED(status));
        REQUIRE(WEXITSTATUS(status) <= rounds);
        made += WEXITSTATUS(status);
    }
    CHECK(made == rounds);
    CHECK(folder.Count() == rounds);
}
