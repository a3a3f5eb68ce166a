#include "texture/LoadImage.h"
#include "Varkle/Core/FileWriting.h"
#include "support/Catch.h"
#include "support/LogRecorder.h"
#include "support/OperatorRunner.h"
#include "support/TemporaryFolder.h"
#include "texture/ImageLoading.h"

using namespace Varkle;
using namespace Varkle::Testing;

namespace
{

void WritePng(const std::string& path, const Image& image)
{
    const std::vector<std::uint8_t> bytes = image.Encode(ImageFormat::Png);
    REQUIRE(WriteFileAtomically(path, {reinterpret_cast<const char*>(bytes.data()), bytes.size()}));
}

} // namespace

TEST_CASE("Load Image gives a texture of the picture's size and pixels")
{
    const TemporaryFolder folder;
    WritePng(folder / "two.png", MakeImage({2, 1}, {{1, 2, 3, 4}, {250, 251, 252, 253}}));
    OperatorRunner<LoadImage> runner;
    runner.GetOperator().SetPath(folder / "two.png");
    const Image result = runner.Run();
    REQUIRE(result.GetWidth() == 2);
    REQUIRE(result.GetHeight() == 1);
    CHECK(At(result, 0, 0) == Rgba8{1, 2, 3, 4});
    CHECK(At(result, 1, 0) == Rgba8{250, 251, 252, 253});
}

TEST_CASE("Load Image with an empty path, a missing file or a text file carries nothing and says nothing")
{
    const TemporaryFolder folder;
    REQUIRE(WriteFileAtomically(folder / "note.png", "this is no picture"));
    const LogRecorder heard;
    OperatorRunner<LoadImage> runner;
    for (const std::string& path :
         {std::string(), folder / "missing.png", folder / "note.png", folder.GetPath().string()})
    {
        runner.GetOperator().SetPath(path);
        runner.Execute();
        CHECK_FALSE(runner.Output());
    }
    CHECK(heard.lines.empty());
}

TEST_CASE("Load Image keeps its last picture when the next can't be loaded")
{
    const TemporaryFolder folder;
    WritePng(folder / "one.png", MakeImage({1, 1}, {{9, 8, 7, 6}}));
    OperatorRunner<LoadImage> runner;
    runner.GetOperator().SetPath(folder / "one.png");
    runner.Execute();
    const Texture first = runner.Output();
    REQUIRE(first);
    runner.GetOperator().SetPath(folder / "missing.png");
    runner.Execute();
    CHECK(runner.Output() == first);
}

TEST_CASE("Load Image loads again only when its path changes")
{
    const TemporaryFolder folder;
    WritePng(folder / "one.png", MakeImage({1, 1}, {{9, 8, 7, 6}}));
    OperatorRunner<LoadImage> runner;
    runner.GetOperator().SetPath(folder / "one.png");
    runner.Execute();
    runner.Execute();
    CHECK(runner.Get().GetExecutionCount() == 1);
}

TEST_CASE("Load Image offers its path as a file path")
{
    OperatorRunner<LoadImage> runner;
    CHECK(runner.Parameter<StringParameter>("Path").GetEditorType() == StringParameter::EditorType::FilePath);
    CHECK(runner.Parameter<StringParameter>("Path").Value().empty());
}

TEST_CASE("A picture in memory becomes a texture, bytes that are no picture become nothing")
{
    const std::vector<std::uint8_t> png =
        MakeImage({3, 2}, std::vector<Rgba8>(6, {5, 6, 7, 8})).Encode(ImageFormat::Png);
    const std::optional<Texture> texture = LoadTextureFromMemory(png.data(), png.size());
    REQUIRE(texture);
    CHECK(texture->GetWidth() == 3);
    CHECK(At(ReadBack(*texture), 2, 1) == Rgba8{5, 6, 7, 8});
    CHECK_FALSE(LoadTextureFromMemory(png.data(), png.size() / 2));
    CHECK_FALSE(LoadTextureFromMemory(png.data(), 0));
}
