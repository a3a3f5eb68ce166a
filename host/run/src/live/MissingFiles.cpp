#include "live/MissingFiles.h"

#include "Varkle/Core/Text.h"

#include <algorithm>
#include <fmt/format.h>
#include <utility>

namespace Varkle
{

void MissingFiles::Look(const Graph& graph)
{
    for (const std::unique_ptr<Operator>& op : graph.GetOperators())
    {
        const std::vector<std::filesystem::path>& files = op->GetFilesRead();
        const auto known = operators.find(op.get());
        if (files.empty() && known == operators.end())
            continue;
        Seen& seen = known == operators.end() ? operators[op.get()] : known->second;
        if (std::exchange(seen.executions, op->GetExecutionCount()) == op->GetExecutionCount())
            continue;
        std::set<std::filesystem::path> missing;
        for (const std::filesystem::path& file : files)
        {
            std::error_code error;
            const bool told = spoke.contains(op.get()) && !seen.missing.contains(file);
            if (!told && !std::filesystem::exists(file, error))
                missing.insert(file);
        }
        for (const std::filesystem::path& file : missing)
        {
            if (!seen.missing.contains(file))
                LogWarning(fmt::format("{}: there is no file {}.", op->GetKey(), Quoted(file.string())));
        }
        for (const std::filesystem::path& file : seen.missing)
        {
            if (!missing.contains(file) && std::ranges::find(files, file) != files.end())
                LogInfo(fmt::format("{}: the file {} is there now.", op->GetKey(), Quoted(file.string())));
        }
        seen.missing = std::move(missing);
    }
    spoke.clear();
}

} // namespace Varkle
