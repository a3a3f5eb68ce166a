#include "Varkle/Core/FileReading.h"

#include "core/TestOperators.h"
#include "support/Catch.h"
#include "support/TemporaryFolder.h"

#include <nlohmann/json.hpp>
#include <sys/stat.h>
#include <thread>

using namespace Varkle;

namespace
{

using Paths = std::vector<std::filesystem::path>;

std::string WhyUnread(const std::filesystem::path& path)
{
    const Result<std::vector<unsigned char>> bytes = ReadRegularFile(path, 4);
    return bytes ? "read" : bytes.GetError().message;
}

} // namespace

TEST_CASE("An operator knows the files that its latest execution read or tried to read, each once")
{
    Graph graph;
    auto& source = Add<Source>(graph, "source");
    auto& other = Add<Source>(graph, "other");
    source.during = []
    {
        const FileRead first("/folder/b.png");
        const FileRead missing("/folder/a.png");
        const FileRead again("/folder/b.png");
    };
    CHECK(source.GetFilesRead().empty());
    Run(graph);
    CHECK(source.GetFilesRead() == Paths{"/folder/b.png", "/folder/a.png"});
    CHECK(other.GetFilesRead().empty());
    Run(graph);
    CHECK(source.GetFilesRead().size() == 2); // it did not execute

    source.during = [] { const FileRead read("/folder/c.png"); };
    source.MarkDirty();
    Run(graph);
    CHECK(source.GetFilesRead() == Paths{"/folder/c.png"});
    source.during = {};
    source.MarkDirty();
    Run(graph);
    CHECK(source.GetFilesRead().empty());
}

TEST_CASE("Files read are absolute paths without dots, so that one file has one name")
{
    Graph graph;
    auto& source = Add<Source>(graph, "source");
    source.during = []
    {
        const FileRead relative("pictures/./a.png");
        const FileRead around("/folder/x/../a.png");
        const FileRead straight("/folder/a.png");
        const FileRead foreign("/folder/caf\xE9.png");
        const FileRead none("");
    };
    Run(graph);
    CHECK(source.GetFilesRead() ==
          Paths{std::filesystem::current_path() / "pictures/a.png", "/folder/a.png", "/folder/caf\xE9.png"});
}

TEST_CASE("Files are noted with the operator that reads them, also where one runs a graph of its own")
{
    Graph outerGraph;
    Graph innerGraph;
    auto& outer = Add<Source>(outerGraph, "outer");
    auto& inner = Add<Source>(innerGraph, "inner");
    inner.during = []
    {
        const FileRead read("/inner");
        throw 5;
    };
    outer.during = [&]
    {
        innerGraph.Run();
        const FileRead read("/outer");
    };
    Run(outerGraph);
    CHECK(inner.GetFilesRead() == Paths{"/inner"});
    CHECK(outer.GetFilesRead() == Paths{"/outer"});
}

TEST_CASE("What another thread reads while an operator executes is not the operator's")
{
    Graph graph;
    auto& source = Add<Source>(graph, "source");
    const Operator* elsewhere = &source;
    source.during = [&]
    {
        std::thread(
            [&]
            {
                elsewhere = Operator::Executing();
                const FileRead read("/folder/a.png");
            })
            .join();
    };
    Run(graph);
    CHECK(elsewhere == nullptr);
    CHECK(source.GetFilesRead().empty());
}

TEST_CASE("The reading of a file is a span in the trace, outside of operators too")
{
    const TemporaryFolder folder;
    Trace::Start();
    {
        const FileRead read("pictures/a.png");
    }
    REQUIRE(Trace::Finish(folder / "trace.json"));
    const auto events = nlohmann::json::parse(ReadBytes(folder / "trace.json")).at("traceEvents");
    const auto span = std::ranges::find_if(events, [](const auto& event) { return event.at("ph") == "X"; });
    REQUIRE(span != events.end());
    CHECK(span->at("cat") == "file");
    CHECK(span->at("name") == "pictures/a.png");
}

TEST_CASE("A regular file is read whole, when it is not larger than was allowed")
{
    const TemporaryFolder folder;
    WriteBytes(folder / "four", "abcd");
    WriteBytes(folder / "five", "abcde");
    WriteBytes(folder / "none", "");
    const Result<std::vector<unsigned char>> four = ReadRegularFile(folder / "four", 4);
    REQUIRE(four);
    CHECK(*four == std::vector<unsigned char>{'a', 'b', 'c', 'd'});
    CHECK(WhyUnread(folder / "five") == "It has 5 bytes; the limit is 4.");
    CHECK(WhyUnread(folder / "none") == "read");
}

TEST_CASE("A file that can't be read is an error with the system's reason, and nothing hangs")
{
    const TemporaryFolder folder;
    REQUIRE(mkfifo((folder / "pipe").c_str(), 0600) == 0);
    CHECK(WhyUnread(folder / "missing") == "No such file or directory.");
    CHECK(WhyUnread("") == "No such file or directory.");
    CHECK(WhyUnread(folder / std::string("cut\0off", 7)) == "Invalid argument.");
    for (const std::filesystem::path& path : {std::filesystem::path(folder / "pipe"), folder.GetPath(),
                                              std::filesystem::path("/dev/zero"), std::filesystem::path("/dev/null")})
    {
        INFO(path);
        CHECK(WhyUnread(path) == "It is not a regular file.");
    }
}
