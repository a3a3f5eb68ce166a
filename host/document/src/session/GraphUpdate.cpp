#include "session/GraphUpdate.h"

#include "Varkle/Core/Graph.h"
#include "Varkle/Core/Log.h"

#include <algorithm>
#include <iterator>
#include <unordered_map>
#include <unordered_set>

namespace Varkle
{

namespace
{

// Calls `onInput` and `onList` with each input and list of an operator and what corresponds to it in the model.
template<class OnInput, class OnList>
void ForEachInput(const Operator& op, const Operator& model, const OnInput& onInput, const OnList& onList)
{
    for (const Object* const object : model.GetInputs())
    {
        if (const auto* const input = dynamic_cast<const DataInput*>(object))
        {
            if (DataInput* const own = op.FindInput(input->GetName()))
                onInput(*own, *input);
        }
        else if (const auto* const list = dynamic_cast<const DataInputList*>(object))
        {
            if (DataInputList* const own = op.FindInputList(list->GetName()))
                onList(*own, *list);
        }
    }
}

class Follower
{
public:
    Follower(Graph& followingGraph, const Graph& modelGraph, const std::vector<std::string>& followedKeys,
             const std::vector<Operator*>& goneOperators)
        : graph(followingGraph), model(modelGraph), keys(followedKeys), gone(goneOperators)
    {
    }

    // What goes is undone first, so that no connection that comes closes a cycle with one that goes.
    void Run()
    {
        FindKept();
        for (const std::string& key : keys)
        {
            const Operator* const wanted = model.Find(key);
            if (const auto kept = counterparts.find(wanted); kept != counterparts.end())
                LoosenInputs(*kept->second, *wanted);
        }
        for (auto op = gone.rbegin(); op != gone.rend(); ++op) // from the back, so that few move up in the graph
            graph.Remove(*op);
        AddMissing();
        for (const std::string& key : keys)
            ConnectInputs(*counterparts.at(model.Find(key)), *model.Find(key));
    }

private:
    void FindKept()
    {
        const std::unordered_set<const Operator*> going(gone.begin(), gone.end());
        for (const std::unique_ptr<Operator>& wanted : model.GetOperators())
        {
            Operator* const op = graph.Find(wanted->GetKey());
            if (op && !going.contains(op))
                counterparts.emplace(wanted.get(), op);
        }
    }

    void AddMissing()
    {
        for (const std::unique_ptr<Operator>& wanted : model.GetOperators())
        {
            Operator*& op = counterparts[wanted.get()];
            if (!op)
                op = graph.Add(wanted->GetType(), wanted->GetKey());
        }
    }

    // Returns the operator that is to feed an input, null for none and for one that is still to come.
    const Operator* FindSource(const DataInput& wanted) const
    {
        const DataOutput* const output = wanted.GetConnection();
        const auto found = output ? counterparts.find(output->GetOperator()) : counterparts.end();
        return found == counterparts.end() ? nullptr : found->second;
    }

    bool HasSource(const DataInput& input, const DataInput& wanted) const
    {
        const DataOutput* const output = input.GetConnection();
        return (output ? output->GetOperator() : nullptr) == FindSource(wanted);
    }

    void Loosen(DataInput& input, const DataInput& wanted)
    {
        if (!HasSource(input, wanted))
            graph.Unplug(input);
    }

    // Elements can only come at the end of a list. So when there are to be more, those behind the place where one comes
    // are made anew; when there are to be fewer, those in the middle go.
    void LoosenList(DataInputList& list, const DataInputList& wantedList)
    {
        const std::vector<DataInput*>& elements = list.GetInputs();
        const std::vector<DataInput*>& wanted = wantedList.GetInputs();
        const auto hasSource = [this](const DataInput* input, const DataInput* other)
        { return HasSource(*input, *other); };
        const auto first = std::ranges::mismatch(elements, wanted, hasSource);
        const auto last = std::mismatch(elements.rbegin(), std::reverse_iterator(first.in1), wanted.rbegin(),
                                        std::reverse_iterator(first.in2), hasSource);
        const auto same = std::size_t(last.first - elements.rbegin());
        const std::size_t kept = std::min(elements.size(), wanted.size()) - same;
        const std::size_t end = wanted.size() > elements.size() ? elements.size() : elements.size() - same;
        for (std::size_t i = end; i > kept; --i)
            list.RemoveInput(elements[i - 1]);
        for (std::size_t i = 0; i < kept; ++i)
            Loosen(*elements[i], *wanted[i]);
    }

    void LoosenInputs(const Operator& op, const Operator& wanted)
    {
        ForEachInput(
            op, wanted, [this](DataInput& input, const DataInput& other) { Loosen(input, other); },
            [this](DataInputList& list, const DataInputList& other) { LoosenList(list, other); });
    }

    void Connect(DataInput& input, const DataInput& wanted)
    {
        if (HasSource(input, wanted))
            return;
        DataOutput* const output = FindSource(wanted)->FindOutput(wanted.GetConnection()->GetName());
        if (const Status status = graph.Connect(*output, input); !status)
            LogError(status.GetError().message);
    }

    void ConnectList(DataInputList& list, const DataInputList& wantedList)
    {
        while (list.GetInputs().size() < wantedList.GetInputs().size() && list.AddInput())
        {
        }
        for (std::size_t i = 0; i < list.GetInputs().size(); ++i)
            Connect(*list.GetInputs()[i], *wantedList.GetInputs()[i]);
    }

    void ConnectInputs(const Operator& op, const Operator& wanted)
    {
        ForEachInput(
            op, wanted, [this](DataInput& input, const DataInput& other) { Connect(input, other); },
            [this](DataInputList& list, const DataInputList& other) { ConnectList(list, other); });
    }

    Graph& graph;
    const Graph& model;
    const std::vector<std::string>& keys;
    const std::vector<Operator*>& gone;
    std::unordered_map<const Operator*, Operator*> counterparts; // of the model's operators
};

} // namespace

void FollowGraph(Graph& graph, const Graph& model, const std::vector<std::string>& keys,
                 const std::vector<Operator*>& gone)
{
    Follower(graph, model, keys, gone).Run();
}

} // namespace Varkle
