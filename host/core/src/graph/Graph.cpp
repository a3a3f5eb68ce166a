#include "Varkle/Core/Graph.h"

#include "Varkle/Core/Log.h"
#include "Varkle/Core/Text.h"
#include "graph/GraphState.h"
#include "graph/OperatorInputs.h"
#include "graph/OperatorState.h"

#include <algorithm>
#include <charconv>

namespace Varkle
{

namespace
{

bool IsDigit(char c)
{
    return c >= '0' && c <= '9';
}

bool MayBeInKey(char c)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || IsDigit(c) || c == '_' || c == '-' || c == '.';
}

std::string MakeKey(const ObjectType& type)
{
    const std::string key = ToLower(std::string_view(type.GetId()).substr(type.GetId().rfind('.') + 1));
    return key.empty() ? "operator" : key;
}

// True when the operator's class has an Outdated() of its own, which has to be asked on every run: nothing tells when
// its answer changes. Where the compiler can't say, every operator counts as such; that costs time and changes nothing
// else.
bool DecidesItself(const Operator& op)
{
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wpedantic" // taking the function out of a pointer to member is an extension
#pragma GCC diagnostic ignored "-Wpmf-conversions"
    using Function = bool (*)(const Operator*);
    return Function(op.*&Operator::Outdated) != Function(&Operator::Outdated);
#pragma GCC diagnostic pop
#else
    static_cast<void>(op);
    return true;
#endif
}

} // namespace

Graph::Graph() : state(std::make_unique<State>(*this)) {}

Graph::~Graph()
{
    for (const auto& ear : state->observers)
    {
        if (ear)
            ear->graph = nullptr;
    }
    // All at once and without telling anyone: the connections are undone here, so that no operator has to search its
    // neighbours' lists when it goes.
    for (const std::unique_ptr<Operator>& op : operators)
    {
        op->state->graph = nullptr;
        op->state->complete = false;
        for (DataOutput* const output : op->outputs)
        {
            for (DataInput* const input : output->connections)
                input->connection = nullptr;
            output->connections.clear();
        }
    }
}

const ObjectType* Graph::Type()
{
    static const ObjectType type("Varkle.Graph", Object::Type(), [] { return new Graph; });
    return &type;
}

Operator* Graph::Add(const ObjectType* type, std::string_view wantedKey)
{
    std::unique_ptr<Object> object = type ? type->Create() : nullptr;
    auto* const op = dynamic_cast<Operator*>(object.get());
    if (!op)
        return nullptr;
    static_cast<void>(object.release());
    return Add(std::unique_ptr<Operator>(op), wantedKey);
}

Operator* Graph::Add(std::unique_ptr<Operator> op, std::string_view wantedKey)
{
    if (!op)
        return nullptr;
    operators.push_back(std::move(op));
    Operator& added = *operators.back();
    added.state->graph = this;
    added.state->rank = state->nextRank++;
    added.SetKey(wantedKey.empty() ? added.GetKey() : std::string(wantedKey));
    if (DecidesItself(added))
        state->polled.push_back(&added);
    added.FinishConstruction();
    state->Request(added);
    state->Tell(&GraphHandlers::added, added);
    return &added;
}

void Graph::Remove(Operator* op)
{
    const auto isIt = [op](const std::unique_ptr<Operator>& candidate) { return candidate.get() == op; };
    if (std::ranges::none_of(operators, isIt))
        return;
    if (state->runningRank)
    {
        LogError("The operator \"" + op->GetKey() + "\" can't be removed while its graph runs.");
        return;
    }

    // The others are told while the operator is still whole.
    for (DataOutput* const output : op->outputs)
    {
        while (!output->connections.empty())
            Disconnect(*output->connections.back());
    }
    ForEachInput(*op,
                 [](DataInput& input)
                 {
                     if (input.connection)
                         input.SetConnection(nullptr);
                 });
    state->Tell(&GraphHandlers::removing, *op);

    op->state->graph = nullptr;
    op->state->complete = false;
    state->Forget(*op);
    // Out of the list first: what its end sets off must find a graph in order. Looked for again, as observers may have
    // changed the list.
    const auto found = std::ranges::find_if(operators, isIt);
    const std::unique_ptr<Operator> removed = std::move(*found);
    operators.erase(found);
}

void Graph::SetOrder(const std::vector<const Operator*>& order)
{
    std::unordered_map<const Operator*, std::size_t> places;
    for (const Operator* const op : order)
        places.emplace(op, places.size());
    const auto place = [&](const std::unique_ptr<Operator>& op)
    {
        const auto found = places.find(op.get());
        return found == places.end() ? places.size() : found->second;
    };
    if (std::ranges::is_sorted(operators, {}, place))
        return;
    std::ranges::stable_sort(operators, {}, place);
    state->ranksValid = false;
    state->Tell(&GraphHandlers::reordered);
}

Operator* Graph::Find(std::string_view wantedKey) const
{
    const auto found = state->byKey.find(wantedKey);
    return found == state->byKey.end() ? nullptr : found->second;
}

Object* Graph::FindChildImplementation(std::string_view childKey)
{
    return Find(childKey);
}

// Enters the operator under the nearest valid and free key, in place of the one that it has, and returns that key.
std::string Graph::TakeKey(Operator& op, std::string_view wanted)
{
    State::ByKey<Operator*>& byKey = state->byKey;
    if (Find(op.GetKey()) == &op)
        byKey.erase(op.GetKey());

    std::string free = wanted.empty() ? MakeKey(*op.GetType()) : std::string(wanted);
    std::ranges::replace_if(
        free, [](char c) { return !MayBeInKey(c); }, '_');
    if (byKey.try_emplace(free, &op).second)
        return free;

    std::size_t end = free.size();
    while (end > 1 && IsDigit(free[end - 1]))
        --end;
    unsigned long number = 1;
    std::from_chars(free.data() + end, free.data() + free.size(), number);
    const std::string stem = free.substr(0, end);
    // Where the last search ended, so that a thousand operators of one name do not search a million times.
    unsigned long& last = state->lastNumbers[stem];
    last = std::max(last, number);
    do
        free = stem + std::to_string(++last);
    while (!byKey.try_emplace(free, &op).second);
    return free;
}

Status Graph::Connect(DataOutput& output, DataInput& input)
{
    Status possible = CheckConnection(output, input.owner, input.name, input.GetType(), input.GetDataTypeName());
    if (possible && input.connection != &output)
        Link(output, input);
    return possible;
}

Result<DataInput*> Graph::Connect(DataOutput& output, DataInputList& list)
{
    const Status possible = CheckConnection(output, list.owner, list.name, list.elementType, list.dataTypeName);
    if (!possible)
        return possible.GetError();
    DataInput* const element = list.AddInput();
    if (!element)
        return Error{"The list \"" + list.name + "\" of \"" + list.owner->GetKey() + "\" can't be extended."};
    Link(output, *element);
    return element;
}

void Graph::Disconnect(DataInput& input)
{
    if (input.list)
        input.list->RemoveInput(&input);
    else if (input.connection)
        input.SetConnection(nullptr);
}

void Graph::Unplug(DataInput& input)
{
    if (!input.connection)
        return;
    input.SetConnection(nullptr);
    if (input.list && input.list->handlers.changed)
        input.list->handlers.changed();
}

Status Graph::CheckConnection(const DataOutput& output, Operator* target, const std::string& input,
                              const ObjectType* inputType, std::string_view dataType)
{
    const auto quoted = [](const std::string& text) { return "\"" + text + "\""; };
    Operator& source = *output.owner;
    if (source.GetGraph() != this || !target || target->GetGraph() != this)
        return Error{"The output " + quoted(output.name) + " and the input " + quoted(input) +
                     " are not both in this graph."};
    const std::string from = quoted(source.GetKey());
    const std::string to = quoted(target->GetKey());
    if (!inputType->IsA(output.GetInputType()))
        return Error{from + " gives a " + std::string(output.GetDataTypeName()) + ", but " + quoted(input) + " of " +
                     to + " takes a " + std::string(dataType) + "."};
    if (&source == target)
        return Error{from + " can't feed itself: its output was to be connected to its own " + quoted(input) + "."};
    if (state->Feeds(*target, source))
        return Error{"Connecting " + from + " to " + quoted(input) + " of " + to + " would close a cycle: " + to +
                     " feeds " + from + " already."};
    return Ok();
}

void Graph::Link(DataOutput& output, DataInput& input)
{
    if (output.owner->state->rank >= input.owner->state->rank)
        state->ranksValid = false;
    input.SetConnection(&output);
    if (input.list && input.list->handlers.changed)
        input.list->handlers.changed();
}

void Graph::ConnectionsChanged()
{
    state->selectionValid = false;
}

void Graph::TellConnection(DataOutput* before, DataOutput* after, DataInput& input)
{
    if (before)
        state->Tell(&GraphHandlers::disconnected, *before, input);
    if (after)
        state->Tell(&GraphHandlers::connected, *after, input);
}

} // namespace Varkle
