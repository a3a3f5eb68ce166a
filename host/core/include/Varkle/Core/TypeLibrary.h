#pragma once

#include "Varkle/Core/Export.h"
#include "Varkle/Core/Object.h"
#include "Varkle/Core/Result.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_set>
#include <utility>
#include <vector>

namespace Varkle
{

class Operator;

/// Is what the host knows of an operator type, read from its document.
struct OperatorInfo
{
    /// Describes one input, output, parameter or bundle list.
    struct Entry
    {
        std::string name; ///< the display name
        std::string type; ///< "Texture", "Float", ...; "[Type]" when it follows another parameter; "" for a bundle list
        std::string description;         ///< one or more sentences
        std::vector<std::string> values; ///< of an enum, in order
        struct Marks
        {
            std::uint32_t line = 0;   ///< where the entry stands in the document, from 1
            std::uint32_t output = 0; ///< 1 when the operator writes the value and the user only reads it
        } marks;
        std::string summary; ///< of a bundle list
        /// Of a bundle list: the parameters that each bundle holds, under the name of the list.
        std::vector<std::pair<std::string, std::vector<Entry>>> bundles;
    };

    const ObjectType* type = nullptr;
    std::string category; ///< from the document's path: "Texture", "IO/System"
    std::string name;     ///< the display name, from the document's path: "Color Correct"
    std::string summary;  ///< one sentence
    std::vector<std::string> tags;
    std::string documentPath; ///< "Docs/Operators/Texture/Blur.md"
    std::vector<Entry> outputs;
    std::vector<Entry> inputs;
    std::vector<Entry> parameters; ///< bundle lists too, in their place
    std::string body;              ///< the Markdown behind the front matter
};

/// Reads an operator document: front matter between two lines "---", then Markdown, in UTF-8. Whatever is wrong with it
/// is a warning in the log that names the document and the line ("Docs/Operators/Texture/Blur.md:12: ..."); the rest is
/// kept. An empty text gives a record without entries and no warning. The name and category come from the path
/// ("Docs/Operators/<Category>/<Name>.md").
VARKLE_API OperatorInfo ParseOperatorDoc(const ObjectType* type, std::string_view docPath, std::string_view docText);

/// Compares a document with an instance of its operator and logs a warning, naming document and line, for every input,
/// output, parameter, bundle list, type and list of enum values in which they differ, order included. Returns true when
/// they agree. A document without any entries is not compared.
///
/// Enum values may be documented by their names or by the texts that are shown for them. What a bundle holds is
/// compared when there is a bundle. On an operator that creates and removes parameters (one has
/// ParameterFlag::Structure) those that are documented and absent, and those documented with the type "[Type]", agree.
VARKLE_API bool CheckOperatorDoc(const OperatorInfo& info, const Operator& op);

/// Holds the operator types of the process. Main thread only.
class VARKLE_API TypeLibrary
{
public:
    static TypeLibrary& Get();

    /// Adds a type at the end. Refuses a record without a type, and one whose id is registered already. A plug-in may
    /// ignore that: Plugin::Load looks at what was refused and takes the plug-in back.
    Status RegisterOperator(OperatorInfo info);
    /// Forgets a type; plug-ins' types are forgotten when their library is unloaded.
    void UnregisterOperator(const ObjectType* type);
    /// Returns the errors of all registrations that were refused so far, in their order.
    const std::vector<Error>& GetRefusals() const { return refusals; }

    /// Compares a type's document with an instance (CheckOperatorDoc), once for each registration of the type.
    void CheckDocumentOnce(const OperatorInfo& info, const Operator& op);

    /// Returns the records in the order of registration.
    const std::vector<OperatorInfo>& GetOperators() const { return operators; }
    /// Returns the record of a type id ("Varkle.Texture.Blur"), or null. Valid until the next registration.
    const OperatorInfo* Find(std::string_view typeId) const;
    /// Returns the record of a document's category and name ("Texture/Color Correct", case of ASCII letters ignored),
    /// or null. Valid until the next registration.
    const OperatorInfo* FindByPath(std::string_view path) const;

private:
    std::vector<OperatorInfo> operators;
    std::vector<Error> refusals;
    std::unordered_set<const ObjectType*> compared; // registered types only: an address may be another type's later
};

} // namespace Varkle
