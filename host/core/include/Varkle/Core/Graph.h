#pragma once

#include "Varkle/Core/Export.h"
#include "Varkle/Core/Operator.h"
#include "Varkle/Core/Result.h"

#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace Varkle
{

/// Holds operators and their connections and runs them. Operators run in dependency order, each at most once a run and
/// only when outdated; the cost of a run follows from what changed and what depends on it, not from the size of the
/// graph.
///
/// While an operator executes, the graph must not be changed: no operator may be added, removed or connected from
/// within Execute. Remove and Run refuse that with an error in the log. GraphObserver tells of what happens in a graph.
class VARKLE_API Graph final : public Object
{
public:
    Graph();
    ~Graph() override;

    /// Makes an operator of the type and adds it at the end. Keys are made of letters, digits, "_", "-" and "."; other
    /// characters become "_". An empty key is replaced by the last part of the type's id in lower case, and one that is
    /// taken by a free one with the next number behind it ("blur", "blur2", "blur3"). Returns null when the type makes
    /// no operator.
    Operator* Add(const ObjectType* type, std::string_view wantedKey = {});
    /// Adds an operator that exists already; an empty key keeps the one that it has. Returns it, null for null.
    Operator* Add(std::unique_ptr<Operator> op, std::string_view wantedKey = {});
    /// Deletes an operator: its connections are undone, elements of lists that it feeds are removed, and references to
    /// it or to something inside it turn null. An operator of another graph is left alone.
    void Remove(Operator* op);

    /// Puts the operators into another order: those in `order` first, then the others as they were. Operators that do
    /// not depend on each other run in this order too.
    void SetOrder(const std::vector<const Operator*>& order);

    /// Returns the operators in the order in which they were added, or to which SetOrder changed that.
    const std::vector<std::unique_ptr<Operator>>& GetOperators() const { return operators; }
    /// Returns the operator with the key, or null.
    Operator* Find(std::string_view wantedKey) const;

    /// Feeds an input from an output, replacing what fed it. Fails, changing nothing, when the types differ, when the
    /// connection would close a cycle, or when the two are not in this graph.
    Status Connect(DataOutput& output, DataInput& input);
    /// Adds an element at the end of a list and feeds it from an output. Returns the element.
    Result<DataInput*> Connect(DataOutput& output, DataInputList& list);
    /// Undoes an input's connection; an element of a list is removed from the list.
    void Disconnect(DataInput& input);
    /// Undoes an input's connection; an element of a list stays where it is, unconnected.
    void Unplug(DataInput& input);

    /// Runs every outdated operator, sources first.
    void Run();
    /// Runs the outdated ones among the operators in `targets` and those that feed them; the others stay outdated.
    /// Cheap to repeat with the same targets.
    void Run(const std::vector<Operator*>& targets);

    /// Returns the operators in `targets` and those that feed them, directly or through others; sources first.
    std::vector<Operator*> CollectSources(const std::vector<Operator*>& targets);

    static const ObjectType* Type();
    const ObjectType* GetType() const override { return Type(); }

protected:
    Object* FindChildImplementation(std::string_view childKey) override;

private:
    friend class DataInput;
    friend class GraphObserver;
    friend class Operator;

    // Keys, observers and what decides who runs when: not part of what others are built for.
    struct VARKLE_LOCAL State;

    std::string TakeKey(Operator& op, std::string_view wanted);
    Status CheckConnection(const DataOutput& output, Operator* target, const std::string& input,
                           const ObjectType* inputType, std::string_view dataType);
    void Link(DataOutput& output, DataInput& input);
    void ConnectionsChanged();
    void TellConnection(DataOutput* before, DataOutput* after, DataInput& input);

    std::vector<std::unique_ptr<Operator>> operators;
    std::unique_ptr<State> state; // goes first: operators that end tell nobody
};

} // namespace Varkle
