#include "texture/SaveImage.h"
#include "Varkle/Core/Tasks.h"
#include "support/Catch.h"
#include "support/LogRecorder.h"
#include "support/OperatorRunner.h"
#include "support/TemporaryFolder.h"

#include <ctime>
#include <filesystem>
#include <set>
#include <thread>

using namespace Varkle;
using namespace Varkle::Testing;

namespace
{

namespace fs = std::filesystem;

// Waits until every save under way has ended and said how.
void FinishSaves()
{
    while (Graphics::HasReadBacks() || Tasks::HasWork())
    {
        if (!Graphics::WaitForReadBack(std::chrono::milliseconds(50)))
            Tasks::WaitForMainThreadTasks(std::chrono::milliseconds(50));
        Tasks::RunMainThreadTasks();
    }
}

// A Save Image in a graph of its own.
class Saver : public OperatorRunner<SaveImage>
{
public:
    explicit Saver(const std::string& folder) { Parameter<StringParameter>("Folder").SetValue(folder); }
    explicit Saver(const TemporaryFolder& folder) : Saver(folder.GetPath().string()) {}

    void SetName(std::string_view name) { Parameter<StringParameter>("File Name").SetValue(name); }
    void SetColor(Rgba8 color) { Connect("Texture Input", Filled({2, 2}, color)); }

    /// Presses Save and runs the graph; the save is under way afterwards.
    void Press()
    {
        Parameter<TriggerParameter>("Save").Trigger();
        Execute();
    }

    /// Saves a texture of one color, to the end.
    void SaveColor(Rgba8 color)
    {
        SetColor(color);
        Press();
        FinishSaves();
    }

    std::string NextName() { return GetOperator().NextFilePath().filename().string(); }
};

std::set<std::string> FilesIn(const TemporaryFolder& folder)
{
    std::set<std::string> names;
    for (const auto& entry : fs::directory_iterator(folder.GetPath()))
        names.insert(entry.path().filename().string());
    return names;
}

using Names = std::set<std::string>;
using Lines = std::vector<std::string>;

Rgba8 FirstPixel(const std::string& path)
{
    const Image image = Image::LoadFromFile(path);
    REQUIRE(image.IsValid());
    return At(image, 0, 0);
}

// A picture of 512 by 512 pixels that no format can make much smaller: a Weyl sequence's upper bits.
Image MakeNoise()
{
    std::vector<std::uint8_t> bytes(std::size_t(512) * 512 * 4);
    std::uint32_t value = 0;
    for (std::uint8_t& byte : bytes)
    {
        value += 0x9E3779B9U;
        byte = std::uint8_t((value ^ (value >> 13)) >> 11);
    }
    return {{512, 512}, std::move(bytes)};
}

} // namespace

TEST_CASE("Save Image writes the texture in every format, pixel by pixel, and logs each file")
{
    const std::vector<Rgba8> pixels = {{255, 0, 0, 255}, {0, 255, 0, 128}, {0, 0, 255, 1},
                                       {1, 2, 3, 0},     {90, 80, 70, 60}, {255, 255, 255, 255}};
    const struct
    {
        const char* format;
        const char* file;
    } cases[] = {{"PNG", "image.png"}, {"BMP", "image.bmp"}, {"TGA", "image.tga"}};
    for (const auto& [format, file] : cases)
    {
        INFO(format);
        const TemporaryFolder folder;
        const LogRecorder heard;
        Saver saver(folder);
        saver.SetEnum("Format", format);
        saver.Connect("Texture Input", MakeTexture({3, 2}, pixels));
        saver.Press();
        FinishSaves();
        CHECK(FilesIn(folder) == Names{file});
        const Image image = Image::LoadFromFile(folder / file);
        REQUIRE(image.GetWidth() == 3);
        REQUIRE(image.GetHeight() == 2);
        for (int i = 0; i < 6; ++i)
            CHECK(At(image, i % 3, i / 3) == pixels[std::size_t(i)]);
        CHECK(heard.lines == Lines{"info: Saved " + folder / file});
    }
}

TEST_CASE("Save Image as JPG drops alpha and keeps the color, also of transparent pixels")
{
    const TemporaryFolder folder;
    Saver saver(folder);
    saver.SetEnum("Format", "JPG");
    saver.Connect("Texture Input", Filled({16, 8}, {200, 100, 50, 0}));
    saver.Press();
    FinishSaves();
    CHECK(FilesIn(folder) == Names{"image.jpg"});
    const Image image = Image::LoadFromFile(folder / "image.jpg");
    CHECK(image.GetWidth() == 16);
    CHECK(image.GetHeight() == 8);
    CHECK(Near(At(image, 7, 4), {200, 100, 50, 255}, 3)); // quality 90 loses a little
}

TEST_CASE("Save Image writes only when Save fires, once each time")
{
    const TemporaryFolder folder;
    const LogRecorder heard;
    Saver saver(folder);
    saver.SetEnum("Numbering", "Counter");
    saver.SetColor({1, 2, 3, 255});
    saver.Execute();
    saver.SetColor({4, 5, 6, 255});
    saver.SetName("other");
    saver.SetEnum("Format", "BMP");
    saver.GetOperator().MarkDirty();
    saver.Execute();
    FinishSaves();
    CHECK(saver.Get().GetExecutionCount() == 0);
    CHECK_FALSE(saver.Get().Outdated());
    CHECK(folder.Count() == 0);

    saver.Parameter<TriggerParameter>("Save").Trigger();
    CHECK(saver.Get().Outdated());
    saver.Execute();
    CHECK_FALSE(saver.Get().Outdated());
    saver.SetColor({7, 8, 9, 255});
    saver.Execute();
    FinishSaves();
    CHECK(saver.Get().GetExecutionCount() == 1);
    CHECK(FilesIn(folder) == Names{"other_0000.bmp"});
    CHECK(FirstPixel(folder / "other_0000.bmp") == Rgba8{4, 5, 6, 255});
    CHECK(heard.lines.size() == 1);
}

TEST_CASE("Save Image without a texture, a folder or an existing folder says so once and writes nothing")
{
    const TemporaryFolder folder;
    WriteBytes(folder / "file", "x");
    const struct
    {
        std::string folder;
        bool texture;
        std::string line;
    } cases[] = {
        {folder.GetPath().string(), false, "error: Cannot save the image: there is no texture on the texture input."},
        {"", false, "error: Cannot save the image: there is no texture on the texture input."},
        {"", true, "error: Cannot save the image: no folder has been set."},
        {folder / "missing", true,
         "error: Cannot save the image: " + folder / "missing" + " is not an existing folder."},
        {folder / "file", true, "error: Cannot save the image: " + folder / "file" + " is not an existing folder."},
    };
    for (const auto& [target, texture, line] : cases)
    {
        INFO(line);
        const LogRecorder heard;
        Saver saver(target);
        if (texture)
            saver.SetColor({1, 2, 3, 255});
        else
            saver.Connect("Texture Input", {}); // connected, but with nothing to show
        saver.Press();
        saver.Execute();
        FinishSaves();
        CHECK(heard.lines == Lines{line});
        CHECK(FilesIn(folder) == Names{"file"});
    }
}

TEST_CASE("Save Image without numbering replaces a file of that name and leaves nothing else behind")
{
    const TemporaryFolder folder;
    WriteBytes(folder / "image.png", "an older file");
    Saver saver(folder);
    saver.SaveColor({10, 20, 30, 255});
    CHECK(FirstPixel(folder / "image.png") == Rgba8{10, 20, 30, 255});
    saver.SaveColor({40, 50, 60, 255});
    CHECK(FirstPixel(folder / "image.png") == Rgba8{40, 50, 60, 255});
    CHECK(folder.Count() == 1);
}

TEST_CASE("Save Image without numbering keeps the last of several pictures, though an earlier one takes longer")
{
    const TemporaryFolder folder;
    const LogRecorder heard;
    Saver saver(folder);
    for (int i = 0; i < 5; ++i)
    {
        saver.Connect("Texture Input", Texture::FromImage(MakeNoise(), false));
        saver.Press();
        saver.SetColor({std::uint8_t(i), 0, 0, 255});
        saver.Press();
    }
    FinishSaves();
    CHECK(FirstPixel(folder / "image.png") == Rgba8{4, 0, 0, 255});
    // Each says what became of it, and the file holds the one that said so last.
    REQUIRE(heard.lines.size() == 10);
    for (const std::string& line : heard.lines)
        CHECK((line == "info: Saved " + folder / "image.png" ||
               line == "info: Not saved, as a later picture is there by now: " + folder / "image.png"));
    CHECK(heard.Contains("Saved "));
}

TEST_CASE("Save Image takes the next number when another process wrote the file while the save was under way")
{
    const TemporaryFolder folder;
    const LogRecorder heard;
    Saver saver(folder);
    saver.SetEnum("Numbering", "Counter");
    saver.SetColor({1, 0, 0, 255});
    saver.Press();
    WriteBytes(folder / "image_0000.png", "another's");
    WriteBytes(folder / "image_0001.png", "another's");
    FinishSaves();
    CHECK(heard.lines == Lines{"info: Saved " + folder / "image_0002.png"});
    CHECK(ReadBytes(folder / "image_0000.png") == "another's");
    CHECK(FirstPixel(folder / "image_0002.png").r == 1);
    saver.SaveColor({2, 0, 0, 255});
    CHECK(FirstPixel(folder / "image_0003.png").r == 2);
}

TEST_CASE("Save Image says that no number is left when another process takes the last one")
{
    const TemporaryFolder folder;
    const LogRecorder heard;
    Saver saver(folder);
    saver.SetEnum("Numbering", "Counter");
    for (int i = 0; i < 99999; ++i)
        saver.NextName();
    saver.SetColor({1, 0, 0, 255});
    saver.Press();
    WriteBytes(folder / "image_99999.png", "another's");
    FinishSaves();
    CHECK(heard.lines == Lines{"error: Cannot save the image: no unused number is left for image in " +
                               folder.GetPath().string() + "."});
    CHECK(folder.Count() == 1);
}

TEST_CASE("Timestamps differ also where the clock stands still, and follow one that is set back")
{
    using std::chrono::milliseconds;
    const StampClock::Time noon{milliseconds(43'200'000)};
    StampClock clock;
    CHECK(clock.Take(noon) == noon);
    for (int i = 1; i < 5000; ++i)
        REQUIRE(clock.Take(noon) == noon + milliseconds(i));
    CHECK(clock.Take(noon + milliseconds(10)) == noon + milliseconds(5000));
    CHECK(clock.Take(noon + milliseconds(9000)) == noon + milliseconds(9000));

    const StampClock::Time morning{milliseconds(36'000'000)};
    CHECK(clock.Take(morning) == morning);
    CHECK(clock.Take(morning) == morning + milliseconds(1));
}

TEST_CASE("Save Image with a counter passes over numbers that files have")
{
    const TemporaryFolder folder;
    for (const char* const name : {"image_0000.png", "image_0001.png", "image_0003.png", "image_0004.jpg"})
        WriteBytes(folder / name, "taken");
    Saver saver(folder);
    saver.SetEnum("Numbering", "Counter");
    saver.SaveColor({2, 0, 0, 255});
    saver.SaveColor({4, 0, 0, 255});
    CHECK(FirstPixel(folder / "image_0002.png").r == 2);
    CHECK(FirstPixel(folder / "image_0004.png").r == 4);
    CHECK(folder.Count() == 6);
    CHECK(ReadBytes(folder / "image_0003.png") == "taken");
}

TEST_CASE("Save Image with a counter never goes back, a new operator starts at 0")
{
    const TemporaryFolder folder;
    Saver saver(folder);
    saver.SetEnum("Numbering", "Counter");
    saver.SaveColor({1, 0, 0, 255});
    saver.SaveColor({2, 0, 0, 255});
    fs::remove(folder / "image_0000.png");
    fs::remove(folder / "image_0001.png");
    saver.SetName("other");
    saver.SaveColor({3, 0, 0, 255});
    CHECK(FilesIn(folder) == Names{"other_0002.png"});

    Saver next(folder);
    next.SetEnum("Numbering", "Counter");
    next.SaveColor({4, 0, 0, 255});
    CHECK(FilesIn(folder) == Names{"image_0000.png", "other_0002.png"});
}

TEST_CASE("Save Image with a counter uses up the number of a save that fails")
{
    const TemporaryFolder folder;
    Saver saver(folder);
    saver.SetEnum("Numbering", "Counter");
    saver.SetName("missing/image");
    saver.SaveColor({1, 0, 0, 255});
    saver.SetName("image");
    saver.SaveColor({1, 0, 0, 255});
    CHECK(FilesIn(folder) == Names{"image_0001.png"});
}

TEST_CASE("Save Image counts with at least four digits up to 99999, and then says that no number is left")
{
    const TemporaryFolder folder;
    const LogRecorder heard;
    Saver saver(folder);
    saver.SetEnum("Numbering", "Counter");
    CHECK(saver.NextName() == "image_0000.png");
    for (int i = 1; i < 9999; ++i)
        saver.NextName();
    CHECK(saver.NextName() == "image_9999.png");
    CHECK(saver.NextName() == "image_10000.png");
    for (int i = 10001; i < 99999; ++i)
        saver.NextName();
    CHECK(saver.NextName() == "image_99999.png");
    CHECK(heard.lines.empty());

    const std::string line =
        "error: Cannot save the image: no unused number is left for image in " + folder.GetPath().string() + ".";
    CHECK(saver.NextName().empty());
    CHECK(heard.lines == Lines{line});
    saver.SaveColor({1, 2, 3, 255});
    CHECK(heard.lines == Lines{line, line});
    CHECK(folder.Count() == 0);

    saver.SetEnum("Numbering", "Off");
    CHECK(saver.NextName() == "image.png");
}

TEST_CASE("Save Image gives up its search for a free number when the last one is taken")
{
    const TemporaryFolder folder;
    const LogRecorder heard;
    Saver saver(folder);
    saver.SetEnum("Numbering", "Counter");
    for (int i = 0; i < 99998; ++i)
        saver.NextName();
    WriteBytes(folder / "image_99998.png", "taken");
    WriteBytes(folder / "image_99999.png", "taken");
    saver.SaveColor({1, 2, 3, 255});
    REQUIRE(heard.lines.size() == 1);
    CHECK(heard.Contains("no unused number is left"));
    CHECK(ReadBytes(folder / "image_99999.png") == "taken");
}

TEST_CASE("Two Save Image operators that count in one folder take different numbers, also while both are under way")
{
    const TemporaryFolder folder;
    Saver first(folder);
    Saver second(folder);
    for (Saver* const saver : {&first, &second})
        saver->SetEnum("Numbering", "Counter");
    first.SetColor({1, 0, 0, 255});
    second.SetColor({2, 0, 0, 255});
    first.Press();
    second.Press();
    first.Press();
    FinishSaves();
    CHECK(FilesIn(folder) == Names{"image_0000.png", "image_0001.png", "image_0002.png"});
    CHECK(FirstPixel(folder / "image_0000.png").r == 1);
    CHECK(FirstPixel(folder / "image_0001.png").r == 2);
    CHECK(FirstPixel(folder / "image_0002.png").r == 1);

    // What has ended is no obstacle any more.
    fs::remove(folder / "image_0000.png");
    Saver third(folder);
    third.SetEnum("Numbering", "Counter");
    CHECK(third.NextName() == "image_0000.png");
}

TEST_CASE("Save Image with a timestamp adds the local time to the millisecond")
{
    const TemporaryFolder folder;
    Saver saver(folder);
    saver.SetEnum("Numbering", "Timestamp");
    const std::time_t before = std::time(nullptr);
    const std::string name = saver.NextName();
    const std::time_t after = std::time(nullptr);

    std::tm date = {};
    int milliseconds = -1;
    int end = 0;
    REQUIRE(std::sscanf(name.c_str(), "image_%4d-%2d-%2d_%2d-%2d-%2d-%3d.png%n", &date.tm_year, &date.tm_mon,
                        &date.tm_mday, &date.tm_hour, &date.tm_min, &date.tm_sec, &milliseconds, &end) == 7);
    CHECK(end == int(name.size()));
    CHECK(name.size() == std::string("image_2026-09-09_14-32-05-123.png").size());
    CHECK(milliseconds >= 0);
    date.tm_year -= 1900;
    date.tm_mon -= 1;
    date.tm_isdst = -1;
    const std::time_t stamped = std::mktime(&date);
    CHECK(stamped >= before);
    CHECK(stamped <= after);
}

TEST_CASE("Save Image with a timestamp never takes the same name twice, whichever operator asks")
{
    const TemporaryFolder folder;
    Saver first(folder);
    Saver second(folder);
    Names names;
    for (int i = 0; i < 10; ++i)
    {
        for (Saver* const saver : {&first, &second})
        {
            saver->SetEnum("Numbering", "Timestamp");
            saver->SetColor({1, 2, 3, 255});
            saver->Press();
            names.insert(saver->NextName());
        }
    }
    FinishSaves();
    CHECK(names.size() == 20);
    CHECK(folder.Count() == 20);
}

TEST_CASE("Save Image takes an empty name for \"image\", and choices that it does not know for the first")
{
    const TemporaryFolder folder;
    Saver saver(folder);
    saver.SetName("");
    CHECK(saver.NextName() == "image.png");
    saver.SetEnum("Format", "JPG");
    saver.SetEnum("Numbering", "Counter");
    CHECK(saver.NextName() == "image_0000.jpg");
    saver.SetEnum("Format", "WebP");
    saver.SetEnum("Numbering", "Dice");
    CHECK(saver.NextName() == "image.png");
}

TEST_CASE("Save Image takes a format whose place is no image format for PNG")
{
    const TemporaryFolder folder;
    Saver saver(folder);
    saver.Parameter<EnumParameter>("Format").SetPossibleValues({"PNG", "JPG", "BMP", "TGA", "GIF"}, {});
    saver.SetEnum("Format", "GIF");
    CHECK(saver.NextName() == "image.png");
}

TEST_CASE("Save Image writes names with blanks, points, percent signs and letters of any language")
{
    const TemporaryFolder folder;
    const LogRecorder heard;
    fs::create_directory(folder / "Bilder für später");
    Saver saver(folder / "Bilder für später");
    Names names;
    for (const std::string name : {"a b", "v1.2", "100%d", "Größe", "港", ".hidden"})
    {
        saver.SetName(name);
        saver.SaveColor({1, 2, 3, 255});
        CHECK(FirstPixel(folder / "Bilder für später/" + name + ".png") == Rgba8{1, 2, 3, 255});
        CHECK(heard.lines.back() == "info: Saved " + folder / "Bilder für später/" + name + ".png");
    }
}

TEST_CASE("Save Image takes slashes in the name for folders, which have to exist")
{
    const TemporaryFolder folder;
    const LogRecorder heard;
    fs::create_directories(folder / "stills/day 1");
    Saver saver(folder / "stills");
    for (const std::string name : {"day 1/a", "../b", "day 1/../c", "day 2/d"})
    {
        saver.SetName(name);
        saver.SaveColor({1, 2, 3, 255});
    }
    saver.SetName(folder / "e"); // a whole path
    saver.SaveColor({1, 2, 3, 255});
    const std::string stills = folder / "stills/";
    CHECK(heard.lines == Lines{"info: Saved " + stills + "day 1/a.png", "info: Saved " + stills + "../b.png",
                               "info: Saved " + stills + "day 1/../c.png",
                               "error: SaveImage: could not open " + stills + "day 2/d.png for writing.",
                               "info: Saved " + folder / "e.png"});
    for (const char* const name : {"stills/day 1/a.png", "b.png", "stills/c.png", "e.png"})
        CHECK(fs::exists(folder / name));
    CHECK_FALSE(fs::exists(folder / "stills/day 2"));
}

TEST_CASE("Save Image says when a file can't be opened")
{
    const TemporaryFolder folder;
    fs::create_directory(folder / "image.png");
    const struct
    {
        std::string folder;
        std::string name;
    } cases[] = {
        {folder.GetPath().string(), "image"},               // a folder has that name
        {folder.GetPath().string(), std::string(300, 'x')}, // longer than names may be
        {folder.GetPath().string(), std::string("a\0b", 3)},
        {"/proc", "image"}, // nobody may make files there
    };
    for (const auto& [target, name] : cases)
    {
        const LogRecorder heard;
        Saver saver(target);
        saver.SetName(name);
        saver.SaveColor({1, 2, 3, 255});
        const std::string path = (fs::path(target) / (name + ".png")).string();
        CHECK(heard.lines == Lines{"error: SaveImage: could not open " + path + " for writing."});
    }
    CHECK(folder.Count() == 1);
}

TEST_CASE("Save Image says when a file can't be written")
{
    const TemporaryFolder folder;
    fs::create_symlink("/dev/full", folder / "image.png"); // a device without room
    const LogRecorder heard;
    Saver saver(folder);
    saver.SaveColor({1, 2, 3, 255});
    CHECK(heard.lines == Lines{"error: Could not write " + folder / "image.png"});
    CHECK(folder.Count() == 1);
}

TEST_CASE("Save Image says when the folder went away after Save was pressed, and does not make it again")
{
    const TemporaryFolder folder;
    const LogRecorder heard;
    fs::create_directory(folder / "stills");
    Saver saver(folder / "stills");
    saver.SetColor({1, 2, 3, 255});
    saver.Press();
    fs::remove(folder / "stills");
    FinishSaves();
    CHECK(heard.lines == Lines{"error: SaveImage: could not open " + folder / "stills/image.png for writing."});
    CHECK(folder.Count() == 0);
}

TEST_CASE("Save Image says when the pixels can't be read back, and keeps the file that is there")
{
    const TemporaryFolder folder;
    WriteBytes(folder / "image.png", "old");
    const LogRecorder heard;
    Saver saver(folder);
    SECTION("because the texture holds integers")
    {
        saver.Connect("Texture Input", Texture::Create({2, 2}, wgpu::TextureFormat::RGBA8Uint));
        saver.Press();
    }
    SECTION("because the device goes")
    {
        saver.SetColor({1, 2, 3, 255});
        saver.Press();
        Graphics::GetDevice().Destroy();
        saver.Connect("Texture Input", {});
        Graphics::Shutdown();
    }
    FinishSaves();
    CHECK(heard.Contains("error: Could not save " + folder / "image.png" +
                         ": the image could not be encoded in this format."));
    CHECK_FALSE(heard.Contains("Saved"));
    CHECK(ReadBytes(folder / "image.png") == "old");
    CHECK(folder.Count() == 1);
}

TEST_CASE("Save Image finishes what is under way when the operator or its graph is deleted")
{
    const TemporaryFolder folder;
    const LogRecorder heard;
    {
        Saver saver(folder);
        saver.SetEnum("Numbering", "Counter");
        for (int i = 0; i < 3; ++i)
        {
            saver.SetColor({std::uint8_t(i), 0, 0, 255});
            saver.Press();
        }
        saver.GetGraph().Remove(&saver.Get());
    }
    {
        Saver saver(folder);
        saver.SetName("other");
        saver.SetColor({7, 0, 0, 255});
        saver.Press();
    }
    FinishSaves();
    REQUIRE(FilesIn(folder) == Names{"image_0000.png", "image_0001.png", "image_0002.png", "other.png"});
    CHECK(FirstPixel(folder / "image_0000.png").r == 0);
    CHECK(FirstPixel(folder / "image_0002.png").r == 2);
    CHECK(FirstPixel(folder / "other.png").r == 7);
    CHECK(heard.lines.size() == 4);
}

TEST_CASE("Save Image writes what the input showed when Save was pressed")
{
    const TemporaryFolder folder;
    Saver saver(folder);
    saver.SetColor({1, 2, 3, 255});
    saver.Press();
    saver.SetColor({4, 5, 6, 255});
    saver.SetName("later");
    saver.SetEnum("Format", "BMP");
    saver.Execute();
    FinishSaves();
    CHECK(FilesIn(folder) == Names{"image.png"});
    CHECK(FirstPixel(folder / "image.png") == Rgba8{1, 2, 3, 255});
}

TEST_CASE("Save Image reports on the main thread")
{
    const TemporaryFolder folder;
    fs::create_symlink("/dev/full", folder / "full.png");
    fs::create_directory(folder / "folder.png");
    std::vector<std::thread::id> threads;
    const LogListener listener([&](const LogLine&) { threads.push_back(std::this_thread::get_id()); });
    Saver saver(folder);
    for (const char* const name : {"image", "full", "folder"})
    {
        saver.SetName(name);
        saver.SaveColor({1, 2, 3, 255});
    }
    saver.Connect("Texture Input", Texture::Create({2, 2}, wgpu::TextureFormat::RGBA8Uint));
    saver.Press();
    FinishSaves();
    CHECK(threads == std::vector<std::thread::id>(4, std::this_thread::get_id()));
}

TEST_CASE("Save Image has the parameters and defaults of its document, and no output")
{
    Saver saver("");
    std::vector<std::string> names;
    for (const Varkle::Parameter* const parameter : saver.Get().GetParameters())
        names.push_back(parameter->GetName());
    CHECK(names == Lines{"Folder", "File Name", "Format", "Numbering", "Save"});
    CHECK(saver.Parameter<StringParameter>("Folder").GetEditorType() == StringParameter::EditorType::Folder);
    CHECK(saver.Parameter<StringParameter>("File Name").Value() == "image");
    CHECK(saver.Parameter<StringParameter>("File Name").GetEditorType() == StringParameter::EditorType::SingleLine);
    CHECK(saver.Parameter<EnumParameter>("Format").GetPossibleValues() == Lines{"PNG", "JPG", "BMP", "TGA"});
    CHECK(saver.Parameter<EnumParameter>("Format").Value() == "PNG");
    CHECK(saver.Parameter<EnumParameter>("Numbering").GetPossibleValues() == Lines{"Off", "Counter", "Timestamp"});
    CHECK(saver.Parameter<EnumParameter>("Numbering").Value() == "Off");
    CHECK_FALSE(saver.Parameter<TriggerParameter>("Save").IsTriggered());
    CHECK(saver.Get().GetOutputs().empty());
    CHECK(saver.Get().GetInputs().size() == 1);
    CHECK(SaveImage::Type()->GetId() == "Varkle.Texture.SaveImage");
    CHECK(saver.Get().GetType() == SaveImage::Type());
}
