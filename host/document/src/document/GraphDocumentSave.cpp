#include "Varkle/Core/FileWriting.h"
#include "Varkle/Core/TypeLibrary.h"
#include "Varkle/Document/GraphDocument.h"
#include "Varkle/Document/Json.h"
#include "Varkle/Document/JsonLayout.h"
#include "document/DocumentPaths.h"
#include "document/Specimens.h"

#include <algorithm>

// Writes documents, also into other folders than the one that their relative paths are relative to.

namespace Varkle
{

namespace
{

// Calls `visit` with each operator of a known type that gives parameters, and with these.
template<class Visit>
void ForEachParameterMap(JsonValue& root, const Visit& visit)
{
    const auto find = [](JsonValue& object, std::string_view name) -> JsonValue*
    {
        const auto member = std::ranges::find(object.members, name, &JsonMember::name);
        return member != object.members.end() ? &member->value : nullptr;
    };
    JsonValue* const operators = find(root, "operators");
    if (!operators)
        return;
    for (JsonValue& op : operators->elements)
    {
        const JsonValue* const type = find(op, "type");
        const OperatorInfo* const info = type ? TypeLibrary::Get().Find(type->text) : nullptr;
        JsonValue* const parameters = find(op, "parameters");
        if (info && parameters)
            visit(*info, *parameters);
    }
}

bool IsOutput(const OperatorInfo& info, const std::string& parameter)
{
    const auto entry = std::ranges::find(info.parameters, parameter, &OperatorInfo::Entry::name);
    return entry != info.parameters.end() && entry->marks.output != 0;
}

bool IsRelative(const JsonValue& json)
{
    return json.kind == JsonKind::String && !json.text.empty() && std::filesystem::path(json.text).is_relative();
}

// Rewrites relative paths so that they mean the same files from another folder. Which texts are paths only the
// operators themselves know, so one of each type is made and asked.
void MovePaths(JsonValue& root, const std::filesystem::path& from, const std::filesystem::path& to)
{
    Specimens specimens;
    ForEachParameterMap(root,
                        [&](const OperatorInfo& info, JsonValue& parameters)
                        {
                            for (JsonMember& member : parameters.members)
                            {
                                if (!IsRelative(member.value))
                                    continue;
                                const Operator* const op = specimens.Find(*info.type);
                                const Parameter* const parameter = op ? op->FindParameter(member.name) : nullptr;
                                if (parameter && IsPath(*parameter))
                                    member.value.text = ToRelativePath(ToAbsolutePath(member.value.text, from), to);
                            }
                        });
}

} // namespace

std::string GraphDocument::ToText() const
{
    JsonValue saved = *root;
    ForEachParameterMap(
        saved, [](const OperatorInfo& info, JsonValue& parameters)
        { std::erase_if(parameters.members, [&](const JsonMember& member) { return IsOutput(info, member.name); }); });
    return LayOutJson(saved);
}

Status GraphDocument::Save(const std::string& path) const
{
    const std::filesystem::path target = MakeAbsoluteFolder(std::filesystem::path(path).parent_path());
    std::error_code code;
    if (target == folder || std::filesystem::equivalent(target, folder, code))
        return WriteFileAtomically(path, ToText());

    GraphDocument moved = *this;
    MovePaths(*moved.root, folder, target);
    return WriteFileAtomically(path, moved.ToText());
}

} // namespace Varkle
