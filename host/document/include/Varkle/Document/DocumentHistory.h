#pragma once

#include "Varkle/Document/DocumentEdit.h"

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace Varkle
{

/// Holds a document and all that was done to it, so that it can be undone, without limit. Each edit is a step, and so
/// is a group of edits, such as everything that one gesture does.
class VARKLE_API DocumentHistory
{
public:
    /// Begins with a document as it was read; that counts as saved.
    explicit DocumentHistory(GraphDocument document);

    const GraphDocument& GetDocument() const { return document; }

    /// Applies an edit and makes it a step, which takes the place of all that had been undone. Inside a group it joins
    /// the group's step. The step's name is DescribeEdit's when none is given. An edit that changes nothing is no step.
    Result<DocumentChange> Apply(const DocumentEdit& edit, std::string name = {});

    /// Begins a group: what follows is one step until EndGroup, and a place that is set again and again takes memory
    /// once. Groups don't nest: one that is open is ended first.
    void BeginGroup(std::string name);
    /// Ends the group; one in which nothing was changed leaves no step.
    void EndGroup();
    /// Takes back what the group did, and returns the change that did so.
    DocumentChange CancelGroup();
    bool IsInGroup() const { return inGroup; }

    /// Undo or redo a step and return the change that did so, empty when there is none. A group that is open is ended
    /// first.
    DocumentChange Undo();
    DocumentChange Redo();
    bool CanUndo() const { return done > 0; }
    bool CanRedo() const { return done < steps.size(); }
    /// Return the names of the steps that could be undone, the next one first, and of those that could be redone.
    std::vector<std::string> GetUndoNames() const;
    std::vector<std::string> GetRedoNames() const;

    /// Notes that the document as it is now lies in its file.
    void MarkSaved();
    /// True when undoing and redoing led to the state that was saved, or nothing has happened since. When that state
    /// can be reached no more it stays false until MarkSaved.
    bool IsSaved() const { return saved == done; }

private:
    struct Step
    {
        std::string name;
        DocumentChange change;
    };

    DocumentChange Follow(DocumentChange change);

    GraphDocument document;
    std::vector<Step> steps;             // those that were done, then those that were undone
    std::size_t done = 0;                // how many of them
    std::optional<std::size_t> saved{0}; // how many there were when it was saved, while that can be reached
    bool inGroup = false;
    bool groupHasStep = false; // the last step is the open group's
    std::string groupName;
};

} // namespace Varkle
