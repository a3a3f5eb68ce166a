#pragma once

#include "Varkle/Core/Export.h"
#include "Varkle/Core/Object.h"

#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace Varkle
{

class Operator;

/// Knows which operator a file becomes. Main thread only.
class VARKLE_API FileImportRegistry
{
public:
    using Import = std::function<void(Operator&, const std::filesystem::path&)>;

    static FileImportRegistry& Get();

    /// Says that a file with one of the extensions (with the leading point, case of ASCII letters ignored) becomes an
    /// operator of `type`; `import`, unless empty, is called with the new operator and the file's path. Later
    /// registrations win over earlier ones.
    void RegisterImporter(std::vector<std::string> extensions, const ObjectType* type, Import import);
    /// Forgets the importers of a type.
    void UnregisterImporters(const ObjectType* type);

    /// Counts the registrations so far, those that were undone included. With UnregisterImporters(first, end) a
    /// plug-in's registrations are undone, whichever type they are for.
    unsigned long GetRegistrationCount() const { return registrationCount; }
    /// Forgets the importers of the registrations from number `first`, counted from 0, up to but not including `end`.
    void UnregisterImporters(unsigned long first, unsigned long end);

    /// Returns the operator type for a file, or null when no importer takes it.
    const ObjectType* FindType(const std::filesystem::path& file) const;
    /// Makes an operator of a file, or returns null when no importer takes it or its type makes no operator. The file
    /// itself is not looked at.
    std::unique_ptr<Operator> CreateOperator(const std::filesystem::path& file) const;
    /// Returns every extension that is imported, sorted, lower case, each once.
    std::vector<std::string> GetExtensions() const;

private:
    struct Importer
    {
        unsigned long number;
        std::vector<std::string> extensions; // lower case
        const ObjectType* type;
        Import import;
    };
    const Importer* Find(const std::filesystem::path& file) const;

    std::vector<Importer> importers;
    unsigned long registrationCount = 0;
};

} // namespace Varkle
