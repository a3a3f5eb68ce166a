#include "Varkle/Document/GraphDocument.h"

#include "Varkle/Core/Text.h"
#include "Varkle/Core/Trace.h"
#include "Varkle/Document/Json.h"
#include "Varkle/Document/JsonLayout.h"
#include "document/DocumentPaths.h"
#include "document/DocumentTree.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <unordered_map>

namespace Varkle
{

namespace
{

// What the system says is wrong with a file; whether it is the machine's fault and not the name's.
Error ReadError(const char* what, int code)
{
    const bool isMachine = code == EIO || code == ENOMEM || code == EMFILE || code == ENFILE;
    return {std::string(what) + std::strerror(code), isMachine};
}

// Reads a whole file, or what a pipe brings, up to the limit.
Result<std::string> ReadFile(const std::string& path)
{
    const TraceSpan span("file", path);
    std::error_code code;
    if (std::filesystem::is_directory(path, code))
        return Error{"this is a folder, not a graph document"};
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(path.c_str(), "rbe"), std::fclose);
    if (!file)
        return ReadError("the file can't be opened: ", errno);
    std::string text;
    constexpr std::size_t step = 1 << 16;
    for (std::size_t size = 0;; size = text.size())
    {
        text.resize(size + step);
        text.resize(size + std::fread(text.data() + size, 1, step, file.get()));
        if (std::ferror(file.get()) != 0)
            return ReadError("the file can't be read: ", errno);
        if (text.size() > GraphDocument::MostBytes)
            return Error{"the file has more than " + std::to_string(GraphDocument::MostBytes >> 20) +
                         " MiB, which no graph document has"};
        if (text.size() < size + step)
            return text;
    }
}

// Returns a message without what names the operator in front, by which the same mistake in several is told.
std::string WithoutOperator(const std::string& message)
{
    constexpr std::string_view start = "operator \"";
    constexpr std::string_view end = "\": ";
    const std::size_t found = message.starts_with(start) ? message.find(end, start.size()) : std::string::npos;
    return found == std::string::npos ? message : message.substr(found + end.size());
}

} // namespace

std::string DocumentError::Text() const
{
    const std::string name = Printable(file);
    if (line == 0)
        return name + ": " + message;
    return name + ":" + std::to_string(line) + ":" + std::to_string(column) + ": " + message;
}

std::string JoinErrors(const std::vector<DocumentError>& errors)
{
    constexpr std::size_t mostAlike = 10;
    constexpr std::size_t most = 100;
    std::unordered_map<std::string, std::size_t> alike;
    std::size_t written = 0;
    std::string text;
    for (const DocumentError& error : errors)
    {
        if (written == most || ++alike[WithoutOperator(error.message)] > mostAlike)
            continue;
        text += (text.empty() ? "" : "\n") + error.Text();
        ++written;
    }
    if (written < errors.size())
        text += "\n... and " + std::to_string(errors.size() - written) + " more";
    return text;
}

GraphDocument::GraphDocument() : root(std::make_unique<JsonValue>(JsonObject()))
{
    AddMember(*root, "format", JsonString("varkle-graph"));
    AddMember(*root, "version", JsonInteger(1));
    AddMember(*root, "frameRate", JsonInteger(60));
    AddMember(*root, "operators", JsonArray());
}

GraphDocument::~GraphDocument() = default;
GraphDocument::GraphDocument(GraphDocument&&) noexcept = default;
GraphDocument& GraphDocument::operator=(GraphDocument&&) noexcept = default;

GraphDocument::GraphDocument(const GraphDocument& other)
    : root(std::make_unique<JsonValue>(*other.root)), places(other.places), name(other.name), folder(other.folder)
{
}

GraphDocument& GraphDocument::operator=(const GraphDocument& other)
{
    return *this = GraphDocument(other);
}

GraphDocument GraphDocument::Load(const std::string& path, std::vector<DocumentError>& errors)
{
    const Result<std::string> text = ReadFile(path);
    if (!text)
    {
        errors.push_back({path, 0, 0, text.GetError().message, text.GetError().machine});
        return {};
    }
    return Parse(*text, path, std::filesystem::path(path).parent_path(), errors);
}

GraphDocument GraphDocument::Parse(std::string_view text, const std::string& name, const std::filesystem::path& folder,
                                   std::vector<DocumentError>& errors)
{
    GraphDocument document;
    document.name = name;
    document.folder = MakeAbsoluteFolder(folder);
    JsonDocument json = ParseJson(text);
    if (json.errors.empty())
    {
        *document.root = std::move(*json.root);
        return document;
    }

    std::vector<DocumentError> found;
    for (const JsonError& error : json.errors)
        found.push_back({name, error.at.line, error.at.column, error.message});
    if (json.root)
    {
        GraphDocument faulty = document;
        *faulty.root = std::move(*json.root);
        std::ranges::move(faulty.Check(), std::back_inserter(found));
        std::ranges::stable_sort(found, {}, [](const DocumentError& e) { return std::pair(e.line, e.column); });
    }
    std::ranges::move(found, std::back_inserter(errors));
    return document;
}

double GraphDocument::GetFrameRate() const
{
    const JsonValue* const rate = root->Find("frameRate");
    return rate && rate->kind == JsonKind::Number && rate->number >= LeastFrameRate && rate->number <= MostFrameRate
               ? rate->number
               : 60.0;
}

std::optional<std::size_t> GraphDocument::FindOperator(std::string_view key) const
{
    if (!places)
    {
        auto byKey = std::make_shared<Places>();
        const std::vector<JsonValue>& operators = GetOperators(*root);
        for (std::size_t i = 0; i < operators.size(); ++i)
        {
            const JsonValue* const found = operators[i].Find("key");
            if (found && found->kind == JsonKind::String)
                byKey->emplace(found->text, i);
        }
        places = std::move(byKey);
    }
    const auto found = places->find(key);
    if (found == places->end())
        return std::nullopt;
    return found->second;
}

} // namespace Varkle
