#include "Varkle/Core/TypeLibrary.h"
#include "Varkle/Core/Operator.h"

#include "support/Catch.h"
#include "support/LogRecorder.h"

using namespace Varkle;

namespace
{

OperatorInfo Describe(const ObjectType& type, const std::string& category, const std::string& name)
{
    OperatorInfo info;
    info.type = &type;
    info.category = category;
    info.name = name;
    return info;
}

const ObjectType blur("Test.Texture.Blur", nullptr, {});
const ObjectType otherBlur("Test.Texture.Blur", nullptr, {});
const ObjectType colorCorrect("Test.Texture.ColorCorrect", nullptr, {});
const ObjectType window("Test.IO.System.Window", nullptr, {});

} // namespace

TEST_CASE("The type library is one for the process")
{
    CHECK(&TypeLibrary::Get() == &TypeLibrary::Get());
}

TEST_CASE("The type library lists operators in the order of registration")
{
    TypeLibrary library;
    library.RegisterOperator(Describe(window, "IO/System", "Window"));
    library.RegisterOperator(Describe(blur, "Texture", "Blur"));
    library.RegisterOperator(Describe(colorCorrect, "Texture", "Color Correct"));
    REQUIRE(library.GetOperators().size() == 3);
    CHECK(library.GetOperators()[0].type == &window);
    CHECK(library.GetOperators()[1].type == &blur);
    CHECK(library.GetOperators()[2].type == &colorCorrect);
}

TEST_CASE("The type library finds an operator by its exact type id")
{
    TypeLibrary library;
    library.RegisterOperator(Describe(window, "IO/System", "Window"));
    library.RegisterOperator(Describe(blur, "Texture", "Blur"));
    REQUIRE(library.Find("Test.Texture.Blur"));
    CHECK(library.Find("Test.Texture.Blur")->type == &blur);
    CHECK(!library.Find("test.texture.blur"));
    CHECK(!library.Find("Test.Texture"));
    CHECK(!library.Find(""));
}

TEST_CASE("The type library finds an operator by category and name in either case")
{
    TypeLibrary library;
    library.RegisterOperator(Describe(window, "IO/System", "Window"));
    library.RegisterOperator(Describe(colorCorrect, "Texture", "Color Correct"));
    library.RegisterOperator(Describe(blur, "", "Blur"));
    REQUIRE(library.FindByPath("Texture/Color Correct"));
    CHECK(library.FindByPath("Texture/Color Correct")->type == &colorCorrect);
    CHECK(library.FindByPath("texture/COLOR correct") == library.FindByPath("Texture/Color Correct"));
    REQUIRE(library.FindByPath("io/system/window"));
    CHECK(library.FindByPath("io/system/window")->type == &window);
    REQUIRE(library.FindByPath("Blur")); // a document that lies in no category
    CHECK(!library.FindByPath("Color Correct"));
    CHECK(!library.FindByPath("System/Window"));
    CHECK(!library.FindByPath(""));
}

TEST_CASE("An operator type whose id is registered already is refused, and the first one stays")
{
    TypeLibrary library;
    CHECK(library.RegisterOperator(Describe(blur, "Texture", "Blur")));
    const Status refused = library.RegisterOperator(Describe(otherBlur, "Texture", "Better Blur"));
    REQUIRE(!refused);
    CHECK(refused.GetError().message == "The operator type \"Test.Texture.Blur\" is registered already.");
    REQUIRE(library.GetOperators().size() == 1);
    CHECK(library.GetOperators()[0].type == &blur);
    CHECK(library.GetOperators()[0].name == "Blur");
    REQUIRE(library.GetRefusals().size() == 1);
    CHECK(library.GetRefusals()[0].message == refused.GetError().message);
}

TEST_CASE("An operator without a type is refused")
{
    TypeLibrary library;
    OperatorInfo info;
    info.documentPath = "Docs/Operators/Nothing.md";
    const Status refused = library.RegisterOperator(info);
    REQUIRE(!refused);
    CHECK(refused.GetError().message == "The operator of the document \"Docs/Operators/Nothing.md\" has no type.");
    CHECK(library.GetOperators().empty());
}

TEST_CASE("A type's document is compared with an instance once for each registration, also at the same address")
{
    class Plain final : public Operator
    {
        void Execute(ExecutionContext&) override {}
    };
    TypeLibrary library;
    OperatorInfo info = Describe(blur, "Texture", "Blur");
    info.inputs.push_back({"Fish", "Texture", "", {}, {1, 0}, "", {}});
    const Plain op;
    const LogRecorder log;
    for (const std::size_t warnings : {1U, 2U})
    {
        REQUIRE(library.RegisterOperator(info));
        library.CheckDocumentOnce(info, op);
        library.CheckDocumentOnce(info, op);
        CHECK(log.lines.size() == warnings);
        library.UnregisterOperator(&blur);
    }
}

TEST_CASE("The type library forgets a type by its descriptor, not by its id")
{
    TypeLibrary library;
    library.RegisterOperator(Describe(blur, "Texture", "Blur"));
    library.RegisterOperator(Describe(window, "IO/System", "Window"));
    library.UnregisterOperator(&otherBlur);
    CHECK(library.GetOperators().size() == 2);
    library.UnregisterOperator(&blur);
    REQUIRE(library.GetOperators().size() == 1);
    CHECK(library.GetOperators()[0].type == &window);
    CHECK(!library.Find("Test.Texture.Blur"));
}
