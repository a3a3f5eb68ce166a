#include "Varkle/Document/GraphDocument.h"

#include "Varkle/Core/Text.h"
#include "Varkle/Core/Trace.h"
#include "Varkle/Document/Json.h"
#include "Varkle/Document/JsonLayout.h"
#include "document/DocumentPaths.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <iterator>
#include <sstream>

namespace Varkle
{

namespace
{

// Reads a whole file; the error names the reason that the system gives.
Result<std::string> ReadFile(const std::string& path)
{
    const TraceSpan span("file", path);
    std::error_code code;
    if (std::filesystem::is_directory(path, code))
        return Error{"this is a folder, not a graph document"};
    std::ifstream file(path, std::ios::binary);
    if (!file)
        return Error{std::string("the file can't be opened: ") + std::strerror(errno)};
    std::ostringstream text;
    text << file.rdbuf();
    if (file.bad())
        return Error{std::string("the file can't be read: ") + std::strerror(errno)};
    return std::move(text).str();
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
    std::string text;
    for (const DocumentError& error : errors)
        text += (text.empty() ? "" : "\n") + error.Text();
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
    : root(std::make_unique<JsonValue>(*other.root)), name(other.name), folder(other.folder)
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
        errors.push_back({path, 0, 0, text.GetError().message});
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
    return rate && rate->kind == JsonKind::Number && rate->number > 0 ? rate->number : 60.0;
}

} // namespace Varkle
