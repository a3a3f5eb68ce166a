#include "Varkle/Document/DocumentHistory.h"

#include "Edits.h"

#include <random>
#include <utility>

using namespace Varkle;
using namespace Varkle::Testing;

namespace
{

using Names = std::vector<std::string>;

DocumentHistory MakeHistory(const std::string& operators)
{
    return DocumentHistory(ReadOperators(operators));
}

DocumentEdit SetFloat(const char* key, double value)
{
    return SetParameter{key, "Float", JsonNumber(value), {}, 0};
}

std::size_t CountSplices(DocumentHistory& history)
{
    const DocumentChange undone = history.Undo();
    history.Redo();
    return undone.splices.size();
}

const std::string two = R"({ "key": "a", "type": "Test.Everything" }, { "key": "b", "type": "Test.Everything" })";

// Makes edits at random, of which some fit.
class RandomEdits
{
public:
    explicit RandomEdits(unsigned seed) : random(seed) {}

    DocumentEdit Next(const GraphDocument& document)
    {
        const std::string key = Key(document);
        switch (Below(16))
        {
        case 0:
            return AddOperators{{NewOperator(document)}, Index()};
        case 1:
            return AddOperators{FitOperators(document, CopyOperators(document, {key, Key(document)}), Below(2) == 0),
                                Index()};
        case 2:
            return Below(3) == 0 ? RemoveOperators{{key}} : RemoveOperators{{key, Key(document)}};
        case 3:
            return RenameOperator{key, "op" + std::to_string(Below(40))};
        case 4:
            return MoveOperator{key, Below(30)};
        case 5:
        case 6:
            return ConnectInput{key, Pick({"Mesh Input", "Texture Input"}), {}, Key(document)};
        case 7:
            return ConnectInput{key, "Inputs", Index(), Key(document)};
        case 8:
            return InsertElement{key, "Inputs", Below(4), Below(4) == 0 ? "" : Key(document)};
        case 9:
            return MoveElement{key, "Inputs", Below(4), Below(4)};
        case 10:
            return DisconnectInput{key, Pick({"Mesh Input", "Inputs", "In"}), Index()};
        case 11:
            return SetParameter{key, Pick({"Weight", "Tint"}), Value(), "Weights", Below(4)};
        case 12:
            return SetPosition{key, double(Below(100)) / 8, double(Below(100))};
        case 13:
            return SetExtra{Below(2) == 0 ? key : "", Pick({"x-a", "x-b", "y"}), Value()};
        case 14:
            return SetFrameRate{double(Below(5)) * 12.5};
        default:
            return SetParameter{key,
                                Pick({"Float", "Int", "Vector 2", "Color", "Reference", "Target", "Mode", "Type",
                                      "Value", "String", "Bool", "Seeded"}),
                                Value(),
                                {},
                                0};
        }
    }

private:
    std::size_t Below(std::size_t end) { return std::size_t(random() % end); }

    const char* Pick(const std::vector<const char*>& from) { return from[Below(from.size())]; }

    std::optional<std::size_t> Index() { return Below(2) == 0 ? std::nullopt : std::optional<std::size_t>(Below(5)); }

    std::string Key(const GraphDocument& document)
    {
        const JsonValue& operators = *document.GetRoot().Find("operators");
        if (operators.elements.empty() || Below(50) == 0)
            return "nobody";
        return operators.elements[Below(operators.elements.size())].Find("key")->text;
    }

    JsonValue NewOperator(const GraphDocument& document)
    {
        JsonValue op = JsonObject();
        AddMember(op, "key", JsonString("op" + std::to_string(Below(40))));
        AddMember(op, "type",
                  JsonString(Pick({"Test.Everything", "Test.Stack", "Test.Sink", "Test.Report", "Test.Maker",
                                   "Test.Picture", "Gone.Type"})));
        if (Below(2) == 0)
            AddMember(op, "inputs", JsonObject({{"Mesh Input", {}, JsonString(Key(document))}}));
        return op;
    }

    std::optional<JsonValue> Value()
    {
        const char* const text = Pick({"1", "2.50", "\"sin(time)\"", "[1, 2]", "\"#ff0000\"", "null", "\"op1\"",
                                       "\"Random\"", "\"Vector 3\"", "true", "[1, 2, \"frame\"]", "\"1 +\"", "{}", ""});
        return *text == '\0' ? std::nullopt : std::optional(Json(text));
    }

    std::mt19937 random;
};

// Edits a document at random and sees to it that every state comes back, by undoing and by doing again.
void CheckRandomEdits(GraphDocument start, unsigned seed, int count, bool isFine)
{
    RandomEdits edits(seed);
    DocumentHistory history(std::move(start));
    Names texts = {history.GetDocument().ToText()};
    int refused = 0;
    for (int i = 0; i < count; ++i)
    {
        const DocumentEdit edit = edits.Next(history.GetDocument());
        const Result<DocumentChange> change = history.Apply(edit);
        const std::string text = history.GetDocument().ToText();
        refused += change ? 0 : 1;
        if (!change || change->splices.empty())
        {
            if (text != texts.back())
                FAIL(LayOutJson(WriteEdit(edit)));
            continue;
        }
        texts.push_back(text);
        if (i % 20 == 0)
        {
            if (ReadAny(text).ToText() != text)
                FAIL(LayOutJson(WriteEdit(edit)));
            if (const std::string wrong = JoinErrors(ReadAny(text).Check()); isFine && !wrong.empty())
                FAIL(wrong);
        }
    }
    CHECK(refused > count / 10);
    CHECK(texts.size() > std::size_t(count / 10));
    const std::size_t last = texts.size() - 1;
    for (std::size_t i = last; i > 0; --i)
    {
        REQUIRE(history.CanUndo());
        history.Undo();
        REQUIRE(history.GetDocument().ToText() == texts[i - 1]);
    }
    CHECK_FALSE(history.CanUndo());
    CHECK(history.IsSaved());
    for (std::size_t i = 1; i <= last; ++i)
    {
        history.Redo();
        REQUIRE(history.GetDocument().ToText() == texts[i]);
    }
    CHECK_FALSE(history.CanRedo());
}

} // namespace

TEST_CASE("Random edits of a document are undone and done again to the same bytes")
{
    CheckRandomEdits(ReadOperators(two), 1, 3000, true);
    CheckRandomEdits(ReadOperators(two), 2, 3000, true);
}

TEST_CASE("Random edits of a document with unknown types are undone and done again to the same bytes")
{
    const std::string unknown =
        two + R"(, { "key": "u", "type": "Gone.Type", "inputs": { "In": ["a"], "Inputs": ["b"] },
        "bundles": { "Weights": [{ "Weight": 1 }] }, "parameters": { "Float": {} } }, { "key": "op3", "type": "Gone.Type" })";
    CheckRandomEdits(ReadOperators(unknown), 3, 2000, false);
}

TEST_CASE("Steps are undone and done again under their names")
{
    DocumentHistory history = MakeHistory(two);
    CHECK_FALSE(history.CanUndo());
    REQUIRE(history.Apply(SetFloat("a", 1)));
    REQUIRE(history.Apply(RenameOperator{"b", "c"}, "Call it c"));
    CHECK(history.GetUndoNames() == Names{"Call it c", "Set \"Float\""});
    history.Undo();
    CHECK(history.GetRedoNames() == Names{"Call it c"});
    REQUIRE(history.Apply(SetFloat("a", 2)));
    CHECK_FALSE(history.CanRedo());
    CHECK(history.GetUndoNames().size() == 2);
}

TEST_CASE("What is refused or changes nothing is no step")
{
    DocumentHistory history = MakeHistory(two);
    CHECK_FALSE(history.Apply(SetFloat("nobody", 1)));
    REQUIRE(history.Apply(SetParameter{"a", "Float", {}, {}, 0}));
    CHECK_FALSE(history.CanUndo());
    CHECK(history.IsSaved());
}

TEST_CASE("A group is one step, and a value that is dragged leaves one splice for each place")
{
    DocumentHistory history = MakeHistory(two);
    history.BeginGroup("Drag");
    for (int i = 0; i < 100; ++i)
    {
        REQUIRE(history.Apply(SetPosition{"a", double(i), 0}));
        REQUIRE(history.Apply(SetPosition{"b", 0, double(i)}));
    }
    history.EndGroup();
    CHECK(history.GetUndoNames() == Names{"Drag"});
    CHECK(CountSplices(history) == 2);
    const std::string moved = history.GetDocument().ToText();
    history.Undo();
    CHECK(history.GetDocument().ToText() == ReadOperators(two).ToText());
    history.Redo();
    CHECK(history.GetDocument().ToText() == moved);
}

TEST_CASE("A group that ends where it began leaves no step, and one that is cancelled leaves nothing")
{
    DocumentHistory history =
        MakeHistory(R"({ "key": "a", "type": "Test.Everything", "parameters": { "Float": 1.0 } })");
    const std::string before = history.GetDocument().ToText();
    history.BeginGroup("Drag");
    REQUIRE(history.Apply(SetFloat("a", 2)));
    REQUIRE(history.Apply(SetParameter{"a", "Float", Json("1.0"), {}, 0}));
    history.EndGroup();
    CHECK_FALSE(history.CanUndo());
    CHECK(history.GetDocument().ToText() == before);

    history.BeginGroup("Drag");
    REQUIRE(history.Apply(SetFloat("a", 2)));
    REQUIRE(history.Apply(RemoveOperators{{"a"}}));
    history.CancelGroup();
    CHECK(history.GetDocument().ToText() == before);
    CHECK(history.IsSaved());
    CHECK_FALSE(history.IsInGroup());
}

TEST_CASE("A group with edits that move places is undone exactly")
{
    DocumentHistory history = MakeHistory(two);
    const std::string before = history.GetDocument().ToText();
    history.BeginGroup("Much");
    for (int i = 0; i < 4; ++i)
    {
        REQUIRE(history.Apply(SetFloat("b", i)));
        REQUIRE(history.Apply(MoveOperator{"a", std::size_t(1 - i % 2)}));
        REQUIRE(history.Apply(SetFloat("b", i + 10)));
        REQUIRE(history.Apply(SetExtra{"b", "x-note", JsonNumber(double(i))}));
    }
    const std::string after = history.GetDocument().ToText();
    history.Undo();
    CHECK(history.GetDocument().ToText() == before);
    history.Redo();
    CHECK(history.GetDocument().ToText() == after);
}

TEST_CASE("A history knows whether it stands where the document was saved")
{
    DocumentHistory history = MakeHistory(two);
    CHECK(history.IsSaved());
    REQUIRE(history.Apply(SetFloat("a", 1)));
    CHECK_FALSE(history.IsSaved());
    history.MarkSaved();
    REQUIRE(history.Apply(SetFloat("a", 2)));
    history.Undo();
    CHECK(history.IsSaved());
    history.Undo();
    CHECK_FALSE(history.IsSaved());
    REQUIRE(history.Apply(SetFloat("a", 3))); // the saved state is not among what can be done again
    CHECK_FALSE(history.IsSaved());
    history.Undo();
    CHECK_FALSE(history.IsSaved());
    history.MarkSaved();
    CHECK(history.IsSaved());
}

TEST_CASE("A state that was saved inside a group can't be returned to")
{
    DocumentHistory history = MakeHistory(two);
    history.BeginGroup("Drag");
    REQUIRE(history.Apply(SetFloat("a", 1)));
    history.MarkSaved();
    CHECK(history.IsSaved());
    REQUIRE(history.Apply(SetFloat("a", 2)));
    CHECK_FALSE(history.IsSaved());
    history.EndGroup();
    history.Undo();
    CHECK_FALSE(history.IsSaved());
}
