#include "Varkle/Core/Graph.h"
#include "Varkle/Core/ParameterBundle.h"
#include "Varkle/Core/Parameters.h"
#include "Varkle/Document/GraphDocument.h"
#include "Varkle/Document/JsonLayout.h"
#include "document/DocumentPaths.h"
#include "document/Specimens.h"
#include "value/ParameterValue.h"

// Makes documents of graphs.

namespace Varkle
{

namespace
{

JsonValue WriteValue(const Parameter& parameter, const std::filesystem::path& folder)
{
    if (IsPath(parameter))
        return JsonString(ToRelativePath(static_cast<const StringParameter&>(parameter).Value(), folder));
    return WriteParameterValue(parameter);
}

// What the operator itself writes is not saved, and a trigger has no state to be saved.
bool IsSaved(const Parameter& parameter)
{
    return !parameter.HasFlag(ParameterFlag::Output) && parameter.GetParameterType() != ParameterType::Trigger;
}

// True when a parameter is as a new operator of the type has it, so that a document need not say it.
bool IsInitial(const Parameter& parameter, const Operator* specimen)
{
    const Parameter* const initial = specimen ? specimen->FindParameter(parameter.GetName()) : nullptr;
    return initial && initial->GetParameterType() == parameter.GetParameterType() &&
           LayOutJson(WriteParameterValue(*initial)) == LayOutJson(WriteParameterValue(parameter));
}

JsonValue WriteParameters(const Operator& op, const Operator* specimen, const std::filesystem::path& folder)
{
    JsonValue json = JsonObject();
    for (const Parameter* const parameter : op.GetParameters())
    {
        if (IsSaved(*parameter) && !IsInitial(*parameter, specimen))
            AddMember(json, parameter->GetName(), WriteValue(*parameter, folder));
    }
    return json;
}

JsonValue SourceKey(const DataInput& input)
{
    const DataOutput* const source = input.GetConnection();
    return source ? JsonString(source->GetOperator()->GetKey()) : JsonNull();
}

JsonValue WriteInputs(const Operator& op)
{
    JsonValue json = JsonObject();
    for (const Object* const port : op.GetInputs())
    {
        if (const auto* const input = dynamic_cast<const DataInput*>(port))
        {
            if (input->GetConnection())
                AddMember(json, input->GetName(), SourceKey(*input));
        }
        else if (const auto* const list = dynamic_cast<const DataInputList*>(port); list && !list->GetInputs().empty())
        {
            JsonValue keys = JsonArray();
            for (const DataInput* const element : list->GetInputs())
                keys.elements.push_back(SourceKey(*element));
            AddMember(json, list->GetName(), std::move(keys));
        }
    }
    return json;
}

JsonValue WriteBundles(const Operator& op, const std::filesystem::path& folder)
{
    JsonValue json = JsonObject();
    for (const ParameterBundleList* const list : op.GetBundleLists())
    {
        JsonValue maps = JsonArray();
        for (const ParameterBundle* const bundle : list->GetBundles())
        {
            JsonValue map = JsonObject();
            for (const Parameter* const parameter : bundle->GetParameters())
            {
                if (IsSaved(*parameter))
                    AddMember(map, parameter->GetName(), WriteValue(*parameter, folder));
            }
            maps.elements.push_back(std::move(map));
        }
        if (!maps.elements.empty())
            AddMember(json, list->GetName(), std::move(maps));
    }
    return json;
}

JsonValue WriteOperator(const Operator& op, const Operator* specimen, const std::filesystem::path& folder)
{
    JsonValue json = JsonObject();
    AddMember(json, "key", JsonString(op.GetKey()));
    AddMember(json, "type", JsonString(op.GetType()->GetId()));
    const auto addUnlessEmpty = [&json](const char* name, JsonValue value)
    {
        if (!value.members.empty())
            AddMember(json, name, std::move(value));
    };
    addUnlessEmpty("parameters", WriteParameters(op, specimen, folder));
    addUnlessEmpty("inputs", WriteInputs(op));
    addUnlessEmpty("bundles", WriteBundles(op, folder));
    return json;
}

} // namespace

GraphDocument GraphDocument::FromGraph(const Graph& graph, double frameRate, const std::filesystem::path& folder)
{
    GraphDocument document;
    document.name = "document";
    document.folder = MakeAbsoluteFolder(folder);
    Specimens specimens;
    JsonValue operators = JsonArray();
    for (const std::unique_ptr<Operator>& op : graph.GetOperators())
        operators.elements.push_back(WriteOperator(*op, specimens.Find(*op->GetType()), document.folder));
    SetMember(*document.root, "frameRate", JsonNumber(frameRate));
    SetMember(*document.root, "operators", std::move(operators));
    return document;
}

} // namespace Varkle
