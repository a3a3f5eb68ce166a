#include "texture/SaveImage.h"

#include "Varkle/Core/FileWriting.h"
#include "Varkle/Core/Log.h"
#include "Varkle/Core/Tasks.h"

#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace Varkle
{

namespace
{

namespace fs = std::filesystem;

const std::vector<std::string> FormatValues = {"PNG", "JPG", "BMP", "TGA"}; // by ImageFormat

// Is a file that saves are under way to.
struct Destination
{
    fs::path path;
    unsigned long asked = 0;   // how many saves were asked for; the mutex of the destinations guards it
    std::mutex writing;        // held while the file is written
    unsigned long written = 0; // which of them is in the file, 0 for none; `writing` guards it
};

// Is one of those saves. It owns all that is needed, as the operator may be gone when the file is written.
struct Save
{
    std::shared_ptr<Destination> file;
    unsigned long number = 0;
    SaveNames names;
};

// Knows where saves of this process are under way. May be used from any thread.
class Destinations
{
public:
    static Destinations& Get()
    {
        static Destinations destinations;
        return destinations;
    }

    Save Begin(const fs::path& path, SaveNames names)
    {
        const std::lock_guard lock(mutex);
        std::erase_if(files, [](const auto& entry) { return entry.second.expired(); });
        std::weak_ptr<Destination>& known = files[path];
        std::shared_ptr<Destination> file = known.lock();
        if (!file)
        {
            known = file = std::make_shared<Destination>();
            file->path = path;
        }
        const unsigned long number = ++file->asked;
        return {std::move(file), number, std::move(names)};
    }

    bool IsUnderWay(const fs::path& path)
    {
        const std::lock_guard lock(mutex);
        const auto found = files.find(path);
        return found != files.end() && !found->second.expired();
    }

private:
    std::mutex mutex;
    std::map<fs::path, std::weak_ptr<Destination>> files;
};

// Returns the next path that no file has and no save of this process is about to write to; empty when there is none.
fs::path TakeUnusedPath(const SaveNames& names)
{
    std::error_code code;
    fs::path path = names.Take();
    while (!path.empty() && (fs::exists(path, code) || Destinations::Get().IsUnderWay(path)))
        path = names.Take();
    return path;
}

void LogOnMainThread(void (*log)(std::string_view), std::string text)
{
    Tasks::RunOnMainThread([log, text = std::move(text)] { log(text); });
}

void LogOutcome(const std::string& path, const std::optional<FileError>& error)
{
    if (!error)
        LogOnMainThread(LogInfo, "Saved " + path);
    else if (error->opened)
        LogOnMainThread(LogError, "Could not write " + path);
    else
        LogOnMainThread(LogError, "SaveImage: could not open " + path + " for writing.");
}

void WriteOver(std::string_view bytes, const Save& save)
{
    const std::string path = save.file->path.string();
    const std::lock_guard lock(save.file->writing);
    // A later picture for the same file may have been encoded faster.
    if (save.number < save.file->written)
    {
        LogOnMainThread(LogInfo, "Not saved, as a later picture is there by now: " + path);
        return;
    }
    const std::optional<FileError> error = TryToWriteFileAtomically(path, bytes);
    if (!error)
        save.file->written = save.number;
    LogOutcome(path, error);
}

// Another process may have taken the name since it was found unused.
void WriteNew(std::string_view bytes, const Save& save)
{
    fs::path path = save.file->path;
    std::optional<FileError> error = TryToWriteNewFile(path.string(), bytes);
    while (error && error->exists)
    {
        path = TakeUnusedPath(save.names);
        if (path.empty())
        {
            LogOnMainThread(LogError, save.names.GetRunOutMessage());
            return;
        }
        error = TryToWriteNewFile(path.string(), bytes);
    }
    LogOutcome(path.string(), error);
}

void Write(const std::vector<std::uint8_t>& bytes, const Save& save)
{
    const std::string_view text(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    if (save.names.numbering == SaveNames::Numbering::Off)
        WriteOver(text, save);
    else
        WriteNew(text, save);
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
        [started = Destinations::Get().Begin(path, GetNames()), as = GetFormat()](const Image& image) {
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
    const SaveNames names = GetNames();
    if (names.numbering == SaveNames::Numbering::Off)
        return names.Take();
    fs::path path = TakeUnusedPath(names);
    if (path.empty())
        LogError(names.GetRunOutMessage());
    return path;
}

SaveNames SaveImage::GetNames() const
{
    SaveNames names = counted;
    names.folder = folder.Value();
    names.name = fileName.Value().empty() ? "image" : fileName.Value();
    names.extension = GetImageFormatExtension(GetFormat());
    const long long index = numbering.GetIndexOr(0);
    if (index == 1)
        names.numbering = SaveNames::Numbering::Counter;
    if (index == 2)
        names.numbering = SaveNames::Numbering::Timestamp;
    return names;
}

ImageFormat SaveImage::GetFormat() const
{
    const long long index = format.GetIndexOr(0);
    return index >= 0 && index < int(FormatValues.size()) ? ImageFormat(index) : ImageFormat::Png;
}

} // namespace Varkle
