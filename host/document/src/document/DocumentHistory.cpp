#include "Varkle/Document/DocumentHistory.h"

#include <utility>

namespace Varkle
{

DocumentHistory::DocumentHistory(GraphDocument readDocument) : document(std::move(readDocument)) {}

Result<DocumentChange> DocumentHistory::Apply(const DocumentEdit& edit, std::string name)
{
    Result<DocumentChange> change = ApplyEdit(document, edit);
    if (!change || change->splices.empty())
        return change;
    if (groupHasStep)
    {
        // Where the group began is no place to return to while it is open.
        if (saved == done)
            saved.reset();
        steps.back().change.Append(*change);
        return change;
    }
    steps.resize(done);
    if (saved && *saved > done)
        saved.reset();
    if (inGroup)
        name = groupName;
    steps.push_back({name.empty() ? DescribeEdit(edit) : std::move(name), *change});
    ++done;
    groupHasStep = inGroup;
    return change;
}

void DocumentHistory::BeginGroup(std::string name)
{
    EndGroup();
    inGroup = true;
    groupName = std::move(name);
}

void DocumentHistory::EndGroup()
{
    if (groupHasStep && steps.back().change.splices.empty())
    {
        steps.pop_back();
        --done;
    }
    inGroup = false;
    groupHasStep = false;
}

DocumentChange DocumentHistory::CancelGroup()
{
    DocumentChange change;
    if (groupHasStep)
    {
        change = Follow(steps.back().change.Inverse());
        steps.pop_back();
        --done;
    }
    inGroup = false;
    groupHasStep = false;
    return change;
}

DocumentChange DocumentHistory::Undo()
{
    EndGroup();
    return CanUndo() ? Follow(steps[--done].change.Inverse()) : DocumentChange();
}

DocumentChange DocumentHistory::Redo()
{
    EndGroup();
    return CanRedo() ? Follow(steps[done++].change) : DocumentChange();
}

std::vector<std::string> DocumentHistory::GetUndoNames() const
{
    std::vector<std::string> names;
    for (std::size_t i = done; i > 0; --i)
        names.push_back(steps[i - 1].name);
    return names;
}

std::vector<std::string> DocumentHistory::GetRedoNames() const
{
    std::vector<std::string> names;
    for (std::size_t i = done; i < steps.size(); ++i)
        names.push_back(steps[i].name);
    return names;
}

void DocumentHistory::MarkSaved()
{
    saved = done;
}

// The document is as it was when the change was made, so that it fits.
DocumentChange DocumentHistory::Follow(DocumentChange change)
{
    static_cast<void>(ApplyChange(document, change));
    return change;
}

} // namespace Varkle
