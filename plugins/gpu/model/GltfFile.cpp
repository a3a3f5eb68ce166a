#include "model/GltfFile.h"

#include "Varkle/Core/FileReading.h"
#include "Varkle/Core/Log.h"
#include "model/GltfJson.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <limits>
#include <memory>
#include <string_view>
#include <sys/mman.h>
#include <utility>

namespace Varkle
{

namespace
{

using Bytes = std::vector<unsigned char>;

// Of all files of a model together. tinygltf counts a file's bytes in 32 bits, as binary glTF does.
constexpr std::uint64_t MaxBytes = std::numeric_limits<std::uint32_t>::max();
// tinygltf's own decoder of data URIs, which gets those that could not be lifted, counts in int.
constexpr std::uint64_t MaxJsonBytes = std::numeric_limits<std::int32_t>::max();

// tinygltf's structures are far larger than the text they come from ("{}," can become 2 kB). These limits keep what it
// makes within some gigabytes; the largest real scenes stay below a tenth of them.
constexpr std::size_t MaxValues = std::size_t(1) << 24;
constexpr std::size_t MaxObjects = std::size_t(1) << 22;
constexpr std::size_t MaxRareElements = std::size_t(1) << 18;
// tinygltf reads "extras" and "extensions" by recursion.
constexpr std::size_t MaxDepth = 256;

std::string TooMany(const char* subject, std::uint64_t count, const char* unit, std::uint64_t limit)
{
    return std::string(subject) + " " + std::to_string(count) + " " + unit + "; the limit is " + std::to_string(limit) +
           ".";
}

// Returns why the JSON text should not be parsed, empty when it may.
std::string FindProblem(std::string_view json, const JsonSurvey& survey)
{
    if (json.size() > MaxJsonBytes)
        return TooMany("Its JSON has", json.size(), "bytes", MaxJsonBytes);
    if (survey.depth > MaxDepth)
        return TooMany("Its JSON has", survey.depth, "levels of nesting", MaxDepth);
    if (survey.values > MaxValues)
        return TooMany("Its JSON has", survey.values, "values", MaxValues);
    if (survey.objects > MaxObjects)
        return TooMany("Its JSON has", survey.objects, "objects", MaxObjects);
    if (survey.rareElements > MaxRareElements)
        return TooMany("It has", survey.rareElements, "materials, textures, images and the like", MaxRareElements);
    return {};
}

// Makes room for a file. Getting many small pages of memory takes longer than reading a large file into them.
void Reserve(Bytes& bytes, std::size_t size)
{
    bytes.reserve(size);
    constexpr std::size_t hugePage = std::size_t(2) << 20;
    void* begin = bytes.data();
    if (std::align(hugePage, hugePage, begin, size))
        madvise(begin, size, MADV_HUGEPAGE); // where it fails nothing is lost
}

std::uint32_t ReadUint32(const Bytes& bytes, std::size_t offset)
{
    std::uint32_t value = 0;
    std::memcpy(&value, bytes.data() + offset, sizeof(value)); // glTF is little-endian, as all machines with WebGPU are
    return value;
}

void WriteUint32(Bytes& bytes, std::size_t offset, std::uint32_t value)
{
    std::memcpy(bytes.data() + offset, &value, sizeof(value));
}

// A binary glTF file: a header of 12 bytes, then chunks, each with a header of 8 bytes.
constexpr std::size_t JsonBegin = 20;
constexpr std::size_t ChunkHeader = 8;
constexpr std::uint32_t BinChunkType = 0x004E4942;

// Lets tinygltf read files, and looks at them before it does.
class Reader
{
public:
    explicit Reader(bool isBinaryFile) : isBinary(isBinaryFile) {}

    tinygltf::FsCallbacks GetCallbacks()
    {
        tinygltf::FsCallbacks callbacks = {};
        callbacks.FileExists = [](const std::string& path, void* self)
        { return static_cast<Reader*>(self)->Exists(path); };
        callbacks.ExpandFilePath = &tinygltf::ExpandFilePath;
        callbacks.ReadWholeFile = [](Bytes* bytes, std::string* error, const std::string& path, void* self)
        { return static_cast<Reader*>(self)->Read(*bytes, *error, path); };
        callbacks.WriteWholeFile = &tinygltf::WriteWholeFile;
        callbacks.user_data = this;
        return callbacks;
    }

    std::vector<Bytes> TakeEmbedded() { return std::move(embedded); }

private:
    // Others than regular files may never end, or never begin.
    bool Exists(const std::string& path)
    {
        std::error_code code;
        if (FindLifted(embedded, path) || std::filesystem::is_regular_file(path, code))
            return true;
        const FileRead attempt(path); // tinygltf will not try to read it
        return false;
    }

    // The first file is the glTF file itself, the others are its buffers.
    bool Read(Bytes& bytes, std::string& error, const std::string& path)
    {
        if (Bytes* const lifted = FindLifted(embedded, path))
        {
            bytes = std::move(*lifted);
            return true;
        }
        if (!ReadFromDisk(bytes, error, path))
            return false;
        if (!std::exchange(isFirst, false))
            return true;
        error = isBinary ? PrepareBinary(bytes) : PrepareText(bytes);
        return error.empty();
    }

    bool ReadFromDisk(Bytes& bytes, std::string& error, const std::string& path)
    {
        const FileRead read(path);
        std::error_code code;
        const std::filesystem::file_status status = std::filesystem::status(path, code);
        if (std::filesystem::exists(status) && !std::filesystem::is_regular_file(status))
        {
            error = "It is not a regular file.";
            return false;
        }
        const std::uintmax_t size = std::filesystem::file_size(path, code);
        if (!code && size > bytesLeft)
        {
            error = TooMany("With it the model's files have", MaxBytes - bytesLeft + size, "bytes", MaxBytes);
            return false;
        }
        if (!code)
            Reserve(bytes, size);
        if (!tinygltf::ReadWholeFile(&bytes, &error, path, nullptr))
            return false;
        bytesLeft -= std::min<std::uint64_t>(bytesLeft, bytes.size());
        return true;
    }

    std::string PrepareText(Bytes& bytes)
    {
        const std::string_view json(reinterpret_cast<const char*>(bytes.data()), bytes.size());
        const JsonSurvey survey = SurveyJson(json);
        std::string problem = FindProblem(json, survey);
        if (!problem.empty())
            return problem;
        LiftedJson lifted = LiftDataUris(json, survey);
        if (!lifted.contents.empty())
            bytes.assign(lifted.text.begin(), lifted.text.end());
        embedded = std::move(lifted.contents);
        return {};
    }

    // What is wrong with the layout is tinygltf's to say, but for one thing: see below.
    std::string PrepareBinary(Bytes& bytes)
    {
        if (bytes.size() < JsonBegin)
            return {};
        const std::uint64_t length = ReadUint32(bytes, 8);
        const std::uint64_t jsonSize = ReadUint32(bytes, 12);
        const std::uint64_t jsonEnd = JsonBegin + jsonSize;
        if (length > bytes.size() || jsonEnd > length)
            return {};

        std::uint64_t binSize = 0;
        if (jsonEnd + ChunkHeader <= length)
        {
            binSize = ReadUint32(bytes, jsonEnd);
            // tinygltf forgets the chunk's header when it checks this, and would read beyond the file's end.
            if (jsonEnd + binSize <= length && jsonEnd + ChunkHeader + binSize > length)
                return "Its BIN chunk reaches beyond the end of the file.";
        }

        const std::string_view json(reinterpret_cast<const char*>(bytes.data()) + JsonBegin, jsonSize);
        const JsonSurvey survey = SurveyJson(json);
        std::string problem = FindProblem(json, survey);
        if (!problem.empty())
            return problem;
        // Each buffer without a URI is a copy of the chunk; only one can be meant.
        if (binSize * survey.buffers > MaxBytes)
            return TooMany("Its buffers have", binSize * survey.buffers, "bytes", MaxBytes);
        if (survey.plainBuffer && survey.dataUris.empty() && IsBinChunk(bytes, jsonEnd, binSize, length))
            LiftChunk(bytes, json, *survey.plainBuffer, binSize);
        else
            LiftInBinary(bytes, json, survey);
        return {};
    }

    // Whether tinygltf would find nothing wrong with the BIN chunk.
    static bool IsBinChunk(const Bytes& bytes, std::uint64_t begin, std::uint64_t size, std::uint64_t length)
    {
        return size >= 4 && size % 4 == 0 && begin + ChunkHeader + size <= length &&
               ReadUint32(bytes, begin + 4) == BinChunkType;
    }

    // Has tinygltf take the one buffer as it takes those from other files. It would copy a BIN chunk.
    void LiftChunk(Bytes& bytes, std::string_view json, const PlainBuffer& buffer, std::uint64_t binSize)
    {
        if (buffer.size == 0 || buffer.size > binSize)
            return;
        std::string text = NameLifted(json, buffer, embedded.size());
        text.resize((text.size() + 3) / 4 * 4, ' ');
        Bytes rest(JsonBegin + text.size());
        std::memcpy(rest.data(), bytes.data(), JsonBegin);
        std::memcpy(rest.data() + JsonBegin, text.data(), text.size());
        WriteUint32(rest, 8, std::uint32_t(rest.size()));
        WriteUint32(rest, 12, std::uint32_t(text.size()));

        const auto begin = bytes.begin() + std::ptrdiff_t(JsonBegin + json.size() + ChunkHeader);
        bytes.erase(begin + std::ptrdiff_t(buffer.size), bytes.end());
        bytes.erase(bytes.begin(), begin);
        embedded.push_back(std::exchange(bytes, std::move(rest)));
    }

    void LiftInBinary(Bytes& bytes, std::string_view json, const JsonSurvey& survey)
    {
        LiftedJson lifted = LiftDataUris(json, survey);
        if (lifted.contents.empty() || lifted.text.size() > json.size())
            return;
        // As long as before, so that nothing else of the file changes.
        lifted.text.resize(json.size(), ' ');
        std::ranges::copy(lifted.text, bytes.begin() + JsonBegin);
        embedded = std::move(lifted.contents);
    }

    bool isBinary;
    bool isFirst = true;
    std::uint64_t bytesLeft = MaxBytes;
    std::vector<Bytes> embedded;
};

// Pictures are decoded elsewhere.
bool IgnoreImage(tinygltf::Image*, int, std::string*, std::string*, int, int, const unsigned char*, int, void*)
{
    return true;
}

} // namespace

std::optional<GltfFile> ReadGltfFile(const std::string& path)
{
    const bool isBinary = std::filesystem::path(path).extension() != ".gltf";
    Reader reader(isBinary);
    tinygltf::TinyGLTF loader;
    loader.SetImageLoader(IgnoreImage, nullptr);
    loader.SetFsCallbacks(reader.GetCallbacks());

    GltfFile file;
    std::string error;
    std::string warning;
    const bool loaded = isBinary ? loader.LoadBinaryFromFile(&file.model, &error, &warning, path)
                                 : loader.LoadASCIIFromFile(&file.model, &error, &warning, path);
    if (!warning.empty())
        LogWarning(warning);
    if (!error.empty())
        LogError(error);
    if (!loaded)
        return std::nullopt;
    file.embedded = reader.TakeEmbedded();
    return file;
}

} // namespace Varkle
