#pragma once

#include "Varkle/Core/Export.h"
#include "Varkle/Core/Result.h"
#include "Varkle/Document/GraphDocument.h"
#include "Varkle/Document/Json.h"

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace Varkle
{

// What can be done to a document. Operators are named by their keys, everything else by the names that documents use.
// An edit is a value: it can be kept, sent, and applied to any document that it fits.

/// Puts operators, each a JSON object as it stands in a document, into the list: from `index` on, at the end without
/// one. They bring their wires along; what they name must be among them or in the document.
struct AddOperators
{
    std::vector<JsonValue> operators;
    std::optional<std::size_t> index;
};

/// Takes operators out, and with them what names them: what they feed is fed by nothing, elements of lists go together
/// with their bundles, references return to their default.
struct RemoveOperators
{
    std::vector<std::string> keys;
};

/// Gives an operator another key. Connections and references follow.
struct RenameOperator
{
    std::string key;
    std::string newKey;
};

/// Puts an operator at another place of the list, counted without it; beyond the end is at the end.
struct MoveOperator
{
    std::string key;
    std::size_t index = 0;
};

/// Feeds a single input, or an element of an input list that is there.
struct ConnectInput
{
    std::string key;
    std::string input;
    std::optional<std::size_t> element; ///< of a list; the end of the list, as a new element, without one
    std::string source;                 ///< the key of the operator that feeds it; empty for none
};

/// Puts a new element into an input list, before the one that is at its place now, with a bundle of its own.
struct InsertElement
{
    std::string key;
    std::string input;
    std::size_t element = 0;
    std::string source; ///< empty for an element that nothing feeds
};

/// Puts an element of an input list, and its bundle, at another place, counted without it.
struct MoveElement
{
    std::string key;
    std::string input;
    std::size_t from = 0;
    std::size_t to = 0;
};

/// Undoes what feeds an input; an element of a list goes, and its bundle with it.
struct DisconnectInput
{
    std::string key;
    std::string input;
    std::optional<std::size_t> element; ///< of a list; all of them without one
};

/// Says what a parameter is set to: a value or an expression as a document writes it.
struct SetParameter
{
    std::string key;
    std::string parameter;
    std::optional<JsonValue> value; ///< without one the parameter returns to its default
    std::string bundleList;         ///< empty for the operator's own parameters
    std::size_t bundle = 0;         ///< in the list of bundles, from 0
};

/// Says where an editor draws an operator.
struct SetPosition
{
    std::string key;
    double x = 0;
    double y = 0;
};

/// Sets a member that is an editor's own. Its name begins with "x-".
struct SetExtra
{
    std::string key; ///< of the operator; empty for the document's own
    std::string name;
    std::optional<JsonValue> value; ///< without one the member goes
};

struct SetFrameRate
{
    double framesPerSecond = 60;
};

/// Puts another text's content in place of the document's, such as that of its file after somebody else changed it.
struct ReplaceDocument
{
    JsonValue root;
};

using DocumentEdit =
    std::variant<AddOperators, RemoveOperators, RenameOperator, MoveOperator, ConnectInput, InsertElement, MoveElement,
                 DisconnectInput, SetParameter, SetPosition, SetExtra, SetFrameRate, ReplaceDocument>;

/// Says what happened at one place of a document's tree: what was there and what is there now. Nothing before: it was
/// inserted; nothing after: it was removed.
struct DocumentSplice
{
    std::vector<std::size_t> path; ///< to the object or array: the place of each child on the way, from the root
    std::size_t index = 0;         ///< of the member or element
    std::optional<JsonMember> before;
    std::optional<JsonMember> after; ///< elements of arrays have no name
};

/// Says everything that an edit did, in order. Unlike an edit it only fits a document that is exactly as the one that
/// it was made on, and it then gives exactly the same again.
struct VARKLE_API DocumentChange
{
    std::vector<DocumentSplice> splices;

    /// Returns the change that undoes this one.
    DocumentChange Inverse() const;

    /// Puts another change, made after this one, behind it. One that sets the same place again replaces what this one
    /// set there, so that a value that is dragged leaves one splice and not thousands.
    void Append(DocumentChange later);
};

/// Applies an edit. What is wrong with it is said in the words of GraphDocument::Check, a line for each error, and the
/// document is then as before. Faults that the document had already stand in no edit's way: operators of unknown types
/// can be renamed, connected, moved and removed like others; only what is known of a type is checked.
VARKLE_API Result<DocumentChange> ApplyEdit(GraphDocument& document, const DocumentEdit& edit);

/// Applies a change that was made on a document like this one. Fails, changing nothing, where it does not fit.
VARKLE_API Status ApplyChange(GraphDocument& document, const DocumentChange& change);

/// Returns an edit as a JSON object: `{"edit": "setParameter", "key": "soft", "parameter": "Radius", "value": 12}`. The
/// members are those of the structs above, the edit's name is the struct's in lower camel case; what is empty is left
/// out.
VARKLE_API JsonValue WriteEdit(const DocumentEdit& edit);

/// Reads what WriteEdit writes. The error says which member is missing, wrong or unknown.
VARKLE_API Result<DocumentEdit> ReadEdit(const JsonValue& json);

/// Returns what an edit does in a few words for a menu: `Set "Radius"`, `Remove 3 Operators`.
VARKLE_API std::string DescribeEdit(const DocumentEdit& edit);

/// Returns operators of a document as they stand there, in its order, for ApplyEdit with AddOperators. Keys that the
/// document does not have are left out.
VARKLE_API std::vector<JsonValue> CopyOperators(const GraphDocument& document, const std::vector<std::string>& keys);

/// Makes operators fit to be added to a document: keys that are taken there get the next free number ("blur" becomes
/// "blur2") and what they name among each other follows. What comes from outside of them is kept where the document has
/// an operator of that key and `keepsWires` is true, and undone otherwise.
VARKLE_API std::vector<JsonValue> FitOperators(const GraphDocument& document, std::vector<JsonValue> operators,
                                               bool keepsWires);

} // namespace Varkle
