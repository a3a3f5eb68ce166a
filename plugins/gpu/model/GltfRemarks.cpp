#include "model/GltfRemarks.h"

#include "Varkle/Core/Log.h"
#include "Varkle/Core/Text.h"

namespace Varkle
{

namespace
{

constexpr std::size_t MaxRemarks = 10;

} // namespace

GltfRemarks::~GltfRemarks()
{
    if (count > MaxRemarks)
        LogWarning(model + ": ... and " + std::to_string(count - MaxRemarks) + " more remarks.");
}

void GltfRemarks::Add(std::string_view sentence)
{
    if (++count <= MaxRemarks)
        LogWarning(model + ": " + std::string(sentence));
}

void GltfRemarks::AddLeftOut(std::string_view kind, std::string_view name, std::string_view reason)
{
    Add("The " + std::string(kind) + " " + Quoted(name) + " is left out. " + std::string(reason));
}

} // namespace Varkle
