#include "texture/SaveImage.h"

#include "Varkle/Core/FileWriting.h"
#include "Varkle/Core/Log.h"
#include "Varkle/Core/Tasks.h"

#include <array>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <map>
#include <memory>
#include <optional>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

namespace Varkle
{

namespace
{

namespace fs = std::filesystem;

const std::vector<std::string> FormatValues = {"PNG", "JPG", "BMP", "TGA"}; // by ImageFormat

constexpr std::uint32_t NumbersEnd = 100000;

// Is a file that saves are under way to.
struct Destination
{
    fs::path path;
    unsigned long asked = 0;   // how many saves were asked for; the main thread's
    unsigned long written = 0; // which of them is in the file, 0 for none; the file thread's
};

// Is one of those saves. It owns all that is needed, as the operator may be gone when the file is written.
struct Save
{
    std::shared_ptr<Destination> file;
    unsigned long number = 0;
};

// Main thread only.
std::map<fs::path, std::weak_ptr<Destination>>& GetDestinations()
{
    static std::map<fs::path, std::weak_ptr<Destination>> destinations;
    return destinations;
}

bool IsUnderWay(const fs::path& path)
{
    const auto found = GetDestinations().find(path);
    return found != GetDestinations().end() && !found->second.expired();
}

Save BeginSave(const fs::path& path)
{
    std::erase_if(GetDestinations(), [](const auto& entry) { return entry.second.expired(); });
    std::weak_ptr<Destination>& known = GetDestinations()[path];
    std::shared_ptr<Destination> file = known.lock();
    if (!file)
        known = file = std::make_shared<Destination>(Destination{path});
    const unsigned long number = ++file->asked;
    return {std::move(file), number};
}

std::string FourDigits(std::uint32_t number)
{
    std::array<char, 16> text = {};
    std::snprintf(text.data(), text.size(), "%04u", number);
    return text.data();
}

// Returns the local time to the millisecond, "2026-09-09_14-32-05-123". No two calls return the same: the second save
// of a millisecond waits for the next one.
std::string TakeTimestamp()
{
    using namespace std::chrono;
    static sys_time<milliseconds> last;
    sys_time<milliseconds> now = floor<milliseconds>(system_clock::now());
    for (; now == last; now = floor<milliseconds>(system_clock::now()))
        std::this_thread::sleep_for(microseconds(50));
    last = now;

    const auto second = floor<seconds>(now);
    const std::time_t time = system_clock::to_time_t(second);
    std::tm local = {};
    localtime_r(&time, &local);
    std::array<char, 64> date = {};
    std::strftime(date.data(), date.size(), "%Y-%m-%d_%H-%M-%S", &local);
    std::array<char, 16> fraction = {};
    std::snprintf(fraction.data(), fraction.size(), "-%03d", int((now - second).count()));
    return std::string(date.data()) + fraction.data();
}

void LogOnMainThread(void (*log)(std::string_view), std::string text)
{
    Tasks::RunOnMainThread([log, text = std::move(text)] { log(text); });
}

void Write(const std::vector<std::uint8_t>& bytes, const Save& save)
{
    const std::string path = save.file->path.string();
    // A later picture for the same file may have been encoded faster. This one has been replaced by it, then.
    if (save.number > save.file->written)
    {
        const std::string_view text(reinterpret_cast<const char*>(bytes.data()), bytes.size());
        if (const std::optional<FileError> error = TryToWriteFileAtomically(path, text))
        {
            LogOnMainThread(LogError, error->opened ? "Could not write " + path
                                                    : "SaveImage: could not open " + path + " for writing.");
            return;
        }
        save.file->written = save.number;
    }
    LogOnMainThread(LogInfo, "Saved " + path);
}

void EncodeAndWrite(const Image& image, ImageFormat format, const Save& save)
{
    std::vector<std::uint8_t> bytes = image.Encode(format);
    if (bytes.empty())
    {
        LogOnMainThread(LogError, "Could not save " + save.file->path.string() +
                                      ": the image could not be encoded in this format.");
        return;
    }
    Tasks::RunInBackground(Tasks::Kind::FileIo, [bytes = std::move(bytes), save] { Write(bytes, save); });
}

} // namespace

SaveImage::SaveImage()
{
    folder.SetEditorType(StringParameter::EditorType::Folder);
    format.SetPossibleValues(FormatValues, {});
    numbering.SetPossibleValues({"Off", "Counter", "Timestamp"}, {});
}

SaveImage::~SaveImage() = default;

const ObjectType* SaveImage::Type()
{
    static const ObjectType type("Varkle.Texture.SaveImage", Operator::Type(), [] { return new SaveImage; });
    return &type;
}

void SaveImage::Execute(ExecutionContext&)
{
    if (!save.IsTriggered())
        return;
    if (!textureInput.HasTexture())
    {
        LogError("Cannot save the image: there is no texture on the texture input.");
        return;
    }
    const fs::path path = NextFilePath();
    if (path.empty())
        return;
    textureInput.GetTexture().ReadPixelsAsync(
        [started = BeginSave(path), as = GetFormat()](const Image& image) {
            Tasks::RunInBackground(Tasks::Kind::Compute, [image, as, started] { EncodeAndWrite(image, as, started); });
        });
}

fs::path SaveImage::NextFilePath()
{
    if (folder.Value().empty())
    {
        LogError("Cannot save the image: no folder has been set.");
        return {};
    }
    std::error_code code;
    if (!fs::is_directory(folder.Value(), code))
    {
        LogError("Cannot save the image: " + folder.Value() + " is not an existing folder.");
        return {};
    }
    switch (numbering.GetIndexOr(0))
    {
    case 1:
        return NextNumberedPath();
    case 2:
        return MakePath("_" + TakeTimestamp());
    default:
        return MakePath({});
    }
}

fs::path SaveImage::NextNumberedPath()
{
    while (counter < NumbersEnd)
    {
        fs::path candidate = MakePath("_" + FourDigits(counter++));
        std::error_code code;
        // Another operator may be about to write there.
        if (!fs::exists(candidate, code) && !IsUnderWay(candidate))
            return candidate;
    }
    LogError("Cannot save the image: no unused number is left for " + GetBaseName() + " in " + folder.Value() + ".");
    return {};
}

fs::path SaveImage::MakePath(const std::string& suffix) const
{
    return fs::path(folder.Value()) / (GetBaseName() + suffix + std::string(GetImageFormatExtension(GetFormat())));
}

std::string SaveImage::GetBaseName() const
{
    return fileName.Value().empty() ? "image" : fileName.Value();
}

ImageFormat SaveImage::GetFormat() const
{
    const long long index = format.GetIndexOr(0);
    return index >= 0 && index < int(FormatValues.size()) ? ImageFormat(index) : ImageFormat::Png;
}

} // namespace Varkle
