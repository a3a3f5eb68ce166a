#include "Varkle/Core/DataPorts.h"

#include "Varkle/Core/Graph.h"
#include "Varkle/Core/Operator.h"

#include <algorithm>

namespace Varkle
{

DataOutput::DataOutput(Operator* op, std::string_view outputName) : owner(op), name(outputName)
{
    SetKey(outputName);
    owner->outputs.push_back(this);
}

DataOutput::~DataOutput()
{
    while (!connections.empty())
        connections.back()->Join(nullptr);
    std::erase(owner->outputs, this);
}

void DataOutput::Clear()
{
    if (!active)
        return;
    active = false;
    ClearData();
    NotifyInputs();
}

void DataOutput::Publish()
{
    active = true;
    NotifyInputs();
}

void DataOutput::NotifyInputs()
{
    for (DataInput* const input : connections)
        input->owner->InputChanged();
}

Object* DataOutput::GetParentObjectImplementation() const
{
    return owner;
}

DataInput::DataInput(Operator* op, std::string_view inputName) : owner(op), name(inputName)
{
    SetKey(inputName);
    owner->inputs.push_back(this);
}

DataInput::~DataInput()
{
    if (connection)
        Join(nullptr);
    if (owner && !list)
        std::erase(owner->inputs, this);
}

Object* DataInput::GetParentObjectImplementation() const
{
    if (list)
        return list;
    return owner;
}

void DataInput::SetConnection(DataOutput* output)
{
    DataOutput* const before = connection;
    Join(output);
    if (Graph* const graph = owner->GetGraph())
        graph->TellConnection(before, output, *this);
}

// Tells no observer: for objects that are going, of which they could not ask anything.
void DataInput::Join(DataOutput* output)
{
    if (connection)
    {
        // From the back: that is where the inputs of an output are undone one after the other.
        auto& fed = connection->connections;
        fed.erase(std::prev(std::find(fed.rbegin(), fed.rend(), this).base()));
    }
    connection = output;
    if (output)
        output->connections.push_back(this);
    if (Graph* const graph = owner->GetGraph())
        graph->ConnectionsChanged();
    owner->InputChanged();
}

DataInputList::DataInputList(Operator* op, std::string_view listName, const ObjectType* elements,
                             InputHandlers listHandlers)
    : owner(op), name(listName), elementType(elements), handlers(std::move(listHandlers))
{
    const std::unique_ptr<Object> specimen = elementType->Create();
    if (const auto* const element = dynamic_cast<DataInput*>(specimen.get()))
        dataTypeName = element->GetDataTypeName();
    SetKey(listName);
    owner->inputs.push_back(this);
}

DataInputList::~DataInputList()
{
    std::erase(owner->inputs, this);
}

const ObjectType* DataInputList::Type()
{
    static const ObjectType type("Varkle.DataInputList", Object::Type(), {});
    return &type;
}

DataInput* DataInputList::AddInput()
{
    std::unique_ptr<Object> object = elementType->Create();
    auto* const element = dynamic_cast<DataInput*>(object.get());
    if (!element)
        return nullptr;
    element->owner = owner;
    element->list = this;
    element->name = name;
    element->SetKey(std::to_string(++nextKey));
    owned.emplace_back(element);
    static_cast<void>(object.release());
    inputs.push_back(element);
    if (handlers.added)
        handlers.added(*element);
    if (handlers.changed)
        handlers.changed();
    owner->StructureChanged();
    return element;
}

void DataInputList::RemoveInput(DataInput* input)
{
    if (std::ranges::find(inputs, input) == inputs.end())
        return;
    if (handlers.removing)
        handlers.removing(*input);
    if (input->connection)
        input->SetConnection(nullptr); // while it is still whole
    std::erase(inputs, input);
    std::erase_if(owned, [input](const auto& candidate) { return candidate.get() == input; });
    if (handlers.changed)
        handlers.changed();
    owner->StructureChanged();
}

Object* DataInputList::GetParentObjectImplementation() const
{
    return owner;
}

Object* DataInputList::FindChildImplementation(std::string_view childKey)
{
    const auto found = std::ranges::find(inputs, childKey, &DataInput::GetKey);
    return found == inputs.end() ? nullptr : *found;
}

} // namespace Varkle
