#pragma once

#include "Varkle/Document/GraphDocument.h"
#include "Varkle/Document/Json.h"

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// What several parts ask of a document's tree.

namespace Varkle
{

struct OperatorInfo;

/// Returns the place of an object's member, nothing where it has none of that name or is no object.
std::optional<std::size_t> FindMemberIndex(const JsonValue& object, std::string_view name);

/// Returns an object's member to be changed, null when there is none.
JsonValue* FindMember(JsonValue& object, std::string_view name);

/// Returns a string member's text, empty when there is none.
std::string GetText(const JsonValue& object, std::string_view name);

/// Returns the document's operators: what the array "operators" holds.
const std::vector<JsonValue>& GetOperators(const JsonValue& root);

/// Returns what is known of the type of an operator of a document, null for one that is unknown.
const OperatorInfo* FindInfo(const JsonValue& op);

/// True when a text may be an operator's key.
bool IsKey(std::string_view text);

/// Calls `visit` with each value of an operator's inputs that names what feeds it.
void ForEachSource(const JsonValue& op, const std::function<void(const JsonValue& key)>& visit);

/// Makes nothing feed an operator's inputs; lists keep their elements.
void ForgetSources(JsonValue& op);

/// Calls `visit` with each value of an operator that names another one: of inputs, elements of input lists and, where
/// the type is known, References, also in bundles. Values that are null are left out.
void ForEachKey(JsonValue& op, const std::function<void(JsonValue& key)>& visit);

/// Returns a document of some of another one's operators, in its order, and of those that they name: these stand for
/// themselves with nothing but key and type. What names an operator that is unknown names nothing there. Without
/// `wires` nothing feeds the operators; their lists have their elements all the same.
GraphDocument TakePart(const GraphDocument& document, const std::vector<std::size_t>& operators, bool wires = true);

/// Opens documents to the parts of this library that make and change them.
class DocumentAccess
{
public:
    /// Returns the tree to be changed. ForgetKeys has to be called after changes of keys and of their places.
    static JsonValue& Root(GraphDocument& document);
    static void ForgetKeys(GraphDocument& document);

    static GraphDocument Make(JsonValue root, std::string name, std::filesystem::path folder);
};

/// Forgets where values stood in a text.
void ForgetPlaces(JsonValue& value);

} // namespace Varkle
