#include "Varkle/Core/FileImportRegistry.h"

#include "Varkle/Core/Operator.h"
#include "Varkle/Core/Text.h"

#include <algorithm>
#include <utility>

namespace Varkle
{

FileImportRegistry& FileImportRegistry::Get()
{
    static FileImportRegistry registry;
    return registry;
}

void FileImportRegistry::RegisterImporter(std::vector<std::string> extensions, const ObjectType* type, Import import)
{
    for (std::string& extension : extensions)
        extension = ToLower(extension);
    importers.push_back({registrationCount++, std::move(extensions), type, std::move(import)});
}

void FileImportRegistry::UnregisterImporters(const ObjectType* type)
{
    std::erase_if(importers, [&](const Importer& importer) { return importer.type == type; });
}

void FileImportRegistry::UnregisterImporters(unsigned long first, unsigned long end)
{
    std::erase_if(importers,
                  [&](const Importer& importer) { return importer.number >= first && importer.number < end; });
}

const ObjectType* FileImportRegistry::FindType(const std::filesystem::path& file) const
{
    const Importer* const importer = Find(file);
    return importer ? importer->type : nullptr;
}

std::unique_ptr<Operator> FileImportRegistry::CreateOperator(const std::filesystem::path& file) const
{
    const Importer* const importer = Find(file);
    if (!importer)
        return nullptr;
    std::unique_ptr<Object> object = importer->type->Create();
    auto* const op = dynamic_cast<Operator*>(object.get());
    if (!op)
        return nullptr;
    if (importer->import)
        importer->import(*op, file);
    (void)object.release();
    return std::unique_ptr<Operator>(op);
}

std::vector<std::string> FileImportRegistry::GetExtensions() const
{
    std::vector<std::string> extensions;
    for (const Importer& importer : importers)
        extensions.insert(extensions.end(), importer.extensions.begin(), importer.extensions.end());
    std::ranges::sort(extensions);
    extensions.erase(std::unique(extensions.begin(), extensions.end()), extensions.end());
    return extensions;
}

const FileImportRegistry::Importer* FileImportRegistry::Find(const std::filesystem::path& file) const
{
    const std::string extension = ToLower(file.extension().string());
    if (extension.empty()) // nothing behind the last point is no extension, even if someone registers ""
        return nullptr;
    const auto found =
        std::find_if(importers.rbegin(), importers.rend(),
                     [&](const Importer& importer)
                     { return std::ranges::find(importer.extensions, extension) != importer.extensions.end(); });
    return found != importers.rend() ? &*found : nullptr;
}

} // namespace Varkle
