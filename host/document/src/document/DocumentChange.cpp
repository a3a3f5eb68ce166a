#include "document/DocumentChange.h"

#include "Varkle/Document/JsonLayout.h"
#include "document/DocumentTree.h"

#include <algorithm>
#include <utility>

// Does changes of documents, exactly and backwards.

namespace Varkle
{

namespace
{

using Path = std::vector<std::size_t>;

Path PlaceOf(const DocumentSplice& splice)
{
    Path place = splice.path;
    place.push_back(splice.index);
    return place;
}

bool IsWithin(const Path& place, const Path& outer)
{
    return place.size() >= outer.size() && std::equal(outer.begin(), outer.end(), place.begin());
}

bool IsReplacement(const DocumentSplice& splice)
{
    return splice.before && splice.after;
}

// True when a splice moves or changes what another one, a replacement, sets.
bool Touches(const DocumentSplice& splice, const Path& place)
{
    if (!IsReplacement(splice))
        return IsWithin(place, splice.path);
    const Path own = PlaceOf(splice);
    return IsWithin(place, own) || IsWithin(own, place);
}

bool AreEqual(const JsonMember& a, const JsonMember& b)
{
    return a.name == b.name && SaySame(a.value, b.value);
}

// Both kinds of lists of children, as one.
template<class Children, class Child>
bool SpliceChildren(Children& children, std::size_t index, bool removes, std::optional<Child> inserted)
{
    const auto at = children.begin() + std::ptrdiff_t(index);
    if (removes && inserted)
        *at = std::move(*inserted);
    else if (removes)
        children.erase(at);
    else if (inserted)
        children.insert(at, std::move(*inserted));
    return true;
}

} // namespace

JsonValue* Walk(JsonValue& root, const Path& path)
{
    JsonValue* value = &root;
    for (const std::size_t step : path)
    {
        const bool isObject = value->kind == JsonKind::Object;
        if (step >= (isObject ? value->members.size() : value->elements.size()))
            return nullptr;
        value = isObject ? &value->members[step].value : &value->elements[step];
    }
    return value;
}

bool Splice(GraphDocument& document, const DocumentSplice& splice)
{
    JsonValue* const container = Walk(DocumentAccess::Root(document), splice.path);
    if (!container || (container->kind != JsonKind::Object && container->kind != JsonKind::Array))
        return false;
    const bool isObject = container->kind == JsonKind::Object;
    const std::size_t count = isObject ? container->members.size() : container->elements.size();
    if (splice.index > count || (splice.before && splice.index == count))
        return false;
    if (splice.before && isObject && !AreEqual(*splice.before, container->members[splice.index]))
        return false;
    if (splice.before && !isObject && !SaySame(splice.before->value, container->elements[splice.index]))
        return false;

    const auto isKey = [](const std::optional<JsonMember>& member) { return member && member->name == "key"; };
    if (splice.path.size() < 2 || (splice.path.size() == 2 && (isKey(splice.before) || isKey(splice.after))))
        DocumentAccess::ForgetKeys(document);

    if (isObject)
        return SpliceChildren(container->members, splice.index, splice.before.has_value(), splice.after);
    return SpliceChildren(container->elements, splice.index, splice.before.has_value(),
                          splice.after ? std::optional(splice.after->value) : std::nullopt);
}

void TakeBack(GraphDocument& document, const DocumentChange& change)
{
    for (const DocumentSplice& splice : change.Inverse().splices)
        Splice(document, splice);
}

DocumentChange DocumentChange::Inverse() const
{
    DocumentChange inverse{{splices.rbegin(), splices.rend()}};
    for (DocumentSplice& splice : inverse.splices)
        std::swap(splice.before, splice.after);
    return inverse;
}

void DocumentChange::Append(DocumentChange later)
{
    for (DocumentSplice& splice : later.splices)
    {
        const Path place = PlaceOf(splice);
        auto same = splices.rend();
        for (auto earlier = splices.rbegin(); IsReplacement(splice) && earlier != splices.rend(); ++earlier)
        {
            if (earlier->after && PlaceOf(*earlier) == place)
                same = earlier;
            if (Touches(*earlier, place))
                break;
        }
        if (same == splices.rend())
            splices.push_back(std::move(splice));
        else if (same->before && LayOutJson(same->before->value) == LayOutJson(splice.after->value))
            splices.erase(std::next(same).base());
        else
            same->after = std::move(splice.after);
    }
}

Status ApplyChange(GraphDocument& document, const DocumentChange& change)
{
    DocumentChange made;
    for (const DocumentSplice& splice : change.splices)
    {
        if (!Splice(document, splice))
        {
            TakeBack(document, made);
            return Error{"the change does not fit the document: it was made on another one"};
        }
        made.splices.push_back(splice);
    }
    return Ok();
}

} // namespace Varkle
