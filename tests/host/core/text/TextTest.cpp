#include "Varkle/Core/Text.h"

#include "support/Catch.h"

using namespace Varkle;

TEST_CASE("A suggestion names the known name that is one wrong, missing, added or swapped letter away")
{
    const std::vector<std::string> known{"Opacity", "Radius", "Texture Size"};
    CHECK(Suggestion("Radios", known) == " (did you mean \"Radius\"?)");
    CHECK(Suggestion("Radus", known) == " (did you mean \"Radius\"?)");
    CHECK(Suggestion("Raddius", known) == " (did you mean \"Radius\"?)");
    CHECK(Suggestion("Raduis", known) == " (did you mean \"Radius\"?)");
    CHECK(Suggestion("TextureSize", known) == " (did you mean \"Texture Size\"?)");
}

TEST_CASE("A suggestion takes upper and lower case for the same")
{
    CHECK(Suggestion("RADIUS", {"Radius"}) == " (did you mean \"Radius\"?)");
    CHECK(Suggestion("rAdios", {"Radius"}) == " (did you mean \"Radius\"?)");
}

TEST_CASE("A swap of neighbours counts as one difference")
{
    // Three letters allow one difference; without swaps "isn" would be two away.
    CHECK(Suggestion("isn", {"sin"}) == " (did you mean \"sin\"?)");
}

TEST_CASE("A suggestion is made only when at most a third of the letters differ, and never more than three")
{
    CHECK(Suggestion("x", {"e"}).empty());
    CHECK(Suggestion("foo", {"mod"}).empty());
    CHECK(Suggestion("Size", {"Texture Size"}).empty());
    CHECK(Suggestion("abcdef", {"abcdxy"}) == " (did you mean \"abcdxy\"?)");
    CHECK(Suggestion("abcdef", {"abcxyz"}).empty());
    CHECK(Suggestion("abcdefghijklmnop", {"abcdefghijklm123"}) == " (did you mean \"abcdefghijklm123\"?)");
    CHECK(Suggestion("abcdefghijklmnop", {"abcdefghijkl1234"}).empty());
}

TEST_CASE("The nearest name is suggested, the first of equally near ones")
{
    CHECK(Suggestion("Offset", {"Offers", "Offsets", "Offsex"}) == " (did you mean \"Offsets\"?)");
}

TEST_CASE("A known name, no name and nothing known need no suggestion")
{
    CHECK(Suggestion("Radius", {"Radios", "Radius"}).empty());
    CHECK(Suggestion("", {"Radius", ""}).empty());
    CHECK(Suggestion("", {"e"}).empty());
    CHECK(Suggestion("Radius", {}).empty());
}

TEST_CASE("A quoted name shows quotes and control characters as a document does")
{
    CHECK(Quoted("soft") == "\"soft\"");
    CHECK(Quoted("") == "\"\"");
    CHECK(Quoted("a\"b\n\x1B") == "\"a\\\"b\\n\\u001b\"");
    CHECK(Quoted("h\xC3\xBC") == "\"h\xC3\xBC\"");
}

TEST_CASE("A very long name is cut between characters")
{
    CHECK(Quoted(std::string(200, 'a')) == "\"" + std::string(200, 'a') + "\"");
    CHECK(Quoted(std::string(201, 'a')) == "\"" + std::string(200, 'a') + "...\"");
    CHECK(Quoted(std::string(199, 'a') + "\xC3\xBC") == "\"" + std::string(199, 'a') + "...\"");
}

TEST_CASE("Printable text keeps to its line, is UTF-8 and holds no commands for a terminal")
{
    CHECK(Printable("h\xC3\xBC\tb.png") == "h\xC3\xBC\tb.png");
    CHECK(Printable("a\nb\x1B[2J\x7F") == "a\\x0ab\\x1b[2J\\x7f");
    CHECK(Printable("caf\xE9") == "caf\\xe9");
    CHECK(Printable("\xC2\x9B"
                    "2J") == "\\xc2\\x9b2J"); // what ESC [ is in one character
    CHECK(Printable("").empty());
}
