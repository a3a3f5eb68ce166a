#include "app/Documents.h"
#include "app/Pictures.h"
#include "app/ProgramRunner.h"
#include "support/Catch.h"

#include "Varkle/Document/GraphDocument.h"

#include <iomanip>
#include <map>
#include <nlohmann/json.hpp>
#include <set>
#include <sstream>

// The graphs in examples/, and the pictures of them that the README shows.

using namespace Varkle;
using namespace Varkle::Testing;

namespace
{

const std::filesystem::path examples = VARKLE_SOURCES "/examples";

// Returns the paths of all example graphs.
std::vector<std::string> Graphs()
{
    std::vector<std::string> paths;
    for (const auto& entry : std::filesystem::directory_iterator(examples))
    {
        if (entry.path().extension() == ".varkle")
            paths.push_back(entry.path().string());
    }
    REQUIRE(!paths.empty());
    return paths;
}

// Returns the names of the files in examples/ that the README shows as pictures.
std::vector<std::string> ShownPictures(const std::string& readme)
{
    const std::string_view start = "](examples/";
    std::vector<std::string> names;
    for (std::size_t at = readme.find("!["); at != std::string::npos; at = readme.find("![", at + 1))
    {
        const std::size_t link = readme.find("](", at);
        if (link != std::string::npos && readme.compare(link, start.size(), start) == 0)
            names.push_back(readme.substr(link + start.size(), readme.find(')', link) - link - start.size()));
    }
    return names;
}

// Returns the words behind "./varkle" in the first command of the README that renders the graph.
std::vector<std::string> RenderCommand(const std::string& readme, const std::string& graph)
{
    const std::string start = "./varkle render examples/" + graph;
    const std::size_t at = readme.find(start);
    INFO(start);
    REQUIRE(at != std::string::npos);
    std::istringstream line(readme.substr(at, readme.find_first_of("`\n", at) - at));
    std::vector<std::string> words;
    for (std::string word; line >> std::quoted(word);)
        words.push_back(word);
    words.erase(words.begin());
    return words;
}

// How far two pictures of one size lie apart, over red, green and blue, in levels of 8 bits.
struct Difference
{
    double mean = 0;
    int worst = 0;
    double far = 0; // the share of values that are off by more than 16 levels
};

Difference Compare(const Image& a, const Image& b)
{
    REQUIRE(a.GetWidth() == b.GetWidth());
    REQUIRE(a.GetHeight() == b.GetHeight());
    Difference difference;
    for (int y = 0; y < a.GetHeight(); ++y)
    {
        for (int x = 0; x < a.GetWidth(); ++x)
        {
            const Rgba8 p = At(a, x, y);
            const Rgba8 q = At(b, x, y);
            for (const int off : {std::abs(p.r - q.r), std::abs(p.g - q.g), std::abs(p.b - q.b)})
            {
                difference.mean += off;
                difference.worst = std::max(difference.worst, off);
                difference.far += off > 16;
            }
        }
    }
    const double values = 3.0 * a.GetWidth() * a.GetHeight();
    difference.mean /= values;
    difference.far /= values;
    return difference;
}

// Renders one frame of an example and returns it.
Image Frame(const std::string& graph, int frame)
{
    const TemporaryFolder folder;
    const std::string path = (examples / graph).string();
    std::string range = std::to_string(frame);
    range += ".." + range;
    REQUIRE(Program({"render", path, "--frames", range, "--output", "a.png"}).In(folder.GetPath()).Run().status == 0);
    return Decode(folder / "a.png");
}

} // namespace

TEST_CASE("The pictures that the README shows are what its commands make")
{
    const std::string readme = ReadBytes(VARKLE_SOURCES "/README.md");
    const std::vector<std::string> pictures = ShownPictures(readme);
    CHECK(pictures.size() >= 5);
    for (const std::string& picture : pictures)
    {
        INFO(picture);
        const std::filesystem::path path = picture;
        std::vector<std::string> command = RenderCommand(readme, path.stem().string() + ".varkle");
        REQUIRE(command.size() >= 4); // more options may follow
        CHECK(command[2] == "--output");
        CHECK(std::filesystem::path(command[3]).extension() == path.extension());
        command[1] = VARKLE_SOURCES "/" + command[1];

        // On the CPU, where the committed pictures were made: thin lines and maps of coordinates carry the small
        // differences between GPUs far.
        const TemporaryFolder folder;
        const Outcome outcome = Program(command).In(folder.GetPath()).With("VARKLE_ADAPTER", "cpu").Run();
        CHECK(outcome.status == 0);
        CHECK(outcome.error == nothing);
        const Difference off = Compare(Decode(folder / command[3]), Decode((examples / picture).string()));
        INFO("mean " << off.mean << ", worst " << off.worst << ", far " << off.far);
        if (path.extension() == ".png")
        {
            CHECK(off.worst <= 1);
            continue;
        }
        // JPG spreads a level that is rounded otherwise over a block of 16 by 16 pixels.
        CHECK(off.mean <= 0.4);
        CHECK(off.far <= 0.001);
    }
}

TEST_CASE("The pictures that the README shows are small files")
{
    std::uintmax_t all = 0;
    for (const std::string& picture : ShownPictures(ReadBytes(VARKLE_SOURCES "/README.md")))
        all += std::filesystem::file_size(examples / picture);
    CHECK(all <= 800'000);
}

TEST_CASE("Every example passes the check and has the layout of a saved document")
{
    const Outcome outcome = Program(Joined({"check"}, Graphs())).Run();
    CHECK(outcome.status == 0);
    CHECK(outcome.error == nothing);
    for (const std::string& path : Graphs())
    {
        std::vector<DocumentError> errors;
        const GraphDocument document = GraphDocument::Load(path, errors);
        CHECK(JoinErrors(errors) == nothing);
        CHECK(document.ToText() == ReadBytes(path));
    }
}

TEST_CASE("Every document on the page about documents passes the check")
{
    const std::string page = ReadBytes(VARKLE_SOURCES "/docs/format.md");
    const std::string open = "```json\n";
    const TemporaryFolder folder;
    int count = 0;
    for (std::size_t at = page.find(open); at != std::string::npos; at = page.find(open, at + 1))
    {
        const std::size_t begin = at + open.size();
        WriteBytes(folder / "page.varkle", page.substr(begin, page.find("```", begin) - begin));
        const Outcome outcome = Program({"check", folder / "page.varkle"}).Run();
        CHECK(outcome.status == 0);
        CHECK(outcome.error == nothing);
        ++count;
    }
    CHECK(count == 3);
}

TEST_CASE("Every operator for pictures and models has a place in an example")
{
    std::set<std::string> used;
    for (const std::string& path : Graphs())
    {
        const auto document = nlohmann::json::parse(ReadBytes(path));
        for (const auto& op : document.at("operators"))
            used.insert(op.at("type"));
    }
    // Nothing to show: it passes nothing on yet.
    used.insert("Varkle.Model.Transform");

    const Outcome outcome = Program({"operators", "--json"}).Run();
    std::map<std::string, int> counts;
    for (const auto& op : nlohmann::json::parse(outcome.output))
    {
        const std::string category = op.at("category");
        if (category != "Texture" && category != "Mesh" && category != "Material" && category != "Model")
            continue;
        ++counts[category];
        const std::string type = op.at("type");
        INFO(type);
        CHECK(used.contains(type));
    }
    CHECK(counts["Texture"] >= 18);
    CHECK(counts["Mesh"] >= 10);
    CHECK(counts["Material"] >= 2);
    CHECK(counts["Model"] >= 2);
}

TEST_CASE("The model in the examples is a small file that the README's command makes")
{
    CHECK(std::filesystem::file_size(examples / "flower.glb") < 150'000);
    const TemporaryFolder folder;
    std::vector<std::string> command = RenderCommand(ReadBytes(VARKLE_SOURCES "/README.md"), "flower.varkle");
    REQUIRE(command.size() == 4);
    CHECK(command[3] == "examples/flower.glb");
    command[1] = VARKLE_SOURCES "/" + command[1];
    command[3] = "flower.glb";
    REQUIRE(Program(command).In(folder.GetPath()).Run().status == 0);
    CHECK(std::filesystem::file_size(folder / "flower.glb") == std::filesystem::file_size(examples / "flower.glb"));

    const std::string viewer = (examples / "model.varkle").string();
    const std::string path = "model.File Path=" + folder / "flower.glb";
    REQUIRE(Program({"render", viewer, "--output", "ours.png"}).In(folder.GetPath()).Run().status == 0);
    REQUIRE(Program({"render", viewer, "--set", path, "--output", "new.png"}).In(folder.GetPath()).Run().status == 0);
    CHECK(Compare(Decode(folder / "ours.png"), Decode(folder / "new.png")).mean < 0.1);
}

TEST_CASE("The examples that the README calls loops move and come back to where they began")
{
    const struct
    {
        const char* graph;
        int frames;
    } loops[] = {{"ripple.varkle", 60},
                 {"poster.varkle", 240},
                 {"dunes.varkle", 240},
                 {"landscape.varkle", 1200},
                 {"kaleidoscope.varkle", 1800}};
    for (const auto& [graph, frames] : loops)
    {
        INFO(graph);
        const Image first = Frame(graph, 0);
        CHECK(Compare(first, Frame(graph, frames / 2)).mean > 1.0);
        CHECK(Compare(first, Frame(graph, frames)).mean < 0.1);
    }
}
