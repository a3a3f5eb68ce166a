#include "Varkle/Core/FileReading.h"

#include "Varkle/Core/Operator.h"
#include "graph/OperatorState.h"

#include <algorithm>

namespace Varkle
{

FileRead::FileRead(const std::filesystem::path& path) : span("file", path.native())
{
    Operator* const op = Operator::Executing();
    if (!op || path.empty())
        return;
    std::error_code code;
    const std::filesystem::path absolute = std::filesystem::absolute(path, code).lexically_normal();
    std::vector<std::filesystem::path>& files = op->state->filesRead;
    if (!absolute.empty() && std::ranges::find(files, absolute) == files.end())
        files.push_back(absolute);
}

} // namespace Varkle
