#include "app/Documents.h"
#include "app/Pictures.h"
#include "app/ProgramRunner.h"
#include "support/Catch.h"

#include <cmath>
#include <string>
#include <vector>

// Pictures of meshes, models and materials: "render" with --size, --camera and --background.

using namespace Varkle;
using namespace Varkle::Testing;

namespace
{

const std::string cube = R"({"key": "box", "type": "Varkle.Mesh.Cube"})";
const std::string redPaint = R"({"key": "paint", "type": "Varkle.Material.UnlitMaterial",)"
                             R"( "parameters": {"Base Color": [1, 0, 0]}})";
const std::string redCube = cube + ", " + redPaint +
                            R"(, {"key": "red", "type": "Varkle.Mesh.SetMaterial",)"
                            R"( "inputs": {"Mesh Input": "box", "Material Input": "paint"}})";

Outcome Render(const TemporaryFolder& folder, const std::string& operators, const std::vector<std::string>& arguments)
{
    WriteBytes(folder / "graph.varkle", Document(operators));
    return Program(Joined({"render", "graph.varkle"}, arguments)).In(folder.GetPath()).Run();
}

void CheckIsSilent(const Outcome& outcome)
{
    CHECK(outcome.status == 0);
    CHECK(outcome.output == nothing);
    CHECK(outcome.error == nothing);
}

void CheckRefuses(const std::vector<std::string>& arguments, const std::string& message)
{
    const TemporaryFolder folder;
    const Outcome outcome = Render(folder, cube, Joined({"--output", "a.png"}, arguments));
    CHECK(outcome.status == 1);
    CHECK(outcome.output == nothing);
    CHECK(outcome.error == "error: " + message + "\n");
    CHECK_FALSE(std::filesystem::exists(folder / "a.png"));
}

// Returns how many pixels of the middle row are red.
int RedWidth(const Image& image)
{
    int width = 0;
    for (int x = 0; x < image.GetWidth(); ++x)
        width += At(image, x, image.GetHeight() / 2) == Rgba8{255, 0, 0, 255} ? 1 : 0;
    return width;
}

} // namespace

TEST_CASE("A mesh is drawn as a picture when the file's extension asks for one")
{
    const TemporaryFolder folder;
    CheckIsSilent(Render(folder, cube, {"--output", "cube.png"}));
    CHECK(Identify(folder / "cube.png") == "PNG 1024 1024 srgba");
    const Image image = Decode(folder / "cube.png");
    CHECK(At(image, 0, 0) == Rgba8{56, 56, 56, 255}); // the background
    // The cube: a lit gray on all three sides that are seen, the top brightest.
    const Rgba8 left = At(image, 370, 560);
    const Rgba8 right = At(image, 750, 540);
    const Rgba8 top = At(image, 490, 260);
    INFO(left << ' ' << right << ' ' << top);
    CHECK((left.r == left.g && left.g == left.b));
    CHECK((right.r > 80 && left.r > right.r && top.r > left.r && top.r < 230));
}

TEST_CASE("A material is drawn on a sphere, to a picture by default")
{
    const TemporaryFolder folder;
    CheckIsSilent(Render(folder, redPaint, {"--size", "40x20"}));
    CHECK(Identify(folder / "paint.png") == "PNG 40 20 srgba");
    const Image image = Decode(folder / "paint.png");
    const int width = RedWidth(image);
    INFO(width);
    CHECK((width >= 16 && width <= 19));
    CHECK(At(image, 11, 1) == Rgba8{56, 56, 56, 255});
}

TEST_CASE("A model is drawn with its materials, from a .glb that was written before")
{
    const TemporaryFolder folder;
    CheckIsSilent(Render(folder, redCube, {"--output", "red.glb"}));
    const std::string model = R"({"key": "model", "type": "Varkle.Model.Load3DModel",)"
                              R"( "parameters": {"File Path": "red.glb"}})";
    CheckIsSilent(Render(folder, model, {"--output", "model.bmp", "--size", "20x20", "--camera", "0,0"}));
    const Image image = Decode(folder / "model.bmp");
    CHECK(At(image, 0, 0).r == 56);
    CHECK(At(image, 10, 10) != At(image, 0, 0));
}

TEST_CASE("The camera turns, lifts, and stands at a distance")
{
    const TemporaryFolder folder;
    const auto width = [&](const std::string& camera)
    {
        CheckIsSilent(Render(folder, redCube, {"--output", "a.png", "--size", "100x100", "--camera", camera}));
        return RedWidth(Decode(folder / "a.png"));
    };
    // The near side of the cube, at half a unit before the center, is as wide as the picture sees there.
    const auto expected = [](double distance)
    { return int(std::lround(50.0 / ((distance - 0.5) * std::tan(3.14159265 / 12.0)))); };
    CHECK(std::abs(width("0,0,5") - expected(5)) <= 1);
    CHECK(std::abs(width("90,0,8") - expected(8)) <= 1);
    CHECK(std::abs(width("-180,0,8.5") - expected(8.5)) <= 1);
    CHECK(std::abs(width("0,90,8") - expected(8)) <= 1);
    CHECK(width("45,0,8") > expected(8) + 5); // over its edge
}

TEST_CASE("The background takes any color, and keeps its alpha")
{
    const TemporaryFolder folder;
    const std::vector<std::string> common{"--output", "a.png", "--size", "16x16", "--camera", "0,0,5", "--background"};
    CheckIsSilent(Render(folder, redCube, Joined(common, {"#1020ff"})));
    CHECK(FirstPixel(folder / "a.png") == Rgba8{16, 32, 255, 255});
    CheckIsSilent(Render(folder, redCube, Joined(common, {"#10203080"})));
    CHECK(FirstPixel(folder / "a.png") == Rgba8{16, 32, 48, 128});
    CHECK(At(Decode(folder / "a.png"), 8, 8) == Rgba8{255, 0, 0, 255});
}

TEST_CASE("Every frame is drawn anew, as files of their own or as a video")
{
    const TemporaryFolder folder;
    const std::string growing = redCube + R"(, {"key": "grown", "type": "Varkle.Mesh.Transform",)"
                                          R"( "inputs": {"Mesh Input": "red"},)"
                                          R"( "parameters": {"Transform": {"scale": ["1 + frame", 1, 1]}}})";
    const std::vector<std::string> common{"--frames", "2", "--size", "100x100", "--camera", "0,0,20"};
    CheckIsSilent(Render(folder, growing, Joined(common, {"--output", "a_{frame}.png"})));
    const int first = RedWidth(Decode(folder / "a_0.png"));
    const int second = RedWidth(Decode(folder / "a_1.png"));
    INFO(first << ' ' << second);
    CHECK(std::abs(second - 2 * first) <= 2);

    CheckIsSilent(Render(folder, growing, Joined(common, {"--output", "a.mp4"})));
    CHECK(std::filesystem::file_size(folder / "a.mp4") > 0);
}

TEST_CASE("The same picture has the same bytes each time")
{
    const TemporaryFolder folder;
    CheckIsSilent(Render(folder, cube, {"--output", "a.png", "--size", "200x150"}));
    CheckIsSilent(Render(folder, cube, {"--output", "b.png", "--size", "200x150"}));
    CHECK(ReadBytes(folder / "a.png") == ReadBytes(folder / "b.png"));
}

TEST_CASE("Wrong sizes, cameras and backgrounds are refused with what they should be")
{
    for (const std::string size : {"100", "0x5", "-3x5", "axb", "10x10x10", "10X10", "40000x10", "10x"})
        CheckRefuses({"--size", size},
                     "--size \"" + size + "\": it must be WIDTHxHEIGHT in pixels, 1 to 32768 each, as 1920x1080.");
    CheckRefuses(
        {"--size", "12000x12000"},
        "--size \"12000x12000\": these are 144000000 pixels, and a picture that is drawn has 120000000 at most, "
        "as 12000x10000.");
    for (const std::string camera : {"30", "a,b", "1,2,3,4", "nan,0", "inf,0", "1,,2", "30, 20"})
        CheckRefuses({"--camera=" + camera}, "--camera \"" + camera +
                                                 "\": it must be YAW,PITCH in degrees, as 30,20, or "
                                                 "YAW,PITCH,DISTANCE.");
    for (const std::string camera : {"30,20,0", "30,20,-1"})
        CheckRefuses({"--camera=" + camera}, "--camera \"" + camera + "\": the distance must be above 0.");
    for (const std::string color : {"red", "#12345", "#1234567", "#gg0000", "112233"})
        CheckRefuses({"--background", color},
                     "--background \"" + color + "\": it must be a color as \"#rrggbb\" or \"#rrggbbaa\".");
}

TEST_CASE("Options of pictures are refused where no mesh, model or material is drawn")
{
    const TemporaryFolder folder;
    const Outcome mesh = Render(folder, cube, {"--size", "10x10"});
    CHECK(mesh.status == 1);
    CHECK(mesh.error == "error: --size: it is for pictures of meshes, models and materials, and this run draws none: "
                        "with --output box.png it would.\n");
    const Outcome texture = Render(folder, ColorOperator("a", "[1, 0, 0]"), {"--background", "#000000"});
    CHECK(texture.status == 1);
    CHECK(texture.error ==
          "error: --background: it is for pictures of meshes, models and materials, and this run draws none.\n");
}
