#include "shader/ShaderIncludes.h"

#include "support/Catch.h"

using namespace Varkle;

namespace
{

/// "file:number" of each line of the expanded text, separated by spaces.
std::string Origins(const ExpandedSource& source)
{
    std::string origins;
    for (const ExpandedSource::Line& line : source.lines)
        origins += (origins.empty() ? "" : " ") + source.files[line.file] + ":" + std::to_string(line.number);
    return origins;
}

std::string ErrorOf(std::string_view text, std::string_view name = {})
{
    const Result<ExpandedSource> result = ExpandIncludes(text, name);
    return result ? "no error" : result.GetError().message;
}

} // namespace

TEST_CASE("A text without includes stays as it is, and each line knows its number")
{
    const auto expanded = ExpandIncludes("a\n\nb\n", "Main.wgsl");
    REQUIRE(expanded);
    CHECK(expanded->text == "a\n\nb\n");
    CHECK(Origins(*expanded) == "Main.wgsl:1 Main.wgsl:2 Main.wgsl:3");
}

TEST_CASE("An empty text expands to an empty text")
{
    const auto expanded = ExpandIncludes("");
    REQUIRE(expanded);
    CHECK(expanded->text.empty());
    CHECK(expanded->lines.empty());
}

TEST_CASE("An include line is replaced by the file, with or without a last line break")
{
    AddIncludableFile("Includes/Two.wgsl", "one\ntwo");
    const auto expanded = ExpandIncludes("before\n#include \"Includes/Two.wgsl\"\nafter", "Main.wgsl");
    REQUIRE(expanded);
    CHECK(expanded->text == "before\none\ntwo\nafter\n");
    CHECK(Origins(*expanded) == "Main.wgsl:1 Includes/Two.wgsl:1 Includes/Two.wgsl:2 Main.wgsl:3");
}

TEST_CASE("An include line may use angle brackets, blanks, a line comment and Windows line breaks")
{
    AddIncludableFile("Includes/X.wgsl", "x\n");
    for (const std::string_view line :
         {"#include <Includes/X.wgsl>", "  \t#  include\t\"Includes/X.wgsl\"  ",
          "#include \"Includes/X.wgsl\" // noise", "#include \"Includes/X.wgsl\"\r", "#include\"Includes/X.wgsl\""})
    {
        INFO(line);
        const auto expanded = ExpandIncludes(line);
        REQUIRE(expanded);
        CHECK(expanded->text == "x\n");
    }
}

TEST_CASE("Included files include others, and each file is put in once")
{
    AddIncludableFile("Includes/Inner.wgsl", "inner\n");
    AddIncludableFile("Includes/Outer.wgsl", "#include \"Includes/Inner.wgsl\"\nouter\n");
    const auto expanded =
        ExpandIncludes("#include \"Includes/Outer.wgsl\"\n#include \"Includes/Inner.wgsl\"\nmain\n", "Main.wgsl");
    REQUIRE(expanded);
    CHECK(expanded->text == "inner\nouter\n\nmain\n");
    CHECK(Origins(*expanded) == "Includes/Inner.wgsl:1 Includes/Outer.wgsl:2 Main.wgsl:2 Main.wgsl:3");
}

TEST_CASE("Files that include each other, themselves or the main text end")
{
    AddIncludableFile("Includes/A.wgsl", "#include \"Includes/B.wgsl\"\n#include \"Includes/A.wgsl\"\na\n");
    AddIncludableFile("Includes/B.wgsl", "#include \"Includes/A.wgsl\"\n#include \"Main.wgsl\"\nb\n");
    const auto expanded = ExpandIncludes("#include \"Includes/A.wgsl\"\nmain\n", "Main.wgsl");
    REQUIRE(expanded);
    CHECK(expanded->text == "\n\nb\n\na\nmain\n");
}

TEST_CASE("Registering a file again replaces its source")
{
    AddIncludableFile("Includes/Again.wgsl", "old\n");
    AddIncludableFile("Includes/Again.wgsl", "new\n");
    REQUIRE(FindIncludableFile("Includes/Again.wgsl"));
    CHECK(*FindIncludableFile("Includes/Again.wgsl") == "new\n");
    CHECK_FALSE(FindIncludableFile("Includes/Never.wgsl"));
}

TEST_CASE("A shader's own includes win over registered ones of the name, inside included files too")
{
    AddIncludableFile("Includes/Shared.wgsl", "of the host\n");
    AddIncludableFile("Includes/Outside.wgsl", "#include \"Includes/Shared.wgsl\"\n");
    const IncludableFiles own = {{"Includes/Shared.wgsl", "my own\n"}};
    const auto expanded = ExpandIncludes("#include \"Includes/Outside.wgsl\"\n", {}, own);
    REQUIRE(expanded);
    CHECK(expanded->text == "my own\n");
    const auto without = ExpandIncludes("#include \"Includes/Outside.wgsl\"\n");
    REQUIRE(without);
    CHECK(without->text == "of the host\n");
}

TEST_CASE("A missing include names the file and line that ask for it")
{
    CHECK(ErrorOf("a\n#include \"Nowhere.wgsl\"\n", "Main.wgsl") ==
          "Main.wgsl:2: There is no includable file \"Nowhere.wgsl\".");
    CHECK(ErrorOf("#include \"Nowhere.wgsl\"") == "shader:1: There is no includable file \"Nowhere.wgsl\".");

    AddIncludableFile("Includes/Broken.wgsl", "\n\n#include <Nowhere.wgsl>\n");
    CHECK(ErrorOf("#include \"Includes/Broken.wgsl\"") ==
          "Includes/Broken.wgsl:3: There is no includable file \"Nowhere.wgsl\".");
}

TEST_CASE("An include line without a readable name is an error")
{
    for (const std::string_view line : {"#include", "#include Name.wgsl", "#include \"Name.wgsl",
                                        "#include <Name.wgsl\"", "#include \"\"", "#include \"Name.wgsl\" and more"})
    {
        INFO(line);
        CHECK(ErrorOf(line) == "shader:1: The include is not of the form #include \"Name\".");
    }
}

TEST_CASE("Includes in comments and other lines with a # are left alone")
{
    const std::string text = "// #include \"Nowhere.wgsl\"\n"
                             "/* outer /* inner */\n"
                             "#include \"Nowhere.wgsl\"\n"
                             "*/ // closed /*\n"
                             "#define X\n";
    const auto expanded = ExpandIncludes(text);
    REQUIRE(expanded);
    CHECK(expanded->text == text);
}

TEST_CASE("A shader error shows file, line, column, message, the source line and a caret")
{
    const auto expanded = ExpandIncludes("fn f() {\n    let x = y;\n}\n", "GrayScale.wgsl");
    REQUIRE(expanded);
    CHECK(DescribeShaderError(*expanded, 2, 13, "unresolved value 'y'\n") ==
          "GrayScale.wgsl:2:13: unresolved value 'y'\n"
          "    let x = y;\n"
          "            ^");
}

TEST_CASE("A shader error in an included file names that file and its own line")
{
    AddIncludableFile("Includes/Bad.wgsl", "good\nbad\n");
    const auto expanded = ExpandIncludes("main\n#include \"Includes/Bad.wgsl\"\nend\n");
    REQUIRE(expanded);
    CHECK(DescribeShaderError(*expanded, 3, 1, "no") == "Includes/Bad.wgsl:2:1: no\nbad\n^");
    CHECK(DescribeShaderError(*expanded, 4, 2, "no") == "shader:3:2: no\nend\n ^");
}

TEST_CASE("The caret keeps tabs and counts a character of several bytes once")
{
    const auto expanded = ExpandIncludes("\tlet \xC3\xA4 = y;\r\n");
    REQUIRE(expanded);
    // Bytes: tab 1, "let " 2 to 5, the umlaut 6 and 7, " = " 8 to 10, y 11.
    CHECK(DescribeShaderError(*expanded, 1, 11, "no") == "shader:1:11: no\n\tlet \xC3\xA4 = y;\n\t        ^");
}

TEST_CASE("What is not known of an error's place is left out")
{
    const auto expanded = ExpandIncludes("abc\n", "Main.wgsl");
    REQUIRE(expanded);
    CHECK(DescribeShaderError(*expanded, 0, 0, "no") == "Main.wgsl: no");
    CHECK(DescribeShaderError(*expanded, 2, 1, "no") == "Main.wgsl: no");
    CHECK(DescribeShaderError(*expanded, 1, 0, "no") == "Main.wgsl:1: no\nabc");
    CHECK(DescribeShaderError(*expanded, 1, 99, "no") == "Main.wgsl:1:99: no\nabc\n   ^");
    CHECK(DescribeShaderError(ExpandedSource(), 1, 1, "no") == "shader: no");
}
