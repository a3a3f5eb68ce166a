#pragma once

#include "Varkle/Core/Export.h"
#include "Varkle/Core/Result.h"

#include <cstddef>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
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
    bool machine = false; ///< the machine is at fault, not the document (Error::machine)

    /// Returns the error as one line: `nebula.varkle:14:21: operator "soft": there is no parameter "Radios" ...`.
    std::string Text() const;
};

/// Joins errors into one text, a line each. Of a mistake that is made in many operators there are the first ten, of all
/// together the first hundred, and a last line tells how many more there are.
VARKLE_API std::string JoinErrors(const std::vector<DocumentError>& errors);

/// Holds a graph document as it was written: operators, parameter values and expressions, connections, in their order.
/// Reading one needs no GPU and makes no operators. Copies are independent. DocumentEdit.h has what can be done to one.
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
    /// document is empty. A file that can't be read, or that has more than MostBytes, is an error too. Whether the
    /// document makes sense is what Check tells; only where an object has a name twice, which is still readable, are
    /// its errors among these.
    static GraphDocument Load(const std::string& path, std::vector<DocumentError>& errors);

    /// Reads a document from memory. `name` appears in errors; relative file paths in parameters are relative to
    /// `folder`, the current folder when that is empty.
    static GraphDocument Parse(std::string_view text, const std::string& name, const std::filesystem::path& folder,
                               std::vector<DocumentError>& errors);

    /// Makes a document of a graph as it is now: every operator with the parameters that differ from their defaults,
    /// its connections and bundles. Paths become relative to `folder` (the current one when empty).
    static GraphDocument FromGraph(const Graph& graph, double frameRate, const std::filesystem::path& folder);

    /// Returns everything that is wrong with the document, in the order of the text, by what the registered operators'
    /// documents declare (TypeLibrary) and what the operators themselves accept: they are made for it, but don't run.
    /// Empty when the document can be run.
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

    /// Returns the frames per second of graph time (default 60), between LeastFrameRate and MostFrameRate.
    double GetFrameRate() const;

    /// Bounds a file, so that one without an end, such as a device, does not fill the memory. A thousand operators take
    /// less than one percent of it.
    static constexpr std::size_t MostBytes = std::size_t(64) << 20;

    /// Bound the frame rate: a frame may last a quarter of an hour, as for pictures that hardly change, and there is no
    /// use for more than a thousand a second.
    static constexpr double LeastFrameRate = 0.001;
    static constexpr double MostFrameRate = 1000;

    /// Returns the document as it was written. Places are those in the text that was read; what came by edits has
    /// line 0.
    const JsonValue& GetRoot() const { return *root; }

    /// Returns the place of the operator with a key in the list "operators", nothing when there is none; of several
    /// with one key the first. Main thread only.
    std::optional<std::size_t> FindOperator(std::string_view key) const;

private:
    friend class DocumentAccess;

    // Lets keys be looked up without making a string.
    struct KeyHash
    {
        using is_transparent = void;
        std::size_t operator()(std::string_view key) const { return std::hash<std::string_view>{}(key); }
    };
    using Places = std::unordered_map<std::string, std::size_t, KeyHash, std::equal_to<>>;

    std::unique_ptr<JsonValue> root;
    mutable std::shared_ptr<const Places> places; // of the operators by key; made when first asked for
    std::string name;
    std::filesystem::path folder;
};

} // namespace Varkle
