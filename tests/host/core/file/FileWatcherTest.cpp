#include "Varkle/Core/FileWatcher.h"

#include "Varkle/Core/FileWriting.h"
#include "support/Catch.h"
#include "support/TemporaryFolder.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace Varkle;

namespace
{

namespace fs = std::filesystem;

using Paths = std::vector<fs::path>;

// Sets a file's time of modification, in seconds from a moment long ago: a test does not wait for the clock.
void SetTime(const std::string& path, long seconds, long nanoseconds = 0)
{
    const timespec times[2] = {{0, UTIME_OMIT}, {1'000'000'000 + seconds, nanoseconds}};
    REQUIRE(utimensat(AT_FDCWD, path.c_str(), times, 0) == 0);
}

// Looks twice, as often as it takes to see that a file has settled.
Paths LookTwice(WatchedFiles& files)
{
    files.Look();
    CHECK(files.TakeChanges().empty());
    files.Look();
    return files.TakeChanges();
}

// Holds a file "a" of four bytes that is watched.
struct OneFile
{
    OneFile()
    {
        WriteBytes(path, "old!");
        SetTime(path, 0);
        files.SetFiles({path});
    }

    TemporaryFolder folder;
    std::string path = folder / "a";
    WatchedFiles files;
};

} // namespace

TEST_CASE("A file that nothing happens to does not change")
{
    OneFile one;
    CHECK(LookTwice(one.files).empty());
    CHECK(ReadBytes(one.path) == "old!"); // reading is no change
    CHECK(LookTwice(one.files).empty());
}

TEST_CASE("A file that is written in place changes once")
{
    OneFile one;
    WriteBytes(one.path, "longer");
    CHECK(LookTwice(one.files) == Paths{one.path});
    CHECK(LookTwice(one.files).empty());
    WriteBytes(one.path, "shorter");
    CHECK(LookTwice(one.files) == Paths{one.path});
}

TEST_CASE("A file of the same size counts by its times")
{
    OneFile one;
    WriteBytes(one.path, "new!");
    SetTime(one.path, 0, 1); // a nanosecond
    CHECK(LookTwice(one.files) == Paths{one.path});

    // As a copy that keeps the times of what it copies.
    struct stat before = {};
    REQUIRE(stat(one.path.c_str(), &before) == 0);
    struct stat after = before;
    while (after.st_ctim.tv_sec == before.st_ctim.tv_sec && after.st_ctim.tv_nsec == before.st_ctim.tv_nsec)
    {
        WriteBytes(one.path, "more");
        SetTime(one.path, 0, 1);
        REQUIRE(stat(one.path.c_str(), &after) == 0);
    }
    CHECK(LookTwice(one.files) == Paths{one.path});
}

TEST_CASE("A file that is replaced by another one of the same size and time changes")
{
    OneFile one;
    WriteBytes(one.folder / "b", "new!");
    SetTime(one.folder / "b", 0);
    fs::rename(one.folder / "b", one.path);
    CHECK(LookTwice(one.files) == Paths{one.path});
    REQUIRE(WriteFileAtomically(one.path, "newer!"));
    CHECK(LookTwice(one.files) == Paths{one.path});
    CHECK(LookTwice(one.files).empty());
}

TEST_CASE("A file that is still being written is not reported before two looks find it the same")
{
    OneFile one;
    std::string text = "a";
    for (int i = 0; i < 5; ++i)
    {
        WriteBytes(one.path, text += "a");
        one.files.Look();
        CHECK(one.files.TakeChanges().empty());
    }
    one.files.Look();
    CHECK(one.files.TakeChanges() == Paths{one.path});
}

TEST_CASE("A file that another one replaces before each look is reported from the second look on")
{
    OneFile one;
    std::vector<bool> reported;
    for (const char* const text : {"first", "second", "third", "fourth"})
    {
        REQUIRE(WriteFileAtomically(one.path, text));
        one.files.Look();
        reported.push_back(!one.files.TakeChanges().empty());
    }
    CHECK(reported == std::vector<bool>{false, true, true, true});
}

TEST_CASE("A file that is written on and on is reported once in 0.3 seconds")
{
    OneFile one;
    std::string text = "a";
    std::vector<int> reported;
    for (int tenths = 0; tenths <= 7; ++tenths)
    {
        WriteBytes(one.path, text += "a");
        one.files.Look(WatchedFiles::Clock::time_point(std::chrono::milliseconds(100 * tenths)));
        if (!one.files.TakeChanges().empty())
            reported.push_back(tenths);
    }
    CHECK(reported == std::vector<int>{3, 7});
}

TEST_CASE("A file that appears changes, one that vanishes does not, and its return counts")
{
    const TemporaryFolder folder;
    const std::string path = folder / "a";
    WatchedFiles files;
    files.SetFiles({path});
    CHECK(LookTwice(files).empty());
    WriteBytes(path, "here");
    CHECK(LookTwice(files) == Paths{path});

    fs::rename(path, folder / "b");
    CHECK(LookTwice(files).empty());
    fs::rename(folder / "b", path);
    CHECK(LookTwice(files) == Paths{path});
    CHECK(LookTwice(files).empty());

    // Gone for one look only.
    fs::rename(path, folder / "b");
    files.Look();
    fs::rename(folder / "b", path);
    CHECK(LookTwice(files) == Paths{path});
}

TEST_CASE("A file that vanishes before it has settled is no change")
{
    OneFile one;
    WriteBytes(one.path, "longer");
    one.files.Look();
    fs::remove(one.path);
    CHECK(LookTwice(one.files).empty());
}

TEST_CASE("A file changes when a symbolic link on its path leads elsewhere, or what it leads to changes")
{
    const TemporaryFolder folder;
    for (const char* const name : {"one", "two"})
    {
        fs::create_directory(folder / name);
        WriteBytes(fs::path(folder / name) / "a", "same");
        SetTime(fs::path(folder / name) / "a", 0);
    }
    fs::create_symlink("one", folder / "now");
    fs::create_symlink("one/a", folder / "link");
    const fs::path below = fs::path(folder / "now") / "a";
    const fs::path link = folder / "link";
    WatchedFiles files;
    files.SetFiles({below, link});
    CHECK(LookTwice(files).empty());

    fs::create_symlink("two", folder / "next");
    fs::rename(folder / "next", folder / "now");
    CHECK(LookTwice(files) == Paths{below});
    WriteBytes(folder / "one/a", "other");
    CHECK(LookTwice(files) == Paths{link});
    fs::create_symlink("missing", folder / "broken");
    fs::rename(folder / "broken", link);
    CHECK(LookTwice(files).empty());
    fs::remove(link);
    fs::create_symlink("two/a", link);
    CHECK(LookTwice(files) == Paths{link});
}

TEST_CASE("Folders, pipes and devices are no files, and a file in their place is one that appeared")
{
    const TemporaryFolder folder;
    const fs::path inner = folder / "inner";
    const fs::path pipe = folder / "pipe";
    fs::create_directory(inner);
    REQUIRE(mkfifo(pipe.c_str(), 0600) == 0);
    WatchedFiles files;
    files.SetFiles({inner, pipe, "/dev/zero", ""});
    WriteBytes(inner / "a", "in a folder");
    CHECK(LookTwice(files).empty());
    fs::remove_all(inner);
    WriteBytes(inner, "a file");
    CHECK(LookTwice(files) == Paths{inner});
}

TEST_CASE("Files that stay watched keep their change, those that come start with what is there")
{
    OneFile one;
    const std::string other = one.folder / "b";
    WriteBytes(one.path, "longer");
    one.files.Look();
    one.files.Look();
    one.files.SetFiles({other, one.path, other});
    CHECK(one.files.TakeChanges() == Paths{one.path});

    WriteBytes(one.path, "again longer");
    WriteBytes(other, "new");
    one.files.Look();
    one.files.SetFiles({one.path}); // between the two looks
    one.files.Look();
    CHECK(one.files.TakeChanges() == Paths{one.path});

    one.files.SetFiles({one.path, other});
    CHECK(LookTwice(one.files).empty());
    WriteBytes(other, "newer");
    one.files.Look();
    one.files.Look();
    one.files.SetFiles({one.path}); // and its change with it
    CHECK(one.files.TakeChanges().empty());
    one.files.SetFiles({});
    WriteBytes(one.path, "x");
    CHECK(LookTwice(one.files).empty());
}

TEST_CASE("Several changes before they are taken are one")
{
    OneFile one;
    for (const char* const text : {"first", "second", "the third"})
    {
        WriteBytes(one.path, text);
        one.files.Look();
        one.files.Look();
    }
    CHECK(one.files.TakeChanges() == Paths{one.path});
    CHECK(LookTwice(one.files).empty());
}

TEST_CASE("A file that changes again while the program reads it is reported again")
{
    OneFile one;
    WriteBytes(one.path, "longer");
    CHECK(LookTwice(one.files) == Paths{one.path});
    WriteBytes(one.path, "even longer");
    CHECK(LookTwice(one.files) == Paths{one.path});
}

TEST_CASE("A file watcher finds changes on its own")
{
    const TemporaryFolder folder;
    const std::string path = folder / "a";
    FileWatcher watcher;
    const auto wait = [&]
    {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
        Paths changes;
        while (changes.empty() && std::chrono::steady_clock::now() < deadline)
        {
            std::this_thread::yield();
            changes = watcher.TakeChanges();
        }
        return changes;
    };
    watcher.SetFiles({});
    watcher.SetFiles({path});
    WriteBytes(path, "here");
    CHECK(wait() == Paths{path});
    watcher.SetFiles({});
    watcher.SetFiles({path, folder / "b"});
    WriteBytes(folder / "b", "here");
    CHECK(wait() == Paths{folder / "b"});
}

TEST_CASE("A file watcher ends at once, whether it ever watched anything or not")
{
    const FileWatcher idle;
    FileWatcher started;
    started.SetFiles({"/folder/a"});
    FileWatcher stopped;
    stopped.SetFiles({"/folder/a"});
    stopped.SetFiles({});
    CHECK(stopped.TakeChanges().empty());
}
