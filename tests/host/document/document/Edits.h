#pragma once

#include "Varkle/Document/DocumentEdit.h"
#include "Varkle/Document/JsonLayout.h"
#include "document/DocumentOperators.h"
#include "support/Catch.h"

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

// Documents of the operators for documents, and edits of them.

namespace Varkle::Testing
{

/// Reads a document that may make no sense.
inline GraphDocument ReadAny(std::string_view text, const std::filesystem::path& folder = "/folder")
{
    RegisterDocumentOperators();
    std::vector<DocumentError> errors;
    GraphDocument document = GraphDocument::Parse(text, "g", folder, errors);
    if (!errors.empty())
        FAIL(JoinErrors(errors));
    return document;
}

inline GraphDocument ReadOperators(const std::string& operators)
{
    return ReadAny(WithOperators(operators));
}

inline JsonValue Json(std::string_view text)
{
    JsonDocument json = ParseJson(text);
    if (!json.root)
        FAIL(text);
    return *json.root;
}

/// Applies an edit and returns the error, "" when there is none. What was refused must have changed nothing, and what
/// was done must be undone by its inverse.
inline std::string Edit(GraphDocument& document, const DocumentEdit& edit)
{
    const std::string before = document.ToText();
    const Result<DocumentChange> change = ApplyEdit(document, edit);
    const std::string after = document.ToText();
    if (!change)
    {
        CHECK(after == before);
        return change.GetError().message;
    }
    CHECK(bool(ApplyChange(document, change->Inverse())));
    CHECK(document.ToText() == before);
    CHECK(bool(ApplyChange(document, *change)));
    CHECK(document.ToText() == after);
    return {};
}

/// Returns an operator of the document as JSON in one line.
inline std::string Show(const GraphDocument& document, std::string_view key)
{
    std::string text;
    for (const JsonValue& op : CopyOperators(document, {std::string(key)}))
        text += LayOutJson(op);
    std::string line;
    for (const char c : text)
    {
        if (c == '\n' || (c == ' ' && (line.empty() || line.back() == ' ')))
            line += line.empty() || line.back() == ' ' ? "" : " ";
        else
            line += c;
    }
    return line.substr(0, line.find_last_not_of(' ') + 1);
}

} // namespace Varkle::Testing
