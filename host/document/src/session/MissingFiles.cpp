#include "Varkle/Core/ParameterBundle.h"
#include "Varkle/Core/Parameters.h"
#include "Varkle/Core/Text.h"
#include "session/GraphSessionState.h"

#include <algorithm>
#include <filesystem>
#include <utility>

// Tells which files are not there. Operators keep silent about that, for it may be meant so; people want to know.

namespace Varkle
{

namespace
{

// Returns the path of a file that the parameter names and that does not exist, "" when there is nothing amiss.
std::string FindMissing(const Parameter& parameter)
{
    const auto* const text = dynamic_cast<const StringParameter*>(&parameter);
    if (!text || text->GetEditorType() != StringParameter::EditorType::FilePath ||
        text->HasFlag(ParameterFlag::Output) || text->Value().empty())
        return {};
    std::error_code code;
    const std::filesystem::file_status status = std::filesystem::status(text->Value(), code);
    return status.type() == std::filesystem::file_type::not_found ? text->Value() : std::string();
}

} // namespace

std::vector<MissingFile> SessionState::FindMissingFiles() const
{
    std::vector<MissingFile> files;
    const auto look = [&](const OperatorSettings& ofOperator, const Parameter& parameter)
    {
        const std::string path = FindMissing(parameter);
        if (path.empty())
            return;
        const Operator& op = *GetOperator(ofOperator);
        const auto setting = std::ranges::find_if(ofOperator.settings, [&](const std::unique_ptr<Setting>& given)
                                                  { return GetParameter(*given) == &parameter; });
        const bool isInDocument = setting != ofOperator.settings.end() && (*setting)->at.line > 0;
        const SourcePosition at = isInDocument ? (*setting)->json.at : SourcePosition{0, 0};
        files.push_back(
            {op.GetKey(),
             parameter.GetName(),
             path,
             {document.GetName(), at.line, at.column,
              InOperator(op) + "parameter " + Quoted(parameter.GetName()) + ": there is no file " + Quoted(path)}});
    };
    for (const OperatorSettings& ofOperator : settings)
    {
        const Operator* const op = GetOperator(ofOperator);
        for (const Parameter* const parameter : op ? op->GetParameters() : std::vector<Parameter*>())
            look(ofOperator, *parameter);
        for (const ParameterBundleList* const list : op ? op->GetBundleLists() : std::vector<ParameterBundleList*>())
        {
            for (const ParameterBundle* const bundle : list->GetBundles())
            {
                for (const Parameter* const parameter : bundle->GetParameters())
                    look(ofOperator, *parameter);
            }
        }
    }
    return files;
}

} // namespace Varkle
