#include "session/Difference.h"

#include "Varkle/Core/DataPorts.h"
#include "Varkle/Core/Graph.h"
#include "Varkle/Core/TypeLibrary.h"
#include "document/DocumentTree.h"

#include <algorithm>
#include <numeric>
#include <unordered_set>
#include <utility>

namespace Varkle
{

namespace
{

// True for what a graph does not see of an operator.
bool IsForEditors(const std::string& member)
{
    return member == "position" || member.starts_with("x-");
}

// True when two operators mean the same to a graph.
bool MeanSame(const JsonValue& a, const JsonValue& b)
{
    const auto skip = [](const JsonValue& op, std::size_t i)
    {
        while (i < op.members.size() && IsForEditors(op.members[i].name))
            ++i;
        return i;
    };
    std::size_t i = skip(a, 0);
    std::size_t j = skip(b, 0);
    for (; i < a.members.size() && j < b.members.size(); i = skip(a, i + 1), j = skip(b, j + 1))
    {
        if (a.members[i].name != b.members[j].name || !SaySame(a.members[i].value, b.members[j].value))
            return false;
    }
    return i == a.members.size() && j == b.members.size();
}

std::string SourceOf(const DataInput& input)
{
    const DataOutput* const output = input.GetConnection();
    return output ? output->GetOperator()->GetKey() : std::string();
}

// True when the inputs of an operator are fed as the document says.
bool HasWires(const Operator& op, const JsonValue& json, const Renames& renames)
{
    const JsonValue* const inputs = json.Find("inputs");
    const auto isFed = [&](const DataInput& input, const JsonValue* wanted)
    {
        const std::string source = SourceOf(input);
        const bool isKey = wanted && wanted->kind == JsonKind::String;
        return (renames.IsEmpty() ? source : renames.ToNew(source)) == (isKey ? wanted->text : std::string());
    };
    for (const Object* const object : op.GetInputs())
    {
        if (const auto* const input = dynamic_cast<const DataInput*>(object))
        {
            if (!isFed(*input, inputs ? inputs->Find(input->GetName()) : nullptr))
                return false;
        }
        else if (const auto* const list = dynamic_cast<const DataInputList*>(object))
        {
            const JsonValue* const wanted = inputs ? inputs->Find(list->GetName()) : nullptr;
            const auto isElementFed = [&](const DataInput* element, const JsonValue& key)
            { return isFed(*element, &key); };
            if (!std::ranges::equal(list->GetInputs(), wanted ? wanted->elements : std::vector<JsonValue>(),
                                    isElementFed))
                return false;
        }
    }
    return true;
}

bool IsOfType(const Operator& op, const JsonValue& json)
{
    const OperatorInfo* const info = FindInfo(json);
    return info && info->type == op.GetType();
}

} // namespace

std::string Renames::ToNew(const std::string& key) const
{
    const auto found = newKeys.find(key);
    return found == newKeys.end() ? key : found->second;
}

std::string Renames::ToOld(const std::string& key) const
{
    const auto found = std::ranges::find(newKeys, key, [](const auto& keys) { return keys.second; });
    return found == newKeys.end() ? key : found->first;
}

void Renames::Apply(Graph& graph, const std::vector<Operator*>& gone) const
{
    if (IsEmpty())
        return;
    std::vector<std::pair<Operator*, std::string>> renamed;
    for (const auto& [from, to] : newKeys)
    {
        Operator* const op = graph.Find(from);
        if (op && std::ranges::find(gone, op) == gone.end())
            renamed.emplace_back(op, to);
    }
    // Two may change keys with each other, and the key may be that of one that goes.
    for (Operator* const op : gone)
        op->SetKey("gone");
    for (const auto& [op, key] : renamed)
        op->SetKey("renamed");
    for (const auto& [op, key] : renamed)
        op->SetKey(key);
}

Difference Compare(const GraphDocument& before, const GraphDocument& wanted, const Graph& graph, Renames renames)
{
    Difference difference;
    difference.renames = std::move(renames);
    difference.wires = true;
    difference.places = true;
    const Renames& names = difference.renames;
    const std::vector<JsonValue>& old = GetOperators(before.GetRoot());
    const std::vector<JsonValue>& all = GetOperators(wanted.GetRoot());

    std::unordered_set<std::string> goneKeys; // of operators that are not as they were for who names them
    for (const std::unique_ptr<Operator>& op : graph.GetOperators())
    {
        const std::string key = names.ToNew(op->GetKey());
        const std::optional<std::size_t> place = wanted.FindOperator(key);
        if (place && names.ToOld(key) == op->GetKey() && IsOfType(*op, all[*place]))
            continue;
        difference.gone.push_back(op.get());
        goneKeys.insert(key);
    }
    for (const JsonValue& op : all) // what comes may be named by what stays, where a program took it out of the graph
    {
        if (const std::string key = GetText(op, "key"); !graph.Find(names.ToOld(key)))
            goneKeys.insert(key);
    }
    difference.order = !difference.gone.empty() || all.size() != graph.GetOperators().size();

    for (std::size_t i = 0; i < all.size(); ++i)
    {
        const std::string key = GetText(all[i], "key");
        if (!IsKey(key) || wanted.FindOperator(key) != i)
        {
            difference.broken = true;
            return difference;
        }
        const std::string oldKey = names.ToOld(key);
        const Operator* const op = graph.Find(oldKey);
        const std::optional<std::size_t> place = before.FindOperator(oldKey);
        bool isSame =
            op && place && IsOfType(*op, all[i]) && MeanSame(old[*place], all[i]) && HasWires(*op, all[i], names);
        if (isSame && !goneKeys.empty())
        {
            JsonValue copy = all[i];
            ForEachKey(copy, [&](const JsonValue& named) { isSame = isSame && !goneKeys.contains(named.text); });
        }
        if (!isSame)
            difference.changed.push_back(i);
        difference.order = difference.order || graph.GetOperators()[i].get() != op;
    }
    return difference;
}

Renames FindRenames(const GraphDocument& before, const GraphDocument& after, const DocumentChange& change)
{
    Renames renames;
    const std::vector<JsonValue>& old = GetOperators(before.GetRoot());
    const std::vector<JsonValue>& now = GetOperators(after.GetRoot());
    const std::optional<std::size_t> list = FindMemberIndex(before.GetRoot(), "operators");

    // Follows the places of the old operators through the change. One that only moved was removed and inserted.
    std::vector<std::size_t> places(old.size());
    std::iota(places.begin(), places.end(), std::size_t(0));
    std::unordered_map<std::string, std::size_t> removed;
    for (const DocumentSplice& splice : change.splices)
    {
        if (splice.path.empty() && !(splice.before && splice.after && splice.before->name != "operators"))
            return renames; // the list may be another one
        if (splice.path.size() != 1 || splice.path[0] != list)
            continue;
        const auto at = places.begin() + std::ptrdiff_t(splice.index);
        if (splice.before)
            removed[GetText(splice.before->value, "key")] = *at;
        if (splice.after)
        {
            const auto known = removed.find(GetText(splice.after->value, "key"));
            places.insert(at, known != removed.end() ? known->second : old.size());
        }
        else
            places.erase(at);
    }
    for (std::size_t i = 0; i < std::min(places.size(), now.size()); ++i)
    {
        const std::string from = places[i] < old.size() ? GetText(old[places[i]], "key") : std::string();
        const std::string to = GetText(now[i], "key");
        if (!from.empty() && from != to)
            renames.Add(from, to);
    }
    return renames;
}

bool ReadChange(const GraphDocument& document, const DocumentChange& change, Difference& difference)
{
    const JsonValue& root = document.GetRoot();
    const std::optional<std::size_t> list = FindMemberIndex(root, "operators");
    bool isSeen = true;
    std::unordered_set<std::size_t> changed;
    for (const DocumentSplice& splice : change.splices)
    {
        const bool isReplacement = splice.before && splice.after;
        const std::string& name = splice.before ? splice.before->name : splice.after->name;
        const bool isOfOperator = splice.path.size() >= 2 && splice.path[0] == list;
        if (splice.path.empty() ? !isReplacement || name == "operators" : splice.path[0] == list && !isOfOperator)
            isSeen = false;
        if (!isOfOperator)
            continue;
        const std::size_t place = splice.path[1];
        if (place >= GetOperators(root).size())
            return false; // it went later
        if (splice.path.size() == 2 && (name == "key" || name == "type"))
            isSeen = false;
        if (splice.path.size() == 2 && IsForEditors(name))
        {
            // Members behind it have moved, so that their places in other splices say nothing.
            difference.wires = difference.wires || !isReplacement;
            continue;
        }
        const std::vector<JsonMember>& members = GetOperators(root)[place].members;
        const bool isInside = splice.path.size() > 2 && splice.path[2] < members.size();
        const std::string member = isInside ? members[splice.path[2]].name : std::string();
        const bool keepsWires = splice.path.size() > 2 ? member == "parameters" : name == "parameters" && isReplacement;
        difference.wires = difference.wires || !keepsWires;
        changed.insert(place);
    }
    difference.changed.assign(changed.begin(), changed.end());
    std::ranges::sort(difference.changed);
    return isSeen;
}

} // namespace Varkle
