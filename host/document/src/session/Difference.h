#pragma once

#include "Varkle/Document/DocumentEdit.h"
#include "Varkle/Document/GraphDocument.h"

#include <cstddef>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace Varkle
{

class Graph;
class Operator;

/// Says which operators got other keys, from the first key to the last one.
class Renames
{
public:
    void Add(const std::string& from, const std::string& to) { newKeys[from] = to; }
    bool IsEmpty() const { return newKeys.empty(); }

    /// Returns the key that an operator has now, and the one that it had.
    std::string ToNew(const std::string& key) const;
    std::string ToOld(const std::string& key) const;

    /// Gives the operators of a graph their new keys. Those in `gone` are in nobody's way.
    void Apply(Graph& graph, const std::vector<Operator*>& gone) const;

private:
    std::unordered_map<std::string, std::string> newKeys;
};

/// Is what a graph has to look at to follow a document: what differs, and no less.
struct Difference
{
    std::vector<std::size_t> changed; ///< operators to be set anew, by their places in the document
    std::vector<Operator*> gone;      ///< of the graph, that the document does not have
    Renames renames;
    bool wires = false;  ///< what feeds the changed ones may differ
    bool order = false;  ///< operators came, went or changed places
    bool places = false; ///< all may stand elsewhere in the text
    bool broken = false; ///< the document's list of operators can't be followed: Check tells why

    bool IsEmpty() const { return changed.empty() && gone.empty() && !order && !places && renames.IsEmpty(); }
};

/// Compares a document with the one that a graph was made from, and with the graph's connections.
Difference Compare(const GraphDocument& before, const GraphDocument& wanted, const Graph& graph, Renames renames = {});

/// Finds the operators that a change gave other keys.
Renames FindRenames(const GraphDocument& before, const GraphDocument& after, const DocumentChange& change);

/// Tells what a change of a document, which was done, means for its graph. Returns false when that can't be seen from
/// the change alone: operators came, went, moved or got other keys.
bool ReadChange(const GraphDocument& document, const DocumentChange& change, Difference& difference);

} // namespace Varkle
