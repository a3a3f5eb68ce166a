#include "Varkle/Document/DocumentEdit.h"

#include "Varkle/Core/DataPorts.h"
#include "Varkle/Core/Operator.h"
#include "Varkle/Core/ParameterBundle.h"
#include "Varkle/Core/Text.h"
#include "Varkle/Core/TypeLibrary.h"
#include "Varkle/Document/DocumentQuery.h"
#include "Varkle/Document/JsonLayout.h"
#include "Varkle/Gpu/NoStart.h"
#include "document/DocumentChange.h"
#include "document/DocumentCheck.h"
#include "document/DocumentTree.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <numeric>
#include <set>
#include <unordered_map>
#include <unordered_set>
#include <utility>

// Edits are done to the tree first, splice by splice, and checked afterwards: what is wrong then and was not before is
// the edit's fault, and the splices are taken back.

namespace Varkle
{

namespace
{

using Path = std::vector<std::size_t>;
using Names = std::vector<std::string>;

const Names rootOrder = {"format", "version", "frameRate", "operators"};
const Names operatorOrder = {"key", "type", "parameters", "inputs", "bundles", "position"};

Names NamesOf(const std::vector<OperatorInfo::Entry>& entries)
{
    Names names;
    std::ranges::transform(entries, std::back_inserter(names), &OperatorInfo::Entry::name);
    return names;
}

// Returns where a member that an object does not have belongs: before those that come later in the order. Members that
// the order does not name stay where they are.
std::size_t FindPlace(const JsonValue& object, std::string_view name, const Names& order)
{
    const auto rank = std::ranges::find(order, name);
    const auto isLater = [&](const JsonMember& member)
    { return rank != order.end() && std::find(rank, order.end(), member.name) != order.end(); };
    return std::size_t(std::ranges::find_if(object.members, isLater) - object.members.begin());
}

// Is how an operator's type takes what feeds an input.
struct ListFacts
{
    bool isKnown = false; // by the operator itself
    bool isList = false;  // takes any number
    Names bundleLists;    // that have a bundle for each element
};

// Only an operator itself knows which inputs are lists and which bundles come along with their elements. Where the type
// is unknown the document tells the one, and nothing the other.
ListFacts FindListFacts(const JsonValue& op, const std::string& input)
{
    ListFacts facts;
    const JsonValue* const inputs = op.Find("inputs");
    const JsonValue* const present = inputs ? inputs->Find(input) : nullptr;
    facts.isList = present && present->kind == JsonKind::Array;
    const OperatorInfo* const info = FindInfo(op);
    const Graphics::NoStart asked;
    const std::unique_ptr<Object> object = info ? info->type->Create() : nullptr;
    const auto* const specimen = dynamic_cast<const Operator*>(object.get());
    if (!specimen)
        return facts;
    DataInputList* const list = specimen->FindInputList(input);
    facts.isKnown = list || specimen->FindInput(input);
    if (facts.isKnown)
        facts.isList = list != nullptr;
    if (!list)
        return facts;
    std::vector<std::size_t> before;
    for (const ParameterBundleList* const bundles : specimen->GetBundleLists())
        before.push_back(bundles->GetBundles().size());
    list->AddInput();
    for (std::size_t i = 0; i < before.size(); ++i)
    {
        if (specimen->GetBundleLists()[i]->GetBundles().size() == before[i] + 1)
            facts.bundleLists.push_back(specimen->GetBundleLists()[i]->GetName());
    }
    return facts;
}

JsonValue KeyOrNull(const std::string& key)
{
    return key.empty() ? JsonNull() : JsonString(key);
}

JsonMember Element(JsonValue value)
{
    return {{}, {0, 0}, std::move(value)};
}

std::string InOperator(const std::string& key)
{
    return "operator " + Quoted(key) + ": ";
}

// Does one edit to a document and remembers it.
class Editor
{
public:
    Editor(GraphDocument& edited, bool asksOperators) : document(edited), built(asksOperators) {}

    Result<DocumentChange> Run(const DocumentEdit& edit)
    {
        Status status = CheckShape(edit);
        if (status)
            status = std::visit([this](const auto& e) { return Do(e); }, edit);
        if (status)
            status = CheckResult();
        if (status)
            return std::move(change);
        TakeBack(document, change);
        return status.GetError();
    }

private:
    // A document that is no object, or whose operators are no list, can only be replaced.
    Status CheckShape(const DocumentEdit& edit) const
    {
        const JsonValue& root = document.GetRoot();
        const JsonValue* const list = root.Find("operators");
        const bool isWhole = root.kind == JsonKind::Object && (!list || list->kind == JsonKind::Array);
        if (isWhole || (std::holds_alternative<ReplaceDocument>(edit) && root.kind == JsonKind::Object))
            return Ok();
        return Error{"the document has no list of operators"};
    }

    // The splices.

    void Do(Path path, std::size_t index, std::optional<JsonMember> before, std::optional<JsonMember> after)
    {
        DocumentSplice splice{std::move(path), index, std::move(before), std::move(after)};
        if (Splice(document, splice))
            change.splices.push_back(std::move(splice));
    }

    JsonValue& At(const Path& path) { return *Walk(DocumentAccess::Root(document), path); }

    void InsertChild(const Path& path, std::size_t index, JsonMember child)
    {
        Do(path, index, std::nullopt, std::move(child));
    }

    void RemoveChild(const Path& path, std::size_t index)
    {
        const JsonValue& container = At(path);
        Do(path, index,
           container.kind == JsonKind::Object ? container.members[index] : Element(container.elements[index]),
           std::nullopt);
    }

    void ReplaceElement(const Path& path, std::size_t index, JsonValue value)
    {
        Do(path, index, Element(At(path).elements[index]), Element(std::move(value)));
    }

    // Sets a member of an object, where it belongs by an order when it is new.
    void SetMemberAt(const Path& path, const std::string& name, JsonValue value, const Names& order)
    {
        const JsonValue& object = At(path);
        if (const auto index = FindMemberIndex(object, name))
        {
            const JsonMember before = object.members[*index];
            if (LayOutJson(before.value) != LayOutJson(value))
                Do(path, *index, before, JsonMember{name, before.at, std::move(value)});
            return;
        }
        InsertChild(path, FindPlace(object, name, order), {name, {0, 0}, std::move(value)});
    }

    // Returns the path of a member that is an object or an array; an empty one is made when there is none.
    Path OpenMember(Path path, const std::string& name, JsonValue empty, const Names& order)
    {
        const JsonKind kind = empty.kind;
        auto index = FindMemberIndex(At(path), name);
        if (!index || At(path).members[*index].value.kind != kind)
        {
            SetMemberAt(path, name, std::move(empty), order);
            index = FindMemberIndex(At(path), name);
        }
        path.push_back(*index);
        return path;
    }

    // Removes a member, and what holds it when that is empty then.
    void RemoveMemberAt(const Path& path, std::string_view name)
    {
        const auto index = FindMemberIndex(At(path), name);
        if (!index)
            return;
        RemoveChild(path, *index);
        RemoveIfEmpty(path);
    }

    void RemoveElementAt(const Path& path, std::size_t index)
    {
        RemoveChild(path, index);
        RemoveIfEmpty(path);
    }

    // Maps and lists that hold nothing are left out of documents; operators and the document itself stay.
    void RemoveIfEmpty(const Path& path)
    {
        constexpr std::size_t ofOperator = 2; // the list of operators, and the operator in it
        const JsonValue& container = At(path);
        if (path.size() <= ofOperator || !container.members.empty() || !container.elements.empty())
            return;
        const Path outer(path.begin(), path.end() - 1);
        if (At(outer).kind == JsonKind::Array)
            return; // an element that is empty keeps its place
        RemoveChild(outer, path.back());
        RemoveIfEmpty(outer);
    }

    std::optional<Path> FindPath(const Path& object, std::string_view name)
    {
        const auto index = FindMemberIndex(At(object), name);
        if (!index)
            return std::nullopt;
        Path path = object;
        path.push_back(*index);
        return path;
    }

    // Operators.

    Path ListPath() { return OpenMember({}, "operators", JsonArray(), rootOrder); }

    Path OperatorPath(std::size_t index)
    {
        Path path = ListPath();
        path.push_back(index);
        return path;
    }

    Status Unknown(const std::string& key) const
    {
        Names keys;
        for (const JsonValue& op : GetOperators(document.GetRoot()))
            keys.push_back(GetText(op, "key"));
        return Error{"there is no operator " + Quoted(key) + Suggestion(key, keys)};
    }

    // Calls `action` with the path of an operator that changes.
    template<class Action>
    Status WithOperator(const std::string& key, const Action& action)
    {
        const std::optional<std::size_t> index = document.FindOperator(key);
        if (!index)
            return Unknown(key);
        touched.insert(*index);
        return action(OperatorPath(*index));
    }

    static Status CheckKey(const std::string& key)
    {
        if (IsKey(key))
            return Ok();
        return Error{"the key " + Quoted(key) + " must consist of letters, digits, \"_\", \"-\" and \".\""};
    }

    Status Do(const AddOperators& edit)
    {
        std::unordered_set<std::string> added;
        for (const JsonValue& op : edit.operators)
        {
            const JsonValue* const key = op.Find("key");
            if (!key || key->kind != JsonKind::String)
                return Error{"an operator must be an object with at least \"key\" and \"type\""};
            if (const Status status = CheckKey(key->text); !status)
                return status;
            if (document.FindOperator(key->text) || !added.insert(key->text).second)
                return Error{InOperator(key->text) + "the key is used already"};
        }
        const Path list = ListPath();
        std::size_t place = std::min(edit.index.value_or(At(list).elements.size()), At(list).elements.size());
        for (JsonValue op : edit.operators)
        {
            ForgetPlaces(op);
            InsertChild(list, place, Element(std::move(op)));
            touched.insert(place++);
        }
        checksCycles = true;
        return Ok();
    }

    Status Do(const RemoveOperators& edit)
    {
        std::unordered_set<std::string> gone;
        for (const std::string& key : edit.keys)
        {
            if (!document.FindOperator(key))
                return Unknown(key);
            gone.insert(key);
        }
        const Path list = ListPath();
        const std::size_t count = At(list).elements.size();
        std::vector<std::size_t> places;
        for (std::size_t i = 0; i < count; ++i)
        {
            if (gone.contains(GetText(At(list).elements[i], "key")))
                places.push_back(i);
            else
                Forget(i, gone);
        }
        for (auto place = places.rbegin(); place != places.rend(); ++place)
            RemoveChild(list, *place);

        std::set<std::size_t> moved;
        for (const std::size_t index : touched)
            moved.insert(index - std::size_t(std::ranges::lower_bound(places, index) - places.begin()));
        touched = std::move(moved);
        return Ok();
    }

    // Undoes what names operators that go.
    void Forget(std::size_t index, const std::unordered_set<std::string>& gone)
    {
        JsonValue op = GetOperators(document.GetRoot())[index];
        bool names = false;
        ForEachKey(op, [&](const JsonValue& key) { names = names || gone.contains(key.text); });
        if (!names)
            return;
        touched.insert(index);
        const Path path = OperatorPath(index);
        ForgetInputs(path, gone);
        ForgetReferences(path, gone);
    }

    void ForgetInputs(const Path& op, const std::unordered_set<std::string>& gone)
    {
        const JsonValue copy = At(op);
        const JsonValue* const inputs = copy.Find("inputs");
        for (const JsonMember& input : inputs ? inputs->members : std::vector<JsonMember>())
        {
            const auto isGone = [&](const JsonValue& key)
            { return key.kind == JsonKind::String && gone.contains(key.text); };
            if (isGone(input.value))
            {
                RemoveMemberAt(*FindPath(op, "inputs"), input.name);
                continue;
            }
            for (std::size_t i = input.value.elements.size(); i > 0; --i)
            {
                if (isGone(input.value.elements[i - 1]))
                    RemoveListElement(op, input.name, i - 1);
            }
        }
    }

    void ForgetReferences(const Path& op, const std::unordered_set<std::string>& gone)
    {
        // What still names one is marked in a copy, and then removed by its place.
        JsonValue marked = At(op);
        ForEachKey(marked,
                   [&](JsonValue& key)
                   {
                       if (gone.contains(key.text))
                           key.kind = JsonKind::Null;
                   });
        const JsonValue before = At(op);
        const auto clean = [&](const auto& findMap, const JsonValue& was, const JsonValue& is)
        {
            for (std::size_t i = 0; i < was.members.size(); ++i)
            {
                if (was.members[i].value.kind != is.members[i].value.kind)
                    RemoveMemberAt(findMap(), was.members[i].name);
            }
        };
        if (const JsonValue* const parameters = before.Find("parameters"))
            clean([&] { return *FindPath(op, "parameters"); }, *parameters, *marked.Find("parameters"));
        const JsonValue* const bundles = before.Find("bundles");
        for (const JsonMember& list : bundles ? bundles->members : std::vector<JsonMember>())
        {
            for (std::size_t i = 0; i < list.value.elements.size(); ++i)
            {
                const auto findMap = [&]
                {
                    Path path = *FindPath(*FindPath(op, "bundles"), list.name);
                    path.push_back(i);
                    return path;
                };
                clean(findMap, list.value.elements[i], marked.Find("bundles")->Find(list.name)->elements[i]);
            }
        }
    }

    Status Do(const RenameOperator& edit)
    {
        if (edit.key == edit.newKey)
            return document.FindOperator(edit.key) ? Ok() : Unknown(edit.key);
        if (const Status status = CheckKey(edit.newKey); !status)
            return status;
        if (document.FindOperator(edit.newKey))
            return Error{InOperator(edit.newKey) + "the key is used already"};
        const std::optional<std::size_t> index = document.FindOperator(edit.key);
        if (!index)
            return Unknown(edit.key);
        // Nothing but names changes, and the new one is in order.
        SetMemberAt(OperatorPath(*index), "key", JsonString(edit.newKey), operatorOrder);
        const std::size_t count = GetOperators(document.GetRoot()).size();
        for (std::size_t i = 0; i < count; ++i)
            RenameIn(OperatorPath(i), edit);
        return Ok();
    }

    void RenameIn(const Path& path, const RenameOperator& edit)
    {
        bool names = false;
        JsonValue renamed = At(path);
        ForEachKey(renamed,
                   [&](JsonValue& key)
                   {
                       if (key.text != edit.key)
                           return;
                       key.text = edit.newKey;
                       names = true;
                   });
        if (names)
            ReplaceChanged(path, renamed);
    }

    // Makes a value of the tree say what another one of the same shape says, by the least replacements.
    void ReplaceChanged(const Path& path, const JsonValue& wanted)
    {
        const auto isPlain = [](const JsonValue& value) { return value.members.empty() && value.elements.empty(); };
        const bool isObject = wanted.kind == JsonKind::Object;
        const std::size_t count = isObject ? wanted.members.size() : wanted.elements.size();
        for (std::size_t i = 0; i < count; ++i)
        {
            const JsonValue& child = isObject ? wanted.members[i].value : wanted.elements[i];
            Path inner = path;
            inner.push_back(i);
            if (!isPlain(child))
                ReplaceChanged(inner, child);
            else if (isObject && !SaySame(child, At(inner)))
                Do(path, i, At(path).members[i], wanted.members[i]);
            else if (!SaySame(child, At(inner)))
                ReplaceElement(path, i, child);
        }
    }

    Status Do(const MoveOperator& edit)
    {
        const std::optional<std::size_t> index = document.FindOperator(edit.key);
        if (!index)
            return Unknown(edit.key);
        const Path list = ListPath();
        MoveChild(list, *index, edit.index);
        return Ok();
    }

    void MoveChild(const Path& list, std::size_t from, std::size_t to)
    {
        to = std::min(to, At(list).elements.size() - 1);
        if (from == to)
            return;
        JsonValue moved = At(list).elements[from];
        RemoveChild(list, from);
        InsertChild(list, to, Element(std::move(moved)));
    }

    // Inputs.

    static Names InputOrder(const JsonValue& op)
    {
        const OperatorInfo* const info = FindInfo(op);
        return info ? NamesOf(info->inputs) : Names();
    }

    Path InputsPath(const Path& op) { return OpenMember(op, "inputs", JsonObject(), operatorOrder); }

    Path InputListPath(const Path& op, const std::string& input)
    {
        const Path inputs = InputsPath(op);
        return OpenMember(inputs, input, JsonArray(), InputOrder(At(op)));
    }

    std::size_t CountElements(const Path& op, const std::string& input)
    {
        const JsonValue* const inputs = At(op).Find("inputs");
        const JsonValue* const list = inputs ? inputs->Find(input) : nullptr;
        return list ? list->elements.size() : 0;
    }

    Status NoSuchElement(const Path& op, const std::string& input, std::size_t element)
    {
        const std::size_t count = CountElements(op, input);
        return Error{InOperator(GetText(At(op), "key")) + "input " + Quoted(input) + " has no element " +
                     std::to_string(element + 1) + ": it has " + std::to_string(count)};
    }

    static Status IsNoList(const JsonValue& op, const std::string& input)
    {
        return Error{InOperator(GetText(op, "key")) + "input " + Quoted(input) + " is no list"};
    }

    // A new connection has to be fine by itself. That also names the one input where a check would name all around a
    // cycle. A source that there is not is for the check to report.
    Status CheckSource(const std::string& key, const std::string& input, const std::string& source) const
    {
        if (!document.FindOperator(source) || !document.FindOperator(key))
            return Ok();
        const Status status = CanConnect(document, source, key, input);
        return status ? status : Status(Error{InOperator(key) + status.GetError().message});
    }

    Status Do(const ConnectInput& edit)
    {
        if (const Status fits = CheckSource(edit.key, edit.input, edit.source); !fits)
            return fits;
        return WithOperator(edit.key, [&](const Path& op) { return Connect(op, edit); });
    }

    Status Connect(const Path& op, const ConnectInput& edit)
    {
        const ListFacts facts = FindListFacts(At(op), edit.input);
        if (!facts.isList && edit.element)
            return IsNoList(At(op), edit.input);
        if (!facts.isList)
        {
            if (!edit.source.empty())
                SetMemberAt(InputsPath(op), edit.input, JsonString(edit.source), InputOrder(At(op)));
            else if (const auto inputs = FindPath(op, "inputs"))
                RemoveMemberAt(*inputs, edit.input);
            return Ok();
        }
        const std::size_t count = CountElements(op, edit.input);
        if (edit.element && *edit.element >= count)
            return NoSuchElement(op, edit.input, *edit.element);
        const Path list = InputListPath(op, edit.input);
        if (edit.element)
            ReplaceElement(list, *edit.element, KeyOrNull(edit.source));
        else
            InsertChild(list, count, Element(KeyOrNull(edit.source)));
        return Ok();
    }

    Status Do(const InsertElement& edit)
    {
        if (const Status fits = CheckSource(edit.key, edit.input, edit.source); !fits)
            return fits;
        return WithOperator(edit.key,
                            [&](const Path& op) -> Status
                            {
                                const ListFacts facts = FindListFacts(At(op), edit.input);
                                if (facts.isKnown && !facts.isList)
                                    return IsNoList(At(op), edit.input);
                                if (edit.element > CountElements(op, edit.input))
                                    return NoSuchElement(op, edit.input, edit.element);
                                InsertChild(InputListPath(op, edit.input), edit.element,
                                            Element(KeyOrNull(edit.source)));
                                for (const Path& bundles : FindBundles(op, facts))
                                {
                                    if (edit.element < At(bundles).elements.size())
                                        InsertChild(bundles, edit.element, Element(JsonObject()));
                                }
                                return Ok();
                            });
    }

    // Returns where the document gives bundles that come along with the elements of an input list.
    std::vector<Path> FindBundles(const Path& op, const ListFacts& facts)
    {
        std::vector<Path> found;
        const std::optional<Path> bundles = FindPath(op, "bundles");
        for (const std::string& name : facts.bundleLists)
        {
            if (const auto list = bundles ? FindPath(*bundles, name) : std::nullopt)
                found.push_back(*list);
        }
        return found;
    }

    Status Do(const MoveElement& edit)
    {
        return WithOperator(edit.key,
                            [&](const Path& op) -> Status
                            {
                                const ListFacts facts = FindListFacts(At(op), edit.input);
                                if (!facts.isList)
                                    return IsNoList(At(op), edit.input);
                                const std::size_t last = std::max(edit.from, edit.to);
                                if (last >= CountElements(op, edit.input))
                                    return NoSuchElement(op, edit.input, last);
                                if (edit.from == edit.to)
                                    return Ok();
                                MoveChild(InputListPath(op, edit.input), edit.from, edit.to);
                                for (const Path& bundles : FindBundles(op, facts))
                                {
                                    Pad(bundles, std::min(edit.from, edit.to), last + 1);
                                    if (last < At(bundles).elements.size())
                                        MoveChild(bundles, edit.from, edit.to);
                                }
                                return Ok();
                            });
    }

    // Fills a list of bundles up with empty ones, when it has any from a place on.
    void Pad(const Path& bundles, std::size_t first, std::size_t count)
    {
        if (At(bundles).elements.size() <= first)
            return;
        while (At(bundles).elements.size() < count)
            InsertChild(bundles, At(bundles).elements.size(), Element(JsonObject()));
    }

    void RemoveListElement(const Path& op, const std::string& input, std::size_t element)
    {
        const ListFacts facts = FindListFacts(At(op), input);
        RemoveElementAt(InputListPath(op, input), element);
        for (const std::string& name : facts.bundleLists)
        {
            const std::optional<Path> bundles = FindPath(op, "bundles");
            const std::optional<Path> list = bundles ? FindPath(*bundles, name) : std::nullopt;
            if (list && element < At(*list).elements.size())
                RemoveElementAt(*list, element);
        }
    }

    Status Do(const DisconnectInput& edit)
    {
        return WithOperator(edit.key,
                            [&](const Path& op) -> Status
                            {
                                const std::size_t count = CountElements(op, edit.input);
                                if (edit.element && *edit.element >= count)
                                    return NoSuchElement(op, edit.input, *edit.element);
                                if (edit.element)
                                    RemoveListElement(op, edit.input, *edit.element);
                                for (std::size_t i = edit.element ? 0 : count; i > 0; --i)
                                    RemoveListElement(op, edit.input, i - 1);
                                const std::optional<Path> inputs = FindPath(op, "inputs");
                                if (inputs && count == 0)
                                    RemoveMemberAt(*inputs, edit.input);
                                return Ok();
                            });
    }

    // Parameters and the rest.

    Status Do(const SetParameter& edit)
    {
        return WithOperator(edit.key, [&](const Path& op)
                            { return edit.bundleList.empty() ? SetOwn(op, edit) : SetOfBundle(op, edit); });
    }

    Status SetOwn(const Path& op, const SetParameter& edit)
    {
        const OperatorInfo* const info = FindInfo(At(op));
        const auto entry = info ? std::ranges::find(info->parameters, edit.parameter, &OperatorInfo::Entry::name)
                                : std::vector<OperatorInfo::Entry>::const_iterator();
        if (info && entry != info->parameters.end() && entry->marks.output != 0)
            return Error{InOperator(edit.key) + "parameter " + Quoted(edit.parameter) +
                         " is written by the operator and can't be set"};
        if (edit.value)
        {
            const Path map = OpenMember(op, "parameters", JsonObject(), operatorOrder);
            SetMemberAt(map, edit.parameter, WithoutPlaces(*edit.value), info ? NamesOf(info->parameters) : Names());
        }
        else if (const auto map = FindPath(op, "parameters"))
            RemoveMemberAt(*map, edit.parameter);
        return Ok();
    }

    Status SetOfBundle(const Path& op, const SetParameter& edit)
    {
        const OperatorInfo* const info = FindInfo(At(op));
        constexpr std::size_t most = 100'000; // far above what any list has: those before it are written too
        if (edit.bundle >= most)
            return Error{InOperator(edit.key) + Quoted(edit.bundleList) + " has no bundle " +
                         std::to_string(edit.bundle + 1)};
        if (!edit.value)
        {
            const std::optional<Path> bundles = FindPath(op, "bundles");
            const std::optional<Path> list = bundles ? FindPath(*bundles, edit.bundleList) : std::nullopt;
            if (list && edit.bundle < At(*list).elements.size())
            {
                Path map = *list;
                map.push_back(edit.bundle);
                RemoveMemberAt(map, edit.parameter);
            }
            return Ok();
        }
        const Path bundles = OpenMember(op, "bundles", JsonObject(), operatorOrder);
        Path map = OpenMember(bundles, edit.bundleList, JsonArray(), info ? NamesOf(info->parameters) : Names());
        while (At(map).elements.size() <= edit.bundle)
            InsertChild(map, At(map).elements.size(), Element(JsonObject()));
        map.push_back(edit.bundle);
        SetMemberAt(map, edit.parameter, WithoutPlaces(*edit.value), BundleOrder(info, edit.bundleList));
        return Ok();
    }

    static Names BundleOrder(const OperatorInfo* info, const std::string& list)
    {
        if (!info)
            return {};
        const auto entry = std::ranges::find(info->parameters, list, &OperatorInfo::Entry::name);
        const bool isList = entry != info->parameters.end() && !entry->bundles.empty();
        return isList ? NamesOf(entry->bundles[0].second) : Names();
    }

    static JsonValue WithoutPlaces(JsonValue value)
    {
        ForgetPlaces(value);
        return value;
    }

    Status Do(const SetPosition& edit)
    {
        return WithOperator(
            edit.key,
            [&](const Path& op) -> Status
            {
                SetMemberAt(op, "position", JsonArray({JsonNumber(edit.x), JsonNumber(edit.y)}), operatorOrder);
                return Ok();
            });
    }

    Status Do(const SetExtra& edit)
    {
        if (!edit.name.starts_with("x-"))
            return Error{"the name " + Quoted(edit.name) + " of an editor's own member must begin with \"x-\""};
        const auto set = [&](const Path& path) -> Status
        {
            if (edit.value)
                SetMemberAt(path, edit.name, WithoutPlaces(*edit.value), path.empty() ? rootOrder : operatorOrder);
            else
                RemoveMemberAt(path, edit.name);
            return Ok();
        };
        return edit.key.empty() ? set({}) : WithOperator(edit.key, set);
    }

    Status Do(const SetFrameRate& edit)
    {
        checksHead = true;
        SetMemberAt({}, "frameRate", JsonNumber(edit.framesPerSecond), rootOrder);
        return Ok();
    }

    Status Do(const ReplaceDocument& edit)
    {
        if (edit.root.kind != JsonKind::Object)
            return Error{"a graph document is an object with the members \"format\", \"version\" and \"operators\""};
        if (LayOutJson(edit.root) == LayOutJson(document.GetRoot()))
            return Ok();
        for (std::size_t i = At({}).members.size(); i > 0; --i)
            RemoveChild({}, i - 1);
        for (std::size_t i = 0; i < edit.root.members.size(); ++i)
            InsertChild({}, i, edit.root.members[i]);
        checksAll = true;
        return Ok();
    }

    // Finds what the edit made wrong.
    Status CheckResult()
    {
        const std::vector<DocumentError> after = Check();
        if (after.empty())
            return Ok();

        std::vector<std::string> touchedKeys;
        for (const std::size_t index : touched)
            touchedKeys.push_back(GetText(GetOperators(document.GetRoot())[index], "key"));
        TakeBack(document, change);
        touched.clear();
        for (const std::string& key : touchedKeys)
        {
            if (const auto index = document.FindOperator(key))
                touched.insert(*index);
        }
        std::multiset<std::string> before;
        for (const DocumentError& error : Check())
            before.insert(error.message);
        std::string wrong;
        for (const DocumentError& error : after)
        {
            if (const auto known = before.find(error.message); known != before.end())
                before.erase(known);
            else
                wrong += (wrong.empty() ? "" : "\n") + (checksAll ? error.Text() : error.message);
        }
        if (!wrong.empty())
        {
            change.splices.clear();
            return Error{std::move(wrong)};
        }
        return ApplyChange(document, change);
    }

    std::vector<DocumentError> Check() const
    {
        return checksAll ? document.Check()
                         : CheckPart(document, {{touched.begin(), touched.end()}, checksCycles, checksHead, built});
    }

    GraphDocument& document;
    bool built; // what only the operators know is checked too
    DocumentChange change;
    std::set<std::size_t> touched; // places of operators that changed otherwise than in name and place
    bool checksCycles = false;
    bool checksHead = false;
    bool checksAll = false;
};

} // namespace

Result<DocumentChange> ApplyEdit(GraphDocument& document, const DocumentEdit& edit)
{
    return Editor(document, true).Run(edit);
}

Result<DocumentChange> ApplyDeclaredEdit(GraphDocument& document, const DocumentEdit& edit)
{
    return Editor(document, false).Run(edit);
}

std::vector<JsonValue> CopyOperators(const GraphDocument& document, const std::vector<std::string>& keys)
{
    const std::unordered_set<std::string> wanted(keys.begin(), keys.end());
    std::vector<JsonValue> copies;
    std::ranges::copy_if(GetOperators(document.GetRoot()), std::back_inserter(copies),
                         [&](const JsonValue& op) { return wanted.contains(GetText(op, "key")); });
    return copies;
}

std::vector<JsonValue> FitOperators(const GraphDocument& document, std::vector<JsonValue> operators, bool keepsWires)
{
    std::unordered_map<std::string, std::string> newKeys;
    std::unordered_set<std::string> taken;
    const auto isFree = [&](const std::string& key) { return !document.FindOperator(key) && !taken.contains(key); };
    for (JsonValue& op : operators)
    {
        const std::string key = GetText(op, "key");
        std::string stem = key;
        while (!stem.empty() && stem.back() >= '0' && stem.back() <= '9')
            stem.pop_back();
        std::string free = key;
        for (long long number = 2; !isFree(free); ++number)
            free = stem + std::to_string(number);
        taken.insert(free);
        newKeys.emplace(key, free);
        if (JsonValue* const member = FindMember(op, "key"))
            member->text = free;
    }
    for (JsonValue& op : operators)
    {
        ForEachKey(op,
                   [&](JsonValue& key)
                   {
                       if (const auto found = newKeys.find(key.text); found != newKeys.end())
                           key.text = found->second;
                       else if (!keepsWires || !document.FindOperator(key.text))
                           key = JsonNull();
                   });
    }
    return operators;
}

} // namespace Varkle
