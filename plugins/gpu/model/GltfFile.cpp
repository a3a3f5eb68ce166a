#include "model/GltfFile.h"

#include "Varkle/Core/FileReading.h"
#include "Varkle/Core/Text.h"
#include "model/GltfJson.h"
#include "model/GltfUris.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <limits>
#include <string>
#include <string_view>
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
constexpr std::size_t FileHeader = 12;
constexpr std::size_t ChunkHeader = 8;
constexpr std::size_t JsonBegin = FileHeader + ChunkHeader;
constexpr std::uint32_t JsonChunkType = 0x4E4F534A;
constexpr std::uint32_t BinChunkType = 0x004E4942;

// Says what is wrong with the layout of a binary file, which tinygltf says in words that only its authors understand.
// Beyond that, tinygltf forgets the BIN chunk's header when it checks the chunk's size, and would read beyond the file.
std::string FindLayoutProblem(const Bytes& bytes)
{
    const std::string_view text(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    if (text.empty())
        return "It is empty.";
    if (!text.starts_with("glTF"))
    {
        const bool isText = text.substr(std::min(text.find_first_not_of(" \t\r\n"), text.size())).starts_with('{');
        return isText ? "It looks like the text form of glTF, and the name of such a file must end in \".gltf\"."
                      : "It is no binary glTF file: it does not begin with \"glTF\".";
    }
    if (bytes.size() < JsonBegin)
        return "It ends within its header.";
    const std::uint64_t length = ReadUint32(bytes, 8);
    const std::uint64_t jsonSize = ReadUint32(bytes, FileHeader);
    const std::uint64_t jsonEnd = JsonBegin + jsonSize;
    if (length > bytes.size())
        return "Its header tells of " + std::to_string(length) + " bytes, but it has " + std::to_string(bytes.size()) +
               ".";
    if (ReadUint32(bytes, FileHeader + 4) != JsonChunkType)
        return "Its first chunk is not JSON, as it is in glTF 2.0.";
    if (jsonSize == 0)
        return "Its JSON chunk is empty.";
    if (jsonEnd > length)
        return "Its JSON chunk reaches beyond the end of the file.";
    if (jsonEnd == length)
        return {};
    if (jsonEnd + ChunkHeader > length)
        return "It ends within the header of its BIN chunk.";
    const std::uint64_t binSize = ReadUint32(bytes, jsonEnd);
    if (jsonEnd + ChunkHeader + binSize > length)
        return "Its BIN chunk reaches beyond the end of the file.";
    if (ReadUint32(bytes, jsonEnd + 4) != BinChunkType)
        return "Its second chunk is not BIN.";
    if (binSize < 4 || binSize % 4 != 0)
        return "Its BIN chunk has " + std::to_string(binSize) + " bytes, which is no multiple of 4 above 0.";
    return {};
}

// The JSON of a file as it stands on the disk; empty when there is none.
std::string_view FindJson(const Bytes& bytes, bool isBinary)
{
    const std::string_view text(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    if (!isBinary)
        return text;
    return bytes.size() < JsonBegin ? "" : text.substr(JsonBegin, ReadUint32(bytes, FileHeader));
}

// What tinygltf quotes from a file may have megabytes and control characters.
std::string Shorten(std::string_view text)
{
    constexpr std::size_t most = 300;
    std::string line(text.substr(0, most));
    line.resize(std::min(FindInvalidUtf8(line), line.size())); // the cut may lie within a character
    std::ranges::replace_if(
        line, [](char c) { return static_cast<unsigned char>(c) < ' '; }, ' ');
    while (line.ends_with(' '))
        line.pop_back();
    return text.size() > most ? line + "..." : line;
}

// Lets tinygltf read files, and looks at them before it does.
class Reader
{
public:
    Reader(const std::string& modelPath, GltfRemarks& modelRemarks) : path(modelPath), remarks(modelRemarks)
    {
        // As tinygltf does it, so that the names in the model can be told from the folder.
        const std::size_t slash = path.find_last_of("/\\");
        if (slash != path.npos && slash > 0)
            folder = path.substr(0, slash) + (path[slash - 1] == '/' ? "" : "/");
    }

    bool IsBinary() const { return isBinary; }

    tinygltf::FsCallbacks GetCallbacks()
    {
        tinygltf::FsCallbacks callbacks = {};
        callbacks.FileExists = [](const std::string& file, void* self)
        { return static_cast<Reader*>(self)->Exists(file); };
        callbacks.ExpandFilePath = &tinygltf::ExpandFilePath;
        callbacks.ReadWholeFile = [](Bytes* bytes, std::string*, const std::string& file, void* self)
        { return static_cast<Reader*>(self)->Read(*bytes, file); };
        callbacks.WriteWholeFile = &tinygltf::WriteWholeFile;
        callbacks.user_data = this;
        return callbacks;
    }

    std::vector<Bytes> TakeEmbedded() { return std::move(embedded); }

    // Returns why the file could not be read, given tinygltf's own words.
    std::string Explain(std::string_view words) const
    {
        if (!problem.empty())
            return problem;
        if (words.find("[json.exception") != words.npos)
            return ": " + ExplainJson(words);
        unsigned long long asked = 0;
        unsigned long long got = 0;
        const std::size_t sizes = words.find("requestedBytes");
        if (sizes != words.npos && std::sscanf(std::string(words.substr(sizes)).c_str(),
                                               "requestedBytes %llu, but got %llu", &asked, &got) == 2)
            return ": Its " + lastBuffer + " has " + std::to_string(got) + " bytes, but its byteLength is " +
                   std::to_string(asked) + ".";
        return ": " + Shorten(words);
    }

private:
    // tinygltf looks for a buffer in the model's folder, then in the current one, which is no place for a model's.
    bool Exists(const std::string& file)
    {
        if (FindLifted(embedded, file))
            return true;
        if (!file.starts_with(folder))
            return false;
        const std::string name = file.substr(folder.size());
        std::error_code code;
        if (name.empty())
            Fail(": A buffer has no URI, which only the first one of a binary file may do without.");
        else if (const std::optional<std::string> refusal = FindBufferRefusal(name))
            FailAtBuffer(name, *refusal);
        else if (std::filesystem::is_regular_file(file, code))
            return true;
        else
        {
            const Result<Bytes> attempt = ReadRegularFile(file, 0); // for the reason, and to be noted as read
            FailAtBuffer(name, attempt ? "It is empty." : attempt.GetError().message);
        }
        return false;
    }

    // The first file is the glTF file itself, the others are its buffers.
    bool Read(Bytes& bytes, const std::string& file)
    {
        if (std::exchange(isFirst, false))
        {
            Result<Bytes> whole = ReadRegularFile(file, MaxBytes);
            if (!whole)
                return Fail(": " + whole.GetError().message);
            bytes = std::move(*whole);
            bytesLeft -= bytes.size();
            const std::string wrong = isBinary ? PrepareBinary(bytes) : PrepareText(bytes);
            return wrong.empty() || Fail(": " + wrong);
        }
        if (Bytes* const lifted = FindLifted(embedded, file))
        {
            lastBuffer = "embedded buffer";
            bytes = std::move(*lifted);
            return true;
        }
        const std::string name = file.substr(folder.size());
        lastBuffer = "buffer " + Quoted(name);
        Result<Bytes> whole = ReadRegularFile(file, bytesLeft);
        if (!whole || whole->empty())
            return FailAtBuffer(name, whole ? "It is empty." : whole.GetError().message);
        bytes = std::move(*whole);
        bytesLeft -= bytes.size();
        return true;
    }

    // Both return false. The first problem is the one to tell.
    bool Fail(const std::string& reason)
    {
        if (problem.empty())
            problem = reason;
        return false;
    }

    bool FailAtBuffer(const std::string& name, const std::string& reason)
    {
        return Fail(", as its buffer " + Quoted(name) + " can't: " + reason);
    }

    // The text that tinygltf parsed has short names in the place of its data URIs: places in it are not those in the
    // file, which is read again.
    std::string ExplainJson(std::string_view words) const
    {
        const Result<Bytes> bytes = ReadRegularFile(path, MaxBytes);
        const std::optional<std::string> error = bytes ? FindJsonError(FindJson(*bytes, isBinary)) : std::nullopt;
        return "Its JSON goes wrong at " + Shorten(error.value_or(std::string(words))) + ".";
    }

    bool IsRefused(std::string_view uri)
    {
        const std::optional<std::string> plain = Unescape(uri);
        const std::string name = DecodeUri(plain.value_or(""));
        const std::optional<std::string> refusal = name.empty() ? std::nullopt : FindBufferRefusal(name);
        if (refusal)
            remarks.AddLeftOut("buffer", name, *refusal);
        return refusal.has_value();
    }

    LiftedJson Lift(std::string_view json, const JsonSurvey& survey)
    {
        return LiftDataUris(json, survey, [this](std::string_view uri) { return IsRefused(uri); });
    }

    std::string PrepareText(Bytes& bytes)
    {
        if (bytes.empty())
            return "It is empty.";
        const std::string_view json = FindJson(bytes, false);
        const JsonSurvey survey = SurveyJson(json);
        std::string wrong = FindProblem(json, survey);
        if (!wrong.empty())
            return wrong;
        LiftedJson lifted = Lift(json, survey);
        if (!lifted.contents.empty())
            bytes.assign(lifted.text.begin(), lifted.text.end());
        embedded = std::move(lifted.contents);
        return {};
    }

    std::string PrepareBinary(Bytes& bytes)
    {
        std::string wrong = FindLayoutProblem(bytes);
        if (!wrong.empty())
            return wrong;
        const std::string_view json = FindJson(bytes, true);
        const std::size_t jsonEnd = JsonBegin + json.size();
        const std::uint64_t binSize = jsonEnd < ReadUint32(bytes, 8) ? ReadUint32(bytes, jsonEnd) : 0;
        const JsonSurvey survey = SurveyJson(json);
        wrong = FindProblem(json, survey);
        if (!wrong.empty())
            return wrong;
        // Each buffer without a URI is a copy of the chunk; only one can be meant.
        if (binSize * survey.buffers > MaxBytes)
            return TooMany("Its buffers have", binSize * survey.buffers, "bytes", MaxBytes);
        if (survey.plainBuffer && survey.dataUris.empty() && binSize > 0)
            LiftChunk(bytes, json, *survey.plainBuffer, binSize);
        else
            LiftInBinary(bytes, json, survey);
        return {};
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
        WriteUint32(rest, FileHeader, std::uint32_t(text.size()));

        const auto begin = bytes.begin() + std::ptrdiff_t(JsonBegin + json.size() + ChunkHeader);
        bytes.erase(begin + std::ptrdiff_t(buffer.size), bytes.end());
        bytes.erase(bytes.begin(), begin);
        embedded.push_back(std::exchange(bytes, std::move(rest)));
    }

    void LiftInBinary(Bytes& bytes, std::string_view json, const JsonSurvey& survey)
    {
        LiftedJson lifted = Lift(json, survey);
        if (lifted.contents.empty())
            return;
        // As long as before where that is possible, so that nothing else of the file moves.
        const std::size_t before = json.size();
        lifted.text.resize(std::max((lifted.text.size() + 3) / 4 * 4, before), ' ');
        const std::size_t more = lifted.text.size() - before;
        bytes.insert(bytes.begin() + std::ptrdiff_t(JsonBegin + before), more, 0);
        std::ranges::copy(lifted.text, bytes.begin() + JsonBegin);
        WriteUint32(bytes, 8, std::uint32_t(ReadUint32(bytes, 8) + more));
        WriteUint32(bytes, FileHeader, std::uint32_t(lifted.text.size()));
        embedded = std::move(lifted.contents);
    }

    std::string path;
    std::string folder; // of the model, with a slash behind it; empty for the current one
    bool isBinary = std::filesystem::path(path).extension() != ".gltf";
    bool isFirst = true;
    std::uint64_t bytesLeft = MaxBytes;
    std::vector<Bytes> embedded;
    std::string lastBuffer; // what messages call the buffer that was read last
    std::string problem;    // how the message goes on, see ReadGltfFile
    GltfRemarks& remarks;
};

// Pictures are decoded elsewhere.
bool IgnoreImage(tinygltf::Image*, int, std::string*, std::string*, int, int, const unsigned char*, int, void*)
{
    return true;
}

// What tinygltf complains about while it reads a file nevertheless, a line each. Skins are left out anyway, and it asks
// them for matrices that they need not have.
void AddRemarks(GltfRemarks& remarks, std::string_view lines)
{
    while (!lines.empty())
    {
        const std::string_view line = lines.substr(0, lines.find('\n'));
        lines.remove_prefix(std::min(line.size() + 1, lines.size()));
        if (!line.empty() && !line.ends_with(" in Skin."))
            remarks.Add(Shorten(line));
    }
}

} // namespace

Result<GltfFile> ReadGltfFile(const std::string& path, GltfRemarks& remarks)
{
    Reader reader(path, remarks);
    tinygltf::TinyGLTF loader;
    loader.SetImageLoader(IgnoreImage, nullptr);
    loader.SetFsCallbacks(reader.GetCallbacks());

    GltfFile file;
    std::string error;
    std::string warning;
    const bool loaded = reader.IsBinary() ? loader.LoadBinaryFromFile(&file.model, &error, &warning, path)
                                          : loader.LoadASCIIFromFile(&file.model, &error, &warning, path);
    AddRemarks(remarks, warning);
    if (!loaded)
        return Error{reader.Explain(error)};
    AddRemarks(remarks, error);
    file.embedded = reader.TakeEmbedded();
    return file;
}

} // namespace Varkle
