#include "session/Inspect.h"

#include "Varkle/Core/DataPorts.h"
#include "Varkle/Core/DataTypes.h"
#include "Varkle/Core/Operator.h"
#include "Varkle/Core/ParameterBundle.h"
#include "Varkle/Core/Parameters.h"
#include "Varkle/Document/JsonLayout.h"
#include "value/ParameterValue.h"

#include <variant>

namespace Varkle
{

namespace
{

JsonValue Strings(const std::vector<std::string>& texts)
{
    JsonValue json = JsonArray();
    for (const std::string& text : texts)
        json.elements.push_back(JsonString(text));
    return json;
}

JsonValue Describe(const Parameter& parameter)
{
    JsonValue json = JsonObject();
    AddMember(json, "name", JsonString(parameter.GetName()));
    AddMember(json, "type", JsonString(GetParameterTypeName(parameter.GetParameterType())));
    AddMember(json, "value", WriteParameterValue(parameter));
    if (parameter.GetParameterType() == ParameterType::Enum)
    {
        const auto& choice = static_cast<const EnumParameter&>(parameter);
        AddMember(json, "values", Strings(choice.GetPossibleValues()));
        if (!choice.GetLabels().empty())
            AddMember(json, "labels", Strings(choice.GetLabels()));
    }
    if (parameter.HasFlag(ParameterFlag::Output))
        AddMember(json, "output", JsonBool(true));
    return json;
}

JsonValue Describe(const std::vector<Parameter*>& parameters)
{
    JsonValue json = JsonArray();
    for (const Parameter* const parameter : parameters)
        json.elements.push_back(Describe(*parameter));
    return json;
}

JsonValue Describe(const ParameterBundleList& list)
{
    JsonValue bundles = JsonArray();
    for (const ParameterBundle* const bundle : list.GetBundles())
    {
        JsonValue json = JsonObject();
        AddMember(json, "name", JsonString(bundle->GetName()));
        AddMember(json, "parameters", Describe(bundle->GetParameters()));
        bundles.elements.push_back(std::move(json));
    }
    JsonValue json = JsonObject();
    AddMember(json, "name", JsonString(list.GetName()));
    AddMember(json, "bundles", std::move(bundles));
    return json;
}

JsonValue SourceKey(const DataInput& input)
{
    const DataOutput* const source = input.GetConnection();
    return source ? JsonString(source->GetOperator()->GetKey()) : JsonNull();
}

JsonValue DescribeInput(const Object& port)
{
    JsonValue json = JsonObject();
    if (const auto* const input = dynamic_cast<const DataInput*>(&port))
    {
        AddMember(json, "name", JsonString(input->GetName()));
        AddMember(json, "type", JsonString(input->GetDataTypeName()));
        AddMember(json, "from", SourceKey(*input));
        return json;
    }
    const auto& list = dynamic_cast<const DataInputList&>(port);
    JsonValue elements = JsonArray();
    for (const DataInput* const input : list.GetInputs())
        elements.elements.push_back(JsonObject({{"from", {}, SourceKey(*input)}}));
    AddMember(json, "name", JsonString(list.GetName()));
    AddMember(json, "type", JsonString(list.GetDataTypeName()));
    AddMember(json, "list", std::move(elements));
    return json;
}

JsonValue ToJson(const DataDescription& description);

// Turns each kind of value of a description into JSON.
struct JsonMaker
{
    JsonValue operator()(std::monostate) const { return JsonNull(); }
    JsonValue operator()(bool truth) const { return JsonBool(truth); }
    JsonValue operator()(long long number) const { return JsonInteger(number); }
    JsonValue operator()(float number) const { return JsonNumber(number); }
    JsonValue operator()(double number) const { return JsonNumber(number); }
    JsonValue operator()(const std::string& text) const { return JsonString(text); }
    JsonValue operator()(const DataDescription::List& list) const
    {
        JsonValue json = JsonArray();
        for (const DataDescription& element : list)
            json.elements.push_back(ToJson(element));
        return json;
    }
    JsonValue operator()(const DataDescription::Members& members) const
    {
        JsonValue json = JsonObject();
        for (const auto& [name, member] : members)
            AddMember(json, name, ToJson(member));
        return json;
    }
};

JsonValue ToJson(const DataDescription& description)
{
    return std::visit(JsonMaker(), description.value);
}

JsonValue DescribeOutput(const DataOutput& output)
{
    JsonValue json = JsonObject();
    AddMember(json, "name", JsonString(output.GetName()));
    AddMember(json, "type", JsonString(output.GetDataTypeName()));
    AddMember(json, "active", JsonBool(output.IsActive()));
    if (!output.IsActive())
        return json;
    const DataType* const type = FindDataType(output.GetDataTypeName());
    if (type && type->describe)
    {
        for (const auto& [name, member] : type->describe(output))
            AddMember(json, name, ToJson(member));
    }
    return json;
}

JsonValue Describe(const Operator& op)
{
    JsonValue json = JsonObject();
    AddMember(json, "key", JsonString(op.GetKey()));
    AddMember(json, "type", JsonString(op.GetType()->GetId()));
    AddMember(json, "executions", JsonInteger((long long)(op.GetExecutionCount())));
    AddMember(json, "parameters", Describe(op.GetParameters()));
    if (!op.GetBundleLists().empty())
    {
        JsonValue lists = JsonArray();
        for (const ParameterBundleList* const list : op.GetBundleLists())
            lists.elements.push_back(Describe(*list));
        AddMember(json, "bundles", std::move(lists));
    }
    JsonValue inputs = JsonArray();
    for (const Object* const port : op.GetInputs())
        inputs.elements.push_back(DescribeInput(*port));
    AddMember(json, "inputs", std::move(inputs));
    JsonValue outputs = JsonArray();
    for (const DataOutput* const output : op.GetOutputs())
        outputs.elements.push_back(DescribeOutput(*output));
    AddMember(json, "outputs", std::move(outputs));
    return json;
}

} // namespace

std::string InspectGraph(const Graph& graph, long long frame, const std::vector<LogLine>& log)
{
    JsonValue operators = JsonArray();
    for (const std::unique_ptr<Operator>& op : graph.GetOperators())
        operators.elements.push_back(Describe(*op));
    JsonValue lines = JsonArray();
    for (const LogLine& line : log)
    {
        lines.elements.push_back(
            JsonObject({{"level", {}, JsonString(GetLogLevelName(line.level))}, {"text", {}, JsonString(line.text)}}));
    }
    JsonValue json = JsonObject();
    AddMember(json, "frame", JsonInteger(frame));
    AddMember(json, "operators", std::move(operators));
    AddMember(json, "log", std::move(lines));
    return LayOutJson(json);
}

} // namespace Varkle
