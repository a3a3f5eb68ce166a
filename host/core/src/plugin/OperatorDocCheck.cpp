#include "Varkle/Core/Log.h"
#include "Varkle/Core/Operator.h"
#include "Varkle/Core/ParameterBundle.h"
#include "Varkle/Core/Parameters.h"
#include "Varkle/Core/TypeLibrary.h"

#include <algorithm>
#include <iterator>
#include <string>
#include <vector>

// Compares an operator's document with the operator: both are brought into lists of the same form, list by list.

namespace Varkle
{

namespace
{

using Entry = OperatorInfo::Entry;

// What the operator has under a name.
struct Part
{
    std::string name;
    std::string type;
    bool output = false;
    std::vector<std::string> values; // of an enum
    std::vector<std::string> labels; // what is shown for them, or empty
};

Part Describe(const Parameter& parameter)
{
    Part part{parameter.GetName(),
              std::string(GetParameterTypeName(parameter.GetParameterType())),
              parameter.HasFlag(ParameterFlag::Output),
              {},
              {}};
    if (const auto* const choice = dynamic_cast<const EnumParameter*>(&parameter))
    {
        part.values = choice->GetPossibleValues();
        part.labels = choice->GetLabels();
    }
    return part;
}

std::vector<Part> Describe(const std::vector<Parameter*>& parameters)
{
    std::vector<Part> parts;
    std::ranges::transform(parameters, std::back_inserter(parts),
                           [](const Parameter* parameter) { return Describe(*parameter); });
    return parts;
}

std::vector<Part> DescribeInputs(const Operator& op)
{
    std::vector<Part> parts;
    for (const Object* const object : op.GetInputs())
    {
        if (const auto* const input = dynamic_cast<const DataInput*>(object))
            parts.push_back({input->GetName(), std::string(input->GetDataTypeName()), false, {}, {}});
        else if (const auto* const list = dynamic_cast<const DataInputList*>(object))
            parts.push_back({list->GetName(), std::string(list->GetDataTypeName()), false, {}, {}});
    }
    return parts;
}

std::vector<Part> DescribeOutputs(const Operator& op)
{
    std::vector<Part> parts;
    for (const DataOutput* const output : op.GetOutputs())
        parts.push_back({output->GetName(), std::string(output->GetDataTypeName()), false, {}, {}});
    return parts;
}

std::vector<Part> DescribeBundleLists(const Operator& op)
{
    std::vector<Part> parts;
    for (const ParameterBundleList* const list : op.GetBundleLists())
        parts.push_back({list->GetName(), "", false, {}, {}});
    return parts;
}

std::vector<Entry> SelectEntries(const std::vector<Entry>& entries, bool bundleLists)
{
    std::vector<Entry> selected;
    std::ranges::copy_if(entries, std::back_inserter(selected),
                         [&](const Entry& entry) { return entry.bundles.empty() != bundleLists; });
    return selected;
}

template<class List>
auto FindNamed(const List& list, std::string_view name)
{
    const auto found = std::ranges::find_if(list, [&](const auto& item) { return item.name == name; });
    return found != list.end() ? &*found : nullptr;
}

std::string Join(const std::vector<std::string>& names)
{
    std::string text;
    for (const std::string& name : names)
        text += (text.empty() ? "" : ", ") + name;
    return "[" + text + "]";
}

// Compares lists of one document; notes whether all agreed.
class Comparison
{
public:
    // `changing`: the operator creates and removes parameters.
    Comparison(const std::string& documentPath, bool changing) : path(documentPath), mayChange(changing) {}

    bool Agrees() const { return agrees; }

    // `word` is what messages call one item of the lists; only parameters come and go.
    void Compare(const std::vector<Entry>& entries, const std::vector<Part>& parts, const std::string& word)
    {
        const bool changing = mayChange && word == "parameter";
        for (const Entry& entry : entries)
        {
            if (const Part* const part = FindNamed(parts, entry.name))
                CompareOne(entry, *part, word, changing);
            else if (!changing)
                Warn(entry.marks.line, "the operator has no " + word + " \"" + entry.name + "\".");
        }
        std::uint32_t line = 1; // of the entry behind which a missing one belongs
        for (const Part& part : parts)
        {
            if (const Entry* const entry = FindNamed(entries, part.name))
                line = entry->marks.line;
            else
                Warn(line, "the operator's " + word + " \"" + part.name + "\" is not documented.");
        }
        CompareOrder(entries, parts, word, changing);
    }

private:
    void Warn(std::uint32_t line, const std::string& text)
    {
        LogWarning(path + ":" + std::to_string(line) + ": " + text);
        agrees = false;
    }

    void CompareOne(const Entry& entry, const Part& part, const std::string& word, bool changing)
    {
        const std::string where = word + " \"" + entry.name + "\": ";
        const bool typeFollows = changing && entry.type == "[Type]";
        if (entry.type != part.type && !typeFollows)
            Warn(entry.marks.line,
                 where + "the type is \"" + entry.type + "\" here, \"" + part.type + "\" in the operator.");
        if (entry.values != part.values && (entry.values.empty() || entry.values != part.labels) && !typeFollows)
            Warn(entry.marks.line,
                 where + "the values are " + Join(entry.values) + " here, " + Join(part.values) + " in the operator.");
        if ((entry.marks.output != 0) != part.output)
            Warn(entry.marks.line,
                 where + (part.output ? "the operator writes it, so it needs \"output: true\"."
                                      : "the operator does not write it, in spite of \"output: true\"."));
    }

    // Reports the first item of those on both sides that stands in another place.
    void CompareOrder(const std::vector<Entry>& entries, const std::vector<Part>& parts, const std::string& word,
                      bool changing)
    {
        // Parameters that come and go stand in the order in which they came.
        const auto counts = [&](const Entry& entry) { return !(changing && entry.type == "[Type]"); };
        std::vector<const Entry*> documented;
        for (const Entry& entry : entries)
        {
            if (counts(entry) && FindNamed(parts, entry.name))
                documented.push_back(&entry);
        }
        std::size_t place = 0;
        for (const Part& part : parts)
        {
            const Entry* const entry = FindNamed(entries, part.name);
            if (!entry || !counts(*entry) || place == documented.size())
                continue;
            if (entry != documented[place])
            {
                Warn(documented[place]->marks.line,
                     word + " \"" + documented[place]->name + "\" stands here in the place of \"" + part.name + "\".");
                return;
            }
            ++place;
        }
    }

    const std::string& path;
    bool mayChange;
    bool agrees = true;
};

bool CreatesParameters(const Operator& op)
{
    return std::ranges::any_of(op.GetParameters(),
                               [](const Parameter* parameter) { return parameter->HasFlag(ParameterFlag::Structure); });
}

} // namespace

bool CheckOperatorDoc(const OperatorInfo& info, const Operator& op)
{
    if (info.inputs.empty() && info.outputs.empty() && info.parameters.empty())
        return true;

    Comparison comparison(info.documentPath, CreatesParameters(op));
    comparison.Compare(info.outputs, DescribeOutputs(op), "output");
    comparison.Compare(info.inputs, DescribeInputs(op), "input");
    comparison.Compare(SelectEntries(info.parameters, false), Describe(op.GetParameters()), "parameter");

    const std::vector<Entry> bundleLists = SelectEntries(info.parameters, true);
    comparison.Compare(bundleLists, DescribeBundleLists(op), "bundle list");
    for (const Entry& entry : bundleLists)
    {
        const ParameterBundleList* const list = op.FindBundleList(entry.name);
        if (list && !list->GetBundles().empty())
            comparison.Compare(entry.bundles.front().second, Describe(list->GetBundles().front()->GetParameters()),
                               "bundle parameter");
    }
    return comparison.Agrees();
}

} // namespace Varkle
