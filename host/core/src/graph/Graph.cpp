#include "Varkle/Core/Graph.h"

#include "Varkle/Core/Log.h"
#include "Varkle/Core/Text.h"

#include <algorithm>
#include <charconv>
#include <functional>
#include <utility>

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

// Calls `visit` with each operator that feeds `op` directly, once for each connection, in the order of the inputs.
template<class Visit>
void ForEachSource(const Operator& op, const Visit& visit)
{
    const auto visitSource = [&](const DataInput& input)
    {
        if (const DataOutput* const output = input.GetConnection())
            visit(*output->GetOperator());
    };
    for (const Object* const object : op.GetInputs())
    {
        if (const auto* const input = dynamic_cast<const DataInput*>(object))
            visitSource(*input);
        else if (const auto* const list = dynamic_cast<const DataInputList*>(object))
            std::ranges::for_each(list->GetInputs(), [&](const DataInput* element) { visitSource(*element); });
    }
}

// Calls `visit` with each operator that `op` feeds directly, once for each connection.
template<class Visit>
void ForEachTarget(const Operator& op, const Visit& visit)
{
    for (const DataOutput* const output : op.GetOutputs())
    {
        for (const DataInput* const input : output->GetConnections())
            visit(*input->GetOperator());
    }
}

} // namespace

Graph::Graph() = default;

Graph::~Graph()
{
    // All at once and without telling anyone: the connections are undone here, so that no operator has to search its
    // neighbours' lists when it goes.
    for (const std::unique_ptr<Operator>& op : operators)
    {
        op->graph = nullptr;
        op->complete = false;
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
    added.graph = this;
    added.rank = nextRank++;
    added.SetKey(wantedKey.empty() ? added.GetKey() : std::string(wantedKey));
    if (DecidesItself(added))
        polled.push_back(&added);
    added.FinishConstruction();
    Request(added);
    return &added;
}

void Graph::Remove(Operator* op)
{
    const auto found = std::ranges::find(operators, op, &std::unique_ptr<Operator>::get);
    if (found == operators.end())
        return;
    if (runningRank)
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

    op->graph = nullptr;
    op->complete = false;
    selectionValid = false;
    byKey.erase(op->GetKey());
    std::erase(candidates, op);
    std::erase(waiting, op);
    std::erase(polled, op);
    // Out of the list first: what its end sets off must find a graph in order.
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
    ranksValid = false;
}

Operator* Graph::Find(std::string_view wantedKey) const
{
    const auto found = byKey.find(wantedKey);
    return found == byKey.end() ? nullptr : found->second;
}

Object* Graph::FindChildImplementation(std::string_view childKey)
{
    return Find(childKey);
}

// Enters the operator under the nearest valid and free key, in place of the one that it has, and returns that key.
std::string Graph::TakeKey(Operator& op, std::string_view wanted)
{
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
    unsigned long& last = lastNumbers[stem];
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
    if (source.graph != this || !target || target->graph != this)
        return Error{"The output " + quoted(output.name) + " and the input " + quoted(input) +
                     " are not both in this graph."};
    const std::string from = quoted(source.GetKey());
    const std::string to = quoted(target->GetKey());
    if (!inputType->IsA(output.GetInputType()))
        return Error{from + " gives a " + std::string(output.GetDataTypeName()) + ", but " + quoted(input) + " of " +
                     to + " takes a " + std::string(dataType) + "."};
    if (&source == target)
        return Error{from + " can't feed itself: its output was to be connected to its own " + quoted(input) + "."};
    if (Feeds(*target, source))
        return Error{"Connecting " + from + " to " + quoted(input) + " of " + to + " would close a cycle: " + to +
                     " feeds " + from + " already."};
    return Ok();
}

// True when data flows from one operator to the other, directly or through others. Searches from both ends by turns, so
// that the smaller side decides the cost: extending a chain, at either end, takes no search at all.
bool Graph::Feeds(Operator& source, Operator& target)
{
    if (ranksValid && source.rank >= target.rank)
        return false;
    const unsigned long down = ++lastVisit;
    const unsigned long up = ++lastVisit;
    std::vector<Operator*> below{&source};
    std::vector<Operator*> above{&target};
    source.visited = down;
    target.visited = up;
    bool met = false;
    const auto step = [&met](std::vector<Operator*>& open, unsigned long own, unsigned long other, const auto& forEach)
    {
        const Operator& op = *open.back();
        open.pop_back();
        forEach(op,
                [&](Operator& next)
                {
                    met = met || next.visited == other;
                    if (next.visited != own)
                        open.push_back(&next);
                    next.visited = own;
                });
    };
    while (!met && !below.empty() && !above.empty())
    {
        step(below, down, up, [](const Operator& op, const auto& visit) { ForEachTarget(op, visit); });
        if (!met)
            step(above, up, down, [](const Operator& op, const auto& visit) { ForEachSource(op, visit); });
    }
    return met;
}

void Graph::Link(DataOutput& output, DataInput& input)
{
    if (output.owner->rank >= input.owner->rank)
        ranksValid = false;
    input.SetConnection(&output);
    if (input.list && input.list->handlers.changed)
        input.list->handlers.changed();
}

void Graph::Run()
{
    if (targets)
        selectionValid = false;
    targets.reset();
    RunSelection();
}

void Graph::Run(const std::vector<Operator*>& wanted)
{
    if (targets != wanted)
    {
        targets = wanted;
        selectionValid = false;
    }
    RunSelection();
}

void Graph::RunSelection()
{
    if (runningRank)
    {
        LogError("A graph can't be run while it runs.");
        return;
    }
    UpdateRanks();
    UpdateSelection();

    queue.clear();
    for (Operator* const op : candidates)
        (IsSelected(*op) ? queue : waiting).push_back(op);
    candidates.clear();
    for (Operator* const op : polled)
    {
        if (!op->pending && IsSelected(*op))
        {
            op->pending = true;
            queue.push_back(op);
        }
    }

    ExecutionContext context;
    std::ranges::make_heap(queue, std::greater(), &Operator::rank);
    while (!queue.empty())
    {
        std::ranges::pop_heap(queue, std::greater(), &Operator::rank);
        Operator& op = *queue.back();
        queue.pop_back();
        op.pending = false;
        runningRank = op.rank;
        if (op.Outdated())
            op.Run(context);
    }
    runningRank.reset();
}

// Has the operator asked whether it is outdated: in the current run if its turn is still to come, else in the next one.
void Graph::Request(Operator& op)
{
    if (op.pending)
        return;
    op.pending = true;
    const bool stillToCome = runningRank && op.rank > *runningRank && IsSelected(op);
    if (!stillToCome)
    {
        candidates.push_back(&op);
        return;
    }
    queue.push_back(&op);
    std::ranges::push_heap(queue, std::greater(), &Operator::rank);
}

void Graph::UpdateRanks()
{
    if (ranksValid)
        return;
    std::vector<Operator*> all;
    all.reserve(operators.size());
    for (const std::unique_ptr<Operator>& op : operators)
        all.push_back(op.get());
    nextRank = 0;
    for (Operator* const op : CollectSources(all))
        op->rank = nextRank++;
    ranksValid = true;
}

void Graph::UpdateSelection()
{
    if (selectionValid)
        return;
    candidates.insert(candidates.end(), waiting.begin(), waiting.end());
    waiting.clear();
    if (targets)
    {
        ++selection;
        for (Operator* const op : CollectSources(*targets))
            op->selectedIn = selection;
    }
    selectionValid = true;
}

std::vector<Operator*> Graph::CollectSources(const std::vector<Operator*>& wanted)
{
    const unsigned long entered = ++lastVisit; // its sources are on their way
    const unsigned long done = ++lastVisit;
    std::vector<Operator*> found;
    std::vector<Operator*> open;
    for (Operator* const target : wanted)
    {
        if (target && target->graph == this)
            open.push_back(target);
        while (!open.empty())
        {
            Operator* const op = open.back();
            if (op->visited == entered)
            {
                op->visited = done;
                found.push_back(op);
            }
            if (op->visited == done)
            {
                open.pop_back();
                continue;
            }
            op->visited = entered;
            const auto first = std::ptrdiff_t(open.size());
            ForEachSource(*op,
                          [&](Operator& source)
                          {
                              if (source.visited != done)
                                  open.push_back(&source);
                          });
            std::reverse(open.begin() + first, open.end()); // the first input's sources come first
        }
    }
    return found;
}

} // namespace Varkle
