#pragma once

#include "Varkle/Document/GraphSession.h"
#include "document/DocumentOperators.h"
#include "support/Catch.h"

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

// Sessions of the operators for documents.

namespace Varkle::Testing
{

using Lines = std::vector<std::string>;

inline GraphSession Open(std::string_view text, const std::filesystem::path& folder = "/folder")
{
    RegisterDocumentOperators();
    Result<GraphSession> session = GraphSession::Parse(text, "g", folder);
    if (!session)
        FAIL(session.GetError().message);
    return std::move(*session);
}

inline GraphSession OpenOperators(const std::string& operators)
{
    return Open(WithOperators(operators));
}

/// Makes the text of a graph of one operator "a" of every kind of parameter.
inline std::string MakeEverything(const std::string& parameters)
{
    return R"({ "key": "a", "type": "Test.Everything", "parameters": {)" + parameters + "} }";
}

inline GraphSession OpenEverything(const std::string& parameters)
{
    return OpenOperators(MakeEverything(parameters));
}

template<class Op>
Op& Get(GraphSession& session, std::string_view key)
{
    return dynamic_cast<Op&>(*session.GetGraph().Find(key));
}

/// Goes to a frame and returns the keys of the operators that ran, in order.
inline Lines RunFrame(GraphSession& session, long long frame)
{
    NotingOperator::Executed().clear();
    session.GoToFrame(frame);
    return NotingOperator::Executed();
}

/// Sets a parameter and returns the error, "" when there is none.
inline std::string Set(GraphSession& session, std::string_view target, std::string_view value)
{
    const Status status = session.SetParameter(target, value);
    return status ? "" : status.GetError().message;
}

} // namespace Varkle::Testing
