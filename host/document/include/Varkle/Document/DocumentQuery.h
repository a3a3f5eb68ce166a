#pragma once

#include "Varkle/Core/Export.h"
#include "Varkle/Core/Parameters.h"
#include "Varkle/Core/Result.h"
#include "Varkle/Document/GraphDocument.h"
#include "Varkle/Document/Json.h"

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace Varkle
{

// What an editor shows of a document. Nothing here needs a GPU. Operators of unknown types are told by what the
// document says of them.

/// Tells about a parameter of an operator in a document.
struct ParameterView
{
    std::string name;
    std::string type;        ///< as in operator documents: "Vector 2"; empty for one that is not there at present
    std::string description; ///< from the operator's document
    bool isSet = false;      ///< by the document
    bool isExpression = false;
    bool isOutput = false;  ///< the operator writes it
    JsonValue value;        ///< what the document says, the default where it says nothing
    JsonValue defaultValue; ///< what it has when the document says nothing; null for an operator of unknown type
    std::vector<std::string> values; ///< of an enum
    std::vector<std::string> labels; ///< to show for them, as many; empty when they are shown themselves
    StringParameter::EditorType editor = StringParameter::EditorType::SingleLine; ///< of a String
    bool hasAlpha = true;                                                         ///< of a Color
};

/// Tells about one bundle of a list.
struct BundleView
{
    std::string name;
    std::vector<ParameterView> parameters;
};

struct BundleListView
{
    std::string name;
    std::vector<BundleView> bundles;
};

/// Tells about an input and what feeds it.
struct InputView
{
    std::string name;
    std::string type; ///< "Texture"; empty where it is unknown
    bool isList = false;
    std::vector<std::string> sources; ///< keys: one for a single input, one for each element; empty for nothing
};

/// Tells about an operator of a document.
struct OperatorView
{
    std::string key;
    std::string type;
    bool isKnown = false; ///< the type is registered
    std::optional<double> x;
    std::optional<double> y;
    std::string outputType;                ///< empty without an output
    std::vector<ParameterView> parameters; ///< in the operator's order; what the document sets besides comes last
    std::vector<BundleListView> bundleLists;
    std::vector<InputView> inputs;
};

/// Returns the keys of a document's operators, in order.
VARKLE_API std::vector<std::string> GetKeys(const GraphDocument& document);

/// Tells about the operator with a key; nothing when there is none. Makes some operators of its type to ask them, which
/// takes some tens of microseconds.
VARKLE_API std::optional<OperatorView> ViewOperator(const GraphDocument& document, std::string_view key);

/// Is one connection of a document.
struct WireView
{
    std::string source;
    std::string key; ///< of the operator that is fed
    std::string input;
    std::optional<std::size_t> element; ///< of an input list

    bool operator==(const WireView&) const = default;
};

/// Returns the connections of a document, in the order of the operators that are fed.
VARKLE_API std::vector<WireView> GetWires(const GraphDocument& document);

/// Is an input that a wire could go to, and why it can't.
struct TargetView
{
    std::string key;
    std::string input;
    std::string problem; ///< in the words of GraphDocument::Check; empty where nothing is in the way
};

/// Returns every input of the known operators, and why it can't be fed by the operator with a key.
VARKLE_API std::vector<TargetView> FindTargets(const GraphDocument& document, std::string_view source);

/// Tells whether an operator can feed an input of another one, and if not why not: the data differs, or the connection
/// would close a cycle. What feeds the input now is no hindrance.
VARKLE_API Status CanConnect(const GraphDocument& document, std::string_view source, std::string_view key,
                             std::string_view input);

/// Tells about a file that a parameter names and that is not there.
struct MissingFile
{
    std::string key;
    std::string parameter;
    std::string path;      ///< absolute
    DocumentError warning; ///< says so, with the place of the path in the document; line 0 when it does not stand there
};

/// Returns the files that parameters of a document name and that do not exist: of those whose editor is a file path.
/// An empty path names none. The document has no errors.
VARKLE_API std::vector<MissingFile> FindMissingFiles(const GraphDocument& document);

} // namespace Varkle
