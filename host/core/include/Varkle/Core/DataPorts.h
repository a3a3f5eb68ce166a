#pragma once

#include "Varkle/Core/Export.h"
#include "Varkle/Core/Object.h"

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace Varkle
{

class DataInput;
class DataInputList;
class Operator;

/// Is the base of an operator's outputs. A derived class carries the data (Activate) and says which inputs it feeds.
/// What an output carries stays until the operator activates it anew or clears it. Outputs are members of their
/// operator.
class VARKLE_API DataOutput : public Object
{
public:
    DataOutput(Operator* op, std::string_view outputName);
    ~DataOutput() override;

    /// Withdraws what the output published; the operators downstream see an empty input. Changes nothing, downstream
    /// either, when the output carries nothing.
    void Clear();

    /// True while the output carries something.
    bool IsActive() const { return active; }

    /// Returns the descriptor of the inputs that this output can feed.
    virtual const ObjectType* GetInputType() const = 0;
    /// Returns the word for the data in operator documents: "Texture", "Mesh", "Material", "Model". The text is a
    /// constant.
    virtual std::string_view GetDataTypeName() const = 0;

    const std::string& GetName() const { return name; }
    Operator* GetOperator() const { return owner; }
    /// Returns the inputs that the output feeds, in the order in which they were connected.
    const std::vector<DataInput*>& GetConnections() const { return connections; }

protected:
    /// Called by derived classes after they stored new data: makes the operators that the output feeds outdated.
    void Publish();
    /// Called by Clear: drops the data.
    virtual void ClearData() = 0;

    Object* GetParentObjectImplementation() const override;

private:
    friend class Graph;
    friend class DataInput;

    void NotifyInputs();

    Operator* owner;
    std::string name;
    std::vector<DataInput*> connections;
    bool active = false;
};

/// Is the base of an operator's inputs. An input takes one type of data from at most one output; a graph connects the
/// two. Inputs are members of their operator or elements of one of its lists.
class VARKLE_API DataInput : public Object
{
public:
    /// Makes an element for an input list; the list gives it its owner, name and key.
    DataInput() = default;
    DataInput(Operator* op, std::string_view inputName);
    ~DataInput() override;

    /// Returns the output that feeds the input, or null.
    DataOutput* GetConnection() const { return connection; }

    /// Returns the word for the data in operator documents: "Texture", "Mesh", "Material", "Model". The text is a
    /// constant.
    virtual std::string_view GetDataTypeName() const = 0;

    /// Returns the display name; that of the list for an element of one.
    const std::string& GetName() const { return name; }
    Operator* GetOperator() const { return owner; }
    /// Returns the list that the input is an element of, or null.
    DataInputList* GetList() const { return list; }

protected:
    Object* GetParentObjectImplementation() const override;

private:
    friend class Graph;
    friend class DataInputList;
    friend class DataOutput;

    void SetConnection(DataOutput* output);
    void Join(DataOutput* output);

    Operator* owner = nullptr;
    DataInputList* list = nullptr;
    std::string name;
    DataOutput* connection = nullptr;
};

/// Is a growing list of inputs of one type. The user adds elements by connecting to the list. It is a member of the
/// operator.
class VARKLE_API DataInputList final : public Object
{
public:
    /// Is what an operator wants to hear about its list; each may be empty. None is called while the operator is being
    /// destroyed.
    struct InputHandlers
    {
        std::function<void(DataInput&)> added;    ///< an element was added at the end
        std::function<void(DataInput&)> removing; ///< an element is about to be removed
        std::function<void()> changed;            ///< after either, and after an element's connection changed
    };

    /// `elements` makes the elements, e.g. TextureInput::Type().
    DataInputList(Operator* op, std::string_view listName, const ObjectType* elements, InputHandlers listHandlers);
    ~DataInputList() override;

    /// Returns the elements in order.
    const std::vector<DataInput*>& GetInputs() const { return inputs; }

    /// Adds an unconnected element at the end. Its key is unique in the list and never used again. Returns null when
    /// the element type makes no inputs.
    DataInput* AddInput();
    /// Disconnects and destroys an element; an input of another list is left alone.
    void RemoveInput(DataInput* input);

    const ObjectType* GetElementType() const { return elementType; }
    /// Returns the word for the elements' data in operator documents.
    std::string_view GetDataTypeName() const { return dataTypeName; }

    const std::string& GetName() const { return name; }
    Operator* GetOperator() const { return owner; }

    static const ObjectType* Type();
    const ObjectType* GetType() const override { return Type(); }

protected:
    Object* GetParentObjectImplementation() const override;
    Object* FindChildImplementation(std::string_view childKey) override;

private:
    friend class Graph;

    Operator* owner;
    std::string name;
    const ObjectType* elementType;
    std::string_view dataTypeName;
    InputHandlers handlers;
    std::vector<DataInput*> inputs;
    std::vector<std::unique_ptr<DataInput>> owned;
    unsigned long nextKey = 0;
};

} // namespace Varkle
