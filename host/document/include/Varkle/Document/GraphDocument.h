#pragma once

#include "Varkle/Core/Export.h"
#include "Varkle/Core/Result.h"

#include <filesystem>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace Varkle
{

class Graph;
struct JsonValue;

/// Tells one thing that is wrong with a document, and where.
struct VARKLE_API DocumentError
{
    std::string file; ///< the name that the document was loaded under
    int line = 0;     ///< from 1; 0 when the error concerns the whole file
    int column = 0;   ///< from 1, in characters
    std::string message;

    /// Returns the error as one line: `nebula.varkle:14:21: operator "soft": there is no parameter "Radios" ...`.
    std::string Text() const;
};

/// Joins errors into one text, a line each.
VARKLE_API std::string JoinErrors(const std::vector<DocumentError>& errors);

/// Holds a graph document as it was written: operators, parameter values and expressions, connections, in their order.
/// Reading one needs no GPU and makes no operators. Copies are independent.
class VARKLE_API GraphDocument
{
public:
    /// Makes an empty document without operators.
    GraphDocument();
    ~GraphDocument();
    GraphDocument(const GraphDocument& other);
    GraphDocument(GraphDocument&&) noexcept;
    GraphDocument& operator=(const GraphDocument& other);
    GraphDocument& operator=(GraphDocument&&) noexcept;

    /// Reads a file. The errors name what is wrong with it as a JSON text; `errors` then holds at least one and the
    /// document is empty. A file that can't be read is an error too. Whether the document makes sense is what Check
    /// tells; only where an object has a name twice, which is still readable, are its errors among these.
    static GraphDocument Load(const std::string& path, std::vector<DocumentError>& errors);

    /// Reads a document from memory. `name` appears in errors; relative file paths in parameters are relative to
    /// `folder`, the current folder when that is empty.
    static GraphDocument Parse(std::string_view text, const std::string& name, const std::filesystem::path& folder,
                               std::vector<DocumentError>& errors);

    /// Makes a document of a graph as it is now: every operator with the parameters that differ from their defaults,
    /// its connections and bundles. Paths become relative to `folder` (the current one when empty).
    static GraphDocument FromGraph(const Graph& graph, double frameRate, const std::filesystem::path& folder);

    /// Returns everything that is wrong with the document, in the order of the text, by what the registered operators'
    /// documents declare (TypeLibrary). Empty when it can be run.
    std::vector<DocumentError> Check() const;

    /// Returns the text of the document in the layout of saved documents: two spaces, one member and one parameter to a
    /// line, vectors on one line. Parameters that operators write themselves are left out. Parsing that text and
    /// writing it again gives the same bytes.
    std::string ToText() const;

    /// Writes ToText to a file, through a temporary name. In another folder than the document's, relative paths in
    /// parameters are rewritten so that they mean the same files from there.
    Status Save(const std::string& path) const;

    /// Returns the name that errors use, and the folder, an absolute path, that relative paths are relative to.
    const std::string& GetName() const { return name; }
    const std::filesystem::path& GetFolder() const { return folder; }

    /// Returns the frames per second of graph time (default 60).
    double GetFrameRate() const;

private:
    friend class GraphSession;

    std::unique_ptr<JsonValue> root;
    std::string name;
    std::filesystem::path folder;
};

} // namespace Varkle
